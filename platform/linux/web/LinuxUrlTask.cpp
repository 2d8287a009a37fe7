#include "platform/linux/web/LinuxUrlTask.h"

#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

LinuxUrlTask::LinuxUrlTask(QString url, Starter starter)
    : m_url(std::move(url))
    , m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_starter(std::move(starter))
{
}

LinuxUrlTask::~LinuxUrlTask()
{
    if (m_wake >= 0)
        ::close(m_wake);
}

void LinuxUrlTask::resume()
{
    Starter starter;
    {
        const std::lock_guard guard(m_lock);
        starter = std::exchange(m_starter, nullptr);
    }
    if (starter)
        starter(shared_from_this());
}

void LinuxUrlTask::cancel()
{
    const std::lock_guard guard(m_lock);
    if (m_state != UrlSessionTaskState::Running)
        return;
    if (m_starter) {
        m_starter = nullptr;
        m_state = UrlSessionTaskState::Completed;
        return;
    }
    m_state = UrlSessionTaskState::Canceling;
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wake, &one, sizeof one);
}

UrlSessionTaskState LinuxUrlTask::state() const
{
    const std::lock_guard guard(m_lock);
    return m_state;
}

bool LinuxUrlTask::isCancelled() const
{
    return state() == UrlSessionTaskState::Canceling;
}

void LinuxUrlTask::setCompleted()
{
    const std::lock_guard guard(m_lock);
    m_state = UrlSessionTaskState::Completed;
}
