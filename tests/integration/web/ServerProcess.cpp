#include "tests/integration/web/ServerProcess.h"

#include <QElapsedTimer>

#include <array>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

bool ServerProcess::start(const QStringList &command)
{
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (::pipe2(input.data(), O_CLOEXEC) != 0 || ::pipe2(output.data(), O_CLOEXEC) != 0)
        return false;
    std::vector<QByteArray> texts;
    for (const QString &word : command)
        texts.push_back(word.toLocal8Bit());
    std::vector<char *> arguments;
    arguments.reserve(texts.size() + 1);
    for (QByteArray &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    const bool started =
        ::posix_spawnp(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    m_input = input[1];
    m_output = output[0];
    if (!started)
        m_pid = -1;
    return started;
}

std::optional<QByteArray> ServerProcess::readLine()
{
    QByteArray line;
    while (!line.endsWith('\n')) {
        pollfd ready{m_output, POLLIN, 0};
        char c = 0;
        if (::poll(&ready, 1, 120'000) <= 0 || ::read(m_output, &c, 1) != 1)
            return std::nullopt;
        line += c;
    }
    return line;
}

void ServerProcess::terminate()
{
    if (m_pid > 0)
        ::kill(m_pid, SIGTERM);
}

bool ServerProcess::waitForEnd(int milliseconds)
{
    QElapsedTimer time;
    time.start();
    while (::waitpid(m_pid, nullptr, WNOHANG) == 0) {
        if (time.elapsed() > milliseconds)
            return false;
        ::poll(nullptr, 0, 10);
    }
    return true;
}

ServerProcess::~ServerProcess()
{
    if (m_input >= 0)
        ::close(m_input);
    if (m_pid > 0 && !waitForEnd(5000)) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    if (m_output >= 0)
        ::close(m_output);
}
