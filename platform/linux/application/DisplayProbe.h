#pragma once

#include <QByteArray>

#include <optional>

/// Name of the Qt platform plugin with which a window can be shown, "" when the environment chooses
/// it; absent when no display can be reached (Qt would abort then).
[[nodiscard]] std::optional<QByteArray> reachableDisplayPlugin();
