#include "platform/linux/accounts/TerminalProgram.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

/// Between fork and exec: calls the system alone, as other threads may have held any lock.
[[noreturn]] void becomeProgram(int terminal, const char *path, char *const *arguments,
                                char *const *environment)
{
    constexpr int cannotRun = 127;
    struct sigaction byDefault
    {
    };
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        sigaction(number, &byDefault, nullptr);
    sigset_t none;
    sigemptyset(&none);

    // Put onto its own number, it would close with the execution.
    if (terminal <= STDERR_FILENO)
        terminal = fcntl(terminal, F_DUPFD, STDERR_FILENO + 1);
    if (setsid() < 0 || ioctl(terminal, TIOCSCTTY, 0) != 0 || dup2(terminal, STDIN_FILENO) < 0 ||
        dup2(terminal, STDOUT_FILENO) < 0 || dup2(terminal, STDERR_FILENO) < 0 || chdir("/") != 0)
        _exit(cannotRun);
    // Older systems lack the call; a well-made descriptor closes by itself.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execve(path, arguments, environment);
    _exit(cannotRun);
}

void collect(pid_t id)
{
    while (waitpid(id, nullptr, 0) < 0 && errno == EINTR)
        ;
}

} // namespace

TerminalProgram::TerminalProgram(PseudoTerminal &terminal, const char *path, char *const *arguments,
                                 char *const *environment)
    : m_terminal(terminal)
{
    // No handler of ours runs in the child.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_id = fork();
    if (m_id == 0)
        becomeProgram(terminal.programEnd(), path, arguments, environment);
    m_error = m_id < 0 ? errno : 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    terminal.closeProgramEnd();
    if (m_id < 0)
        return;
    m_hasExited = false;
    // The C library's function of this name cannot be called from C++ before its version 2.37.
    m_exit = static_cast<int>(syscall(SYS_pidfd_open, m_id, 0U));
}

TerminalProgram::~TerminalProgram()
{
    end();
    if (m_exit >= 0)
        ::close(m_exit);
}

bool TerminalProgram::hasExited()
{
    if (m_hasExited)
        return true;
    int status = 0;
    pid_t collected = 0;
    do {
        collected = waitpid(m_id, &status, WNOHANG);
    } while (collected < 0 && errno == EINTR);
    m_hasExited = collected != 0;
    if (collected == m_id)
        m_waitStatus = status;
    return m_hasExited;
}

bool TerminalProgram::exitsWithin(int milliseconds)
{
    constexpr int longestNap = 50;
    constexpr std::size_t chunk = 256;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (!hasExited()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        // A program that is writing does not end before somebody reads.
        std::array<char, chunk> unread{};
        std::size_t size = 0;
        if (m_terminal.read(unread, size) == PseudoTerminal::Read::Some)
            continue;
        pollfd exited{m_exit, POLLIN, 0};
        poll(&exited, 1, static_cast<int>(std::min<long>(left, longestNap)));
    }
    return true;
}

void TerminalProgram::end()
{
    constexpr int afterTerm = 3000; // su gives its own child two seconds
    constexpr int afterKill = 1000;
    if (hasExited())
        return;
    kill(m_id, SIGTERM);
    if (exitsWithin(afterTerm))
        return;
    kill(m_id, SIGKILL);
    m_terminal.close();
    if (exitsWithin(afterKill))
        return;
    // Not ours to kill any more, or stuck in the kernel.
    m_hasExited = true;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread(collect, m_id).detach();
    } catch (const std::system_error &) {
        // It stays uncollected until this process ends.
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
