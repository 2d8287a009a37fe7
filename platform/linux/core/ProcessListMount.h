#pragma once

#include <QByteArrayView>

#include <optional>

/// The list of processes that the kernel shows at /proc.
namespace ProcessListMount {

/// Whether every user sees everybody's processes there, by a mount table of the form of
/// /proc/self/mountinfo; none when there is no such list at /proc.
[[nodiscard]] std::optional<bool> isOpenToOthers(QByteArrayView mountTable);

} // namespace ProcessListMount
