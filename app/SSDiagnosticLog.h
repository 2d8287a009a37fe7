#pragma once

#include "platform/Diagnostics.h"

#include <memory>

/// Lets the adapters write to the program's log. What they say while they are being made, before
/// the log level is known, is kept until open(). Any thread.
class SSDiagnosticLog
{
public:
    SSDiagnosticLog();

    [[nodiscard]] DiagnosticSink sink() const;
    /// Writes what was kept; from here on messages go straight to the log.
    void open() const;

private:
    struct State;
    std::shared_ptr<State> m_state;
};
