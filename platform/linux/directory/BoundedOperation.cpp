#include "platform/linux/directory/BoundedOperation.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

#include <csignal>
#include <malloc.h>
#include <sys/socket.h>

BoundedOperation::Answer BoundedOperation::run(Clock::duration limit,
                                               const DiagnosticSink &diagnostics,
                                               const Running &running, Work work)
{
    if (running->fetch_add(1) >= MaximumRunning) {
        running->fetch_sub(1);
        return Failure{DirectoryError{DirectoryError::Code::TimedOut,
                                      QStringLiteral("Earlier directory operations still hang")}};
    }
    const auto operation = std::make_shared<BoundedOperation>(Clock::now() + limit);
    // The thread takes no signals: those of the process belong to the main thread, and a broken
    // connection must not end the process by SIGPIPE.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = true;
    try {
        std::thread([operation, running, task = std::move(work)]() mutable {
            operation->finish(task(*operation));
            task = nullptr;
            // Gives back what this thread's allocations have touched; the next one may be hours
            // off.
            malloc_trim(0);
            running->fetch_sub(1);
        }).detach();
    } catch (const std::system_error &) {
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (!started) {
        running->fetch_sub(1);
        return Failure{DirectoryError{DirectoryError::Code::Internal,
                                      QStringLiteral("No thread for the directory operation")}};
    }
    return operation->wait(diagnostics);
}

BoundedOperation::Answer BoundedOperation::wait(const DiagnosticSink &diagnostics)
{
    std::unique_lock guard(m_lock);
    for (;;) {
        if (!m_messages.isEmpty()) {
            const QList<Message> messages = std::exchange(m_messages, {});
            guard.unlock();
            for (const Message &message : messages)
                diagnostics(message.level, message.type, message.text);
            guard.lock();
            continue;
        }
        if (m_answer)
            return std::move(*m_answer);
        const Clock::time_point now = Clock::now();
        const bool late = now >= m_deadline;
        if (m_socket >= 0 && !m_socketCut && (late || now >= m_socketLimit)) {
            ::shutdown(m_socket, SHUT_RDWR);
            m_socketCut = true;
        }
        if (late) {
            m_abandoned = true;
            return Failure{DirectoryError{DirectoryError::Code::TimedOut,
                                          QStringLiteral("The directory operation timed out")}};
        }
        const bool watching = m_socket >= 0 && !m_socketCut;
        m_changed.wait_until(guard, watching ? std::min(m_deadline, m_socketLimit) : m_deadline);
    }
}

void BoundedOperation::finish(Answer answer)
{
    const std::lock_guard guard(m_lock);
    if (m_abandoned)
        return;
    m_answer.emplace(std::move(answer));
    m_changed.notify_one();
}

void BoundedOperation::log(unsigned level, DiagnosticType type, const QString &message)
{
    const std::lock_guard guard(m_lock);
    if (m_abandoned)
        return;
    m_messages.append({level, type, message});
    m_changed.notify_one();
}

BoundedOperation::SocketWatch::SocketWatch(BoundedOperation &operation, int socket,
                                           Clock::time_point limit)
    : m_operation(operation)
{
    const std::lock_guard guard(m_operation.m_lock);
    m_operation.m_socket = socket;
    m_operation.m_socketLimit = limit;
    m_operation.m_socketCut = m_operation.m_abandoned;
    if (m_operation.m_abandoned)
        ::shutdown(socket, SHUT_RDWR);
    m_operation.m_changed.notify_one();
}

BoundedOperation::SocketWatch::~SocketWatch()
{
    const std::lock_guard guard(m_operation.m_lock);
    m_operation.m_socket = -1;
}

bool BoundedOperation::SocketWatch::wasCut() const
{
    const std::lock_guard guard(m_operation.m_lock);
    return m_operation.m_socketCut;
}
