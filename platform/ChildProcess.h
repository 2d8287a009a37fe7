#pragma once

#include "platform/Result.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <variant>
#include <vector>

/// Why a program could not be started, fed or read. The text names the program, never an argument.
struct ChildProcessError
{
    enum class Code {
        NotFound,      ///< no such executable, or a folder on the way to it is missing
        NotExecutable, ///< it is there and may not, or cannot, be executed
        InputPipe,     ///< there is no pipe to be had for the input
        InputHandle,   ///< our end of that pipe cannot be used
        OutputPipe,    ///< there is no pipe to be had for the output
        OutputHandle,  ///< our end of that pipe cannot be used
        InputFailed,   ///< the input could not be written whole
        OutputFailed,  ///< the output could not be read to its end
        System,        ///< anything else that the system refused
    };
    Code code = Code::System;
    QString localizedDescription;
};

/// What is to be run.
struct ChildProcessRequest
{
    QString executable; ///< absolute path; no search path is used
    std::optional<QStringList> arguments;
    /// The child's whole environment. Absent: this process's own, but for the language: programs
    /// are judged by what they print, so they print it untranslated, in UTF-8.
    std::optional<QMap<QString, QString>> environment;
};

/// The bytes that a child printed; the reader's to wipe when they may hold a secret.
using ChildProcessOutput = std::vector<std::byte>;
using ChildProcessResult = Result<std::monostate, ChildProcessError>;

/// One program: not started yet, running, or over. Its standard output and standard error are one
/// pipe; it inherits no other descriptor of this process and no blocked or ignored signal. One
/// thread; the calls block as long as they say. The destructor asks a child that still runs to
/// terminate and leaves no zombie, without waiting for a child that does not heed it.
class ChildProcess
{
public:
    virtual ~ChildProcess() = default;

    /// Starts the program. With `hasInput` its standard input is a pipe for writeInput(), otherwise
    /// this process's own. At most once.
    [[nodiscard]] virtual ChildProcessResult launch(bool hasInput) = 0;
    /// Writes everything, then closes the pipe so that the child sees the end of its input. A child
    /// that closes its end early is an error. Takes what the child prints meanwhile, so that
    /// neither waits for the other.
    [[nodiscard]] virtual ChildProcessResult writeInput(std::span<const std::byte> bytes) = 0;

    /// Whether it was launched and has not exited. Does not wait.
    [[nodiscard]] virtual bool isRunning() = 0;
    /// Until the child has exited; its output is taken meanwhile, however much it prints.
    virtual void waitUntilExit() = 0;
    /// What it printed, to the end of the pipe. Once. Whatever the child itself printed is in it;
    /// a process that it left behind with the pipe open is not waited for longer than two seconds,
    /// and what that prints later is lost.
    [[nodiscard]] virtual Result<ChildProcessOutput, ChildProcessError> readOutput() = 0;

    /// SIGTERM to a child that runs; nothing otherwise. Does not wait for its end.
    virtual void terminate() = 0;
    /// The same with SIGINT.
    virtual void interrupt() = 0;
};

/// Starts programs. Any thread.
class ChildProcessFactory
{
public:
    virtual ~ChildProcessFactory() = default;
    /// Null when none can be made.
    [[nodiscard]] virtual std::unique_ptr<ChildProcess>
    makeProcess(const ChildProcessRequest &request) = 0;
};
