#pragma once

#include "platform/ChildProcess.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

/// What became of a command: the text that it printed, or none; and an error, or none. Text that is
/// no UTF-8 is told as none without an error. The exit status plays no part.
struct SSCommandResult
{
    std::optional<QString> output;
    std::optional<ChildProcessError> error;
};

/// Runs one external program to its end and gives everything that it printed, standard output and
/// standard error together. One thread; blocks until the program has exited.
class SSCommandLine
{
public:
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
    [[nodiscard]] std::optional<QString>
    resultAndReturnError(std::optional<ChildProcessError> &error);

private:
    explicit SSCommandLine(std::unique_ptr<ChildProcess> task);

    std::unique_ptr<ChildProcess> m_task;
};
