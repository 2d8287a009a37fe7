#pragma once

#include "platform/ChildProcess.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

/// What became of a command: the text that it printed, or none; and an error, or none. Text that is
/// no UTF-8 is told as none without an error, and so is a command for which there was no pipe. The
/// exit status plays no part. The output is the caller's to wipe when it may show a secret.
struct SSCommandResult
{
    std::optional<QString> output;
    std::optional<ChildProcessError> error;
};

/// Runs one external program to its end and gives everything that it printed, standard output and
/// standard error together. One thread; blocks until the program has exited.
class SSCommandLine
{
    /// Keeps construction to initWithCommand().
    struct Key
    {
        explicit Key() = default;
    };

public:
    SSCommandLine(Key, std::unique_ptr<ChildProcess> task);
    using Environment = QMap<QString, QString>;

    [[nodiscard]] static SSCommandResult shellExecuteWithCommand(const QString &command,
                                                                 const QStringList &arguments);
    [[nodiscard]] static SSCommandResult
    shellExecuteWithCommand(const QString &command, const QStringList &arguments,
                            const std::optional<Environment> &environment);
    /// Logs what it runs: the arguments not when one of them speaks of a password, the input never.
    [[nodiscard]] static SSCommandResult
    shellExecuteWithCommand(const QString &command, const QStringList &arguments,
                            const std::optional<Environment> &environment,
                            const std::optional<QString> &stdInput);

    /// Null, with a log line, when there is nothing to run it with.
    [[nodiscard]] static std::unique_ptr<SSCommandLine>
    initWithCommand(const QString &command, const std::optional<QStringList> &arguments,
                    const std::optional<Environment> &environment);
    ~SSCommandLine();
    SSCommandLine(const SSCommandLine &) = delete;
    SSCommandLine &operator=(const SSCommandLine &) = delete;

    /// Whether the program started and took its input, if any.
    [[nodiscard]] bool launchWithInput(const std::optional<QString> &input,
                                       std::optional<ChildProcessError> &error);
    [[nodiscard]] bool running() const;
    void waitUntilExit();
    /// The whole output, after the program has exited; none for bytes that are no UTF-8.
    [[nodiscard]] std::optional<QString>
    resultAndReturnError(std::optional<ChildProcessError> &error);

private:
    std::unique_ptr<ChildProcess> m_task;
};
