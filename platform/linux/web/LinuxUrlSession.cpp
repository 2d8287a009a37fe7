#include "platform/linux/web/LinuxUrlSession.h"

#include "platform/linux/web/LinuxUrlTask.h"
#include "platform/linux/web/LinuxUrlTransfer.h"

#include <QThread>

#include <algorithm>
#include <deque>
#include <list>
#include <mutex>
#include <utility>

#include <csignal>

namespace {

class SessionCore;

/// Runs one session's transfers until none is left.
/// Destroying it waits for that.
class SessionThread final : public QThread
{
public:
    explicit SessionThread(std::shared_ptr<SessionCore> core) : m_core(std::move(core))
    {
        setObjectName(QStringLiteral("url-session"));
    }
    ~SessionThread() override
    {
        wait();
        // Everything that the thread did comes before what follows, also by a lock of ours.
        const std::lock_guard guard(m_lock);
    }
    void run() override;
    [[nodiscard]] bool hasEnded() const
    {
        const std::lock_guard guard(m_lock);
        return !m_core;
    }

private:
    mutable std::mutex m_lock;
    std::shared_ptr<SessionCore> m_core; ///< until the end
};

} // namespace

/// The threads of all sessions. An ended one is freed when the next starts, at the latest with the
/// factory.
class LinuxUrlSessionRegistry
{
public:
    /// False once closed, and when no thread can be had.
    [[nodiscard]] bool start(const std::shared_ptr<SessionCore> &core);
    void close();

private:
    void reap();

    std::mutex m_lock;
    bool m_closed = false;
    std::list<std::unique_ptr<SessionThread>> m_threads;
    std::list<std::weak_ptr<SessionCore>> m_cores;
};

namespace {

class SessionCore : public std::enable_shared_from_this<SessionCore>
{
public:
    SessionCore(std::shared_ptr<LinuxUrlSessionRegistry> registry,
                LinuxUrlTransferSettings settings, std::weak_ptr<UrlSessionDelegate> delegate)
        : m_registry(std::move(registry))
        , m_settings(std::move(settings))
        , m_delegate(std::move(delegate))
    {
    }

    void enqueue(const std::shared_ptr<LinuxUrlTask> &task)
    {
        {
            const std::lock_guard guard(m_lock);
            if (m_invalidated)
                task->cancel();
            m_tasks.push_back(task);
            if (m_running)
                return;
            m_running = true;
        }
        if (m_registry->start(shared_from_this()))
            return;
        std::deque<std::shared_ptr<LinuxUrlTask>> refused;
        {
            const std::lock_guard guard(m_lock);
            m_running = false;
            refused.swap(m_tasks);
        }
        for (const auto &each : refused)
            LinuxUrlTransfer::complete(
                *each, m_delegate,
                UrlError{UrlError::Code::Other, QStringLiteral("no thread for the transfer")});
    }

    void invalidate()
    {
        const std::lock_guard guard(m_lock);
        m_invalidated = true;
        for (const auto &task : m_tasks)
            task->cancel();
    }

    /// On the session's thread.
    void runAll()
    {
        for (;;) {
            std::shared_ptr<LinuxUrlTask> task;
            {
                const std::lock_guard guard(m_lock);
                if (m_tasks.empty()) {
                    m_running = false;
                    return;
                }
                task = m_tasks.front();
            }
            LinuxUrlTransfer(*task, m_settings, m_delegate).run();
            const std::lock_guard guard(m_lock);
            m_tasks.pop_front();
        }
    }

private:
    const std::shared_ptr<LinuxUrlSessionRegistry> m_registry;
    const LinuxUrlTransferSettings m_settings;
    const std::weak_ptr<UrlSessionDelegate> m_delegate;
    std::mutex m_lock;
    std::deque<std::shared_ptr<LinuxUrlTask>> m_tasks; ///< the first one is running
    bool m_running = false;
    bool m_invalidated = false;
};

/// OpenSSL writes to its connection without a care for the signal of a broken one.
void blockSigpipe()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void SessionThread::run()
{
    blockSigpipe();
    m_core->runAll();
    std::shared_ptr<SessionCore> released;
    const std::lock_guard guard(m_lock);
    released.swap(m_core);
}

class LinuxUrlSession final : public UrlSession
{
public:
    explicit LinuxUrlSession(std::shared_ptr<SessionCore> core) : m_core(std::move(core)) {}
    ~LinuxUrlSession() override { m_core->invalidate(); }

    [[nodiscard]] std::shared_ptr<UrlSessionTask> dataTaskWithUrl(const QString &url) override
    {
        return std::make_shared<LinuxUrlTask>(
            url,
            [core = m_core](const std::shared_ptr<LinuxUrlTask> &task) { core->enqueue(task); });
    }
    void invalidateAndCancel() override { m_core->invalidate(); }

private:
    const std::shared_ptr<SessionCore> m_core;
};

} // namespace

bool LinuxUrlSessionRegistry::start(const std::shared_ptr<SessionCore> &core)
{
    const std::lock_guard guard(m_lock);
    if (m_closed)
        return false;
    reap();
    auto thread = std::make_unique<SessionThread>(core);
    thread->start();
    if (!thread->isRunning() && !thread->isFinished())
        return false;
    m_threads.push_back(std::move(thread));
    m_cores.push_back(core);
    return true;
}

void LinuxUrlSessionRegistry::reap()
{
    m_threads.remove_if(
        [](const std::unique_ptr<SessionThread> &thread) { return thread->hasEnded(); });
    m_cores.remove_if([](const std::weak_ptr<SessionCore> &core) { return core.expired(); });
}

void LinuxUrlSessionRegistry::close()
{
    std::list<std::unique_ptr<SessionThread>> threads;
    std::list<std::weak_ptr<SessionCore>> cores;
    {
        const std::lock_guard guard(m_lock);
        m_closed = true;
        threads.swap(m_threads);
        cores.swap(m_cores);
    }
    for (const auto &weak : cores) {
        if (const auto core = weak.lock())
            core->invalidate();
    }
    threads.clear();
}

LinuxUrlSessionFactory::LinuxUrlSessionFactory(DiagnosticSink diagnostics,
                                               LinuxUrlSessionLimits limits)
    : m_registry(std::make_shared<LinuxUrlSessionRegistry>())
    , m_diagnostics(std::move(diagnostics))
    , m_limits(std::move(limits))
{
}

LinuxUrlSessionFactory::~LinuxUrlSessionFactory()
{
    m_registry->close();
}

std::shared_ptr<UrlSession>
LinuxUrlSessionFactory::sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                                                 std::weak_ptr<UrlSessionDelegate> delegate)
{
    return std::make_shared<LinuxUrlSession>(std::make_shared<SessionCore>(
        m_registry,
        LinuxUrlTransferSettings{m_limits, configuration.connectionProxyDictionary, m_diagnostics},
        std::move(delegate)));
}
