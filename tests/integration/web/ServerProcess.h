#pragma once

#include <QByteArray>
#include <QStringList>

#include <optional>

#include <sys/types.h>

/// A program beside the test, gone with this object. Started by posix_spawn: the clone call that
/// QProcess makes ends a program that is built with Clang's thread sanitizer.
class ServerProcess
{
public:
    ServerProcess() = default;
    /// Closes its standard input, and kills it when it does not end by that.
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    [[nodiscard]] bool start(const QStringList &command);
    /// The first line of its output; none when it ends or is silent for too long.
    [[nodiscard]] std::optional<QByteArray> readLine();
    void terminate();

private:
    [[nodiscard]] bool waitForEnd(int milliseconds);

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
};
