#pragma once

#include "platform/Diagnostics.h"

/// Lets the adapters write to the program's log.
namespace SSDiagnosticLog {
[[nodiscard]] DiagnosticSink sink();
} // namespace SSDiagnosticLog
