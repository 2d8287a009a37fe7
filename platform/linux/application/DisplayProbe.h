#pragma once

#include "platform/Diagnostics.h"

#include <QByteArray>

#include <optional>

/// The Qt platform plugin with which a window can be shown, as the argument of "-platform": the
/// first usable one of QT_QPA_PLATFORM's, else Wayland's or X's. Absent when no display can be
/// reached: Qt would end the process then. That the environment names none that is usable is told
/// to `diagnostics`. Opens a connection to the display for a moment.
[[nodiscard]] std::optional<QByteArray> reachableDisplayPlugin(const DiagnosticSink &diagnostics);
