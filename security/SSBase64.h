#pragma once

#include "security/SSSecure.h"

#include <QString>
#include <QStringView>

#include <cstdint>
#include <optional>
#include <span>

/// The standard Base64 alphabet, coded straight between text and wiped buffers, so that no copy of
/// a secret stays behind in between.
namespace SSBase64 {

/// The bytes of `text`; none when it is not whole groups of four characters, filled up with "=" in
/// the last one alone. With `ignoreUnknown`, characters outside the alphabet do not count.
[[nodiscard]] std::optional<SSSecure::Bytes> decoded(QStringView text, bool ignoreUnknown);

/// `options` from SSBase64Encoding.
[[nodiscard]] QString encoded(std::span<const std::byte> data, std::uint32_t options);

} // namespace SSBase64
