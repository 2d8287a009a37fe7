#include "tests/support/FakeRunLoop.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <utility>

struct FakeRunLoop::Timer final : RunLoopTimer
{
    void invalidate() override { handler = nullptr; }

    double interval = 0;
    qint64 due = 0;
    quint64 sequence = 0;
    TimerHandler handler;
};

void FakeRunLoop::sleepMilliseconds(qint64 milliseconds)
{
    m_now += milliseconds;
    ++sleeps;
    if (onSleep)
        onSleep();
}

std::shared_ptr<RunLoopTimer> FakeRunLoop::scheduleTimer(double seconds, TimerHandler handler)
{
    auto timer = std::make_shared<Timer>();
    timer->interval = seconds;
    timer->due = m_now + static_cast<qint64>(std::max(0.0, std::ceil(seconds * 1000)));
    timer->sequence = ++m_sequence;
    m_everyHandler.push_back(handler);
    timer->handler = std::move(handler);
    m_timers.push_back(timer);
    return timer;
}

void FakeRunLoop::performOnMainThread(std::function<void()> work)
{
    const std::lock_guard guard(m_lock);
    m_work.push_back(std::move(work));
}

void FakeRunLoop::runPending()
{
    for (;;) {
        std::deque<std::function<void()>> work;
        {
            const std::lock_guard guard(m_lock);
            work.swap(m_work);
        }
        if (work.empty())
            return;
        for (const auto &item : work)
            item();
    }
}

void FakeRunLoop::fireReplacedTimers()
{
    const Timer replaced;
    const std::list<TimerHandler> handlers = m_everyHandler;
    for (const TimerHandler &handler : handlers)
        handler(&replaced);
    runPending();
}

void FakeRunLoop::advance(double seconds)
{
    const qint64 end = m_now + static_cast<qint64>(std::llround(seconds * 1000));
    for (;;) {
        runPending();
        std::shared_ptr<Timer> next;
        m_timers.remove_if([](const std::weak_ptr<Timer> &weak) {
            const auto timer = weak.lock();
            return !timer || !timer->handler;
        });
        for (const auto &weak : m_timers) {
            const auto timer = weak.lock();
            if (!next ||
                std::pair(timer->due, timer->sequence) < std::pair(next->due, next->sequence))
                next = timer;
        }
        if (!next || next->due > end)
            break;
        m_now = std::max(m_now, next->due);
        if (const TimerHandler handler = std::exchange(next->handler, nullptr))
            handler(next.get());
    }
    m_now = std::max(m_now, end);
    runPending();
}

QList<double> FakeRunLoop::armedIntervals() const
{
    QList<double> result;
    for (const auto &weak : m_timers) {
        if (const auto timer = weak.lock(); timer && timer->handler)
            result.append(timer->interval);
    }
    return result;
}
