#pragma once

#include "platform/ChildProcess.h"
#include "platform/Diagnostics.h"

/// Real child processes.
class LinuxChildProcessFactory final : public ChildProcessFactory
{
public:
    explicit LinuxChildProcessFactory(DiagnosticSink diagnostics);

    [[nodiscard]] std::unique_ptr<ChildProcess>
    makeProcess(const ChildProcessRequest &request) override;

private:
    DiagnosticSink m_diagnostics;
};
