#include "platform/linux/core/LinuxRunLoop.h"

#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace {

class LinuxRunLoopTimer final : public RunLoopTimer
{
public:
    LinuxRunLoopTimer(double seconds, RunLoop::TimerHandler handler) : m_handler(std::move(handler))
    {
        m_timer.setSingleShot(true);
        // The coarse ones may fire early by a twentieth.
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { expired(); });
        m_remaining = std::isfinite(seconds) ? std::max(0.0, std::ceil(seconds * 1000.0)) : 0.0;
        startNext();
    }

    void invalidate() override
    {
        m_timer.stop();
        m_handler = nullptr;
    }

private:
    // A reminder of months is longer than one QTimer can be.
    void startNext()
    {
        const double slice =
            std::min(m_remaining, static_cast<double>(std::numeric_limits<int>::max()));
        m_remaining -= slice;
        m_timer.start(static_cast<int>(slice));
    }

    void expired()
    {
        if (m_remaining > 0) {
            startNext();
            return;
        }
        // The handler may drop the last reference to this timer.
        if (const RunLoop::TimerHandler handler = std::exchange(m_handler, nullptr))
            handler(this);
    }

    QTimer m_timer;
    RunLoop::TimerHandler m_handler;
    double m_remaining = 0; ///< milliseconds beyond the running slice
};

} // namespace

LinuxRunLoop::LinuxRunLoop() : m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    auto *notifier = new QSocketNotifier(m_wake, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { drain(); });
}

LinuxRunLoop::~LinuxRunLoop()
{
    ::close(m_wake);
}

std::shared_ptr<RunLoopTimer> LinuxRunLoop::scheduleTimer(double seconds, TimerHandler handler)
{
    return std::make_shared<LinuxRunLoopTimer>(seconds, std::move(handler));
}

void LinuxRunLoop::performOnMainThread(std::function<void()> work)
{
    const std::lock_guard guard(m_lock);
    m_work.push_back(std::move(work));
    wake();
}

void LinuxRunLoop::wake() const
{
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wake, &one, sizeof one);
}

void LinuxRunLoop::drain()
{
    quint64 count = 0;
    [[maybe_unused]] const ssize_t got = ::read(m_wake, &count, sizeof count);
    std::function<void()> work;
    {
        const std::lock_guard guard(m_lock);
        if (m_work.empty())
            return;
        work = std::move(m_work.front());
        m_work.pop_front();
        // The rest has turns of its own: the work may run a loop of its own, as a dialog does, in
        // which what waits must go on, and before what is handed over later.
        if (!m_work.empty())
            wake();
    }
    work();
}
