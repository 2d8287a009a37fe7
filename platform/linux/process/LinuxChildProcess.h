#pragma once

#include "platform/ChildProcess.h"
#include "platform/Diagnostics.h"
#include "platform/linux/posix/Descriptor.h"
#include "platform/linux/process/OutputBytes.h"
#include "platform/linux/process/SpawnedProcess.h"

#include <chrono>
#include <memory>
#include <optional>

/// A real child process.
class LinuxChildProcess final : public ChildProcess
{
public:
    LinuxChildProcess(ChildProcessRequest request, DiagnosticSink diagnostics);
    ~LinuxChildProcess() override;
    LinuxChildProcess(const LinuxChildProcess &) = delete;
    LinuxChildProcess &operator=(const LinuxChildProcess &) = delete;

    [[nodiscard]] ChildProcessResult launch(bool hasInput) override;
    [[nodiscard]] ChildProcessResult writeInput(std::span<const std::byte> bytes) override;
    [[nodiscard]] bool isRunning() override;
    void waitUntilExit() override;
    [[nodiscard]] Result<ChildProcessOutput, ChildProcessError> readOutput() override;
    void terminate() override;
    void interrupt() override;

private:
    /// How long a process that the child left behind is waited for.
    static constexpr std::chrono::seconds patience{2};

    /// Reads what is there; closes the pipe at its end.
    void takeOutput();
    /// Until something can be read, or written to `writable` (-1: nothing), or the child has
    /// exited; after that, not long.
    void waitForEvent(int writable);
    /// Whether the child exited `patience` ago.
    [[nodiscard]] bool isPatienceOver();
    [[nodiscard]] Failure<ChildProcessError> failure(ChildProcessError::Code code,
                                                     const QString &reason) const;

    ChildProcessRequest m_request;
    DiagnosticSink m_diagnostics;
    std::unique_ptr<SpawnedProcess> m_process;
    Descriptor m_input;
    Descriptor m_output;
    OutputBytes m_printed;
    std::optional<QString> m_readError;
    std::optional<std::chrono::steady_clock::time_point> m_exitSeen;
};
