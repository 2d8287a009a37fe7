#include "platform/linux/process/SpawnedProcess.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The C library's functions of these names cannot be called from C++ before its version 2.37.
int openExitDescriptor(pid_t id)
{
    return static_cast<int>(::syscall(SYS_pidfd_open, id, 0U));
}

void sendSignalThrough(int exitDescriptor, int number)
{
    ::syscall(SYS_pidfd_send_signal, exitDescriptor, number, nullptr, 0U);
}

void collect(pid_t id)
{
    while (::waitpid(id, nullptr, 0) < 0 && errno == EINTR)
        ;
}

void collectLater(pid_t id)
{
    // The thread takes no signal: those are for the threads that know what to do with them.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread([id] { collect(id); }).detach();
    } catch (const std::system_error &) {
        if (::kill(id, SIGKILL) == 0)
            collect(id);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

SpawnedProcess::SpawnedProcess(pid_t id) : m_id(id), m_exit(openExitDescriptor(id))
{
    // Where SIGCHLD is ignored the system collects children itself.
    m_hasExited = !m_exit.isOpen() && errno == ESRCH;
}

SpawnedProcess::~SpawnedProcess()
{
    if (!hasExited())
        collectLater(m_id);
}

bool SpawnedProcess::hasExited()
{
    if (m_hasExited)
        return true;
    pid_t collected = 0;
    do {
        collected = ::waitpid(m_id, nullptr, WNOHANG);
    } while (collected < 0 && errno == EINTR);
    m_hasExited = collected != 0;
    return m_hasExited;
}

void SpawnedProcess::sendSignal(int number)
{
    if (hasExited())
        return;
    if (m_exit.isOpen())
        sendSignalThrough(m_exit.number(), number);
    else
        ::kill(m_id, number);
}
