#include "platform/linux/process/LinuxChildProcessFactory.h"

#include "platform/linux/process/LinuxChildProcess.h"

#include <utility>

LinuxChildProcessFactory::LinuxChildProcessFactory(DiagnosticSink diagnostics)
    : m_diagnostics(std::move(diagnostics))
{
}

std::unique_ptr<ChildProcess>
LinuxChildProcessFactory::makeProcess(const ChildProcessRequest &request)
{
    return std::make_unique<LinuxChildProcess>(request, m_diagnostics);
}
