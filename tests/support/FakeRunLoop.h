#pragma once

#include "platform/Clock.h"
#include "platform/RunLoop.h"

#include <deque>
#include <list>
#include <mutex>

/// A clock and run loop that stand still until a test turns them.
class FakeRunLoop final : public Clock, public RunLoop
{
public:
    // Clock
    [[nodiscard]] LocalTime localTime() override { return m_localTime; }
    [[nodiscard]] qint64 monotonicMilliseconds() override { return m_now; }
    /// Passes virtual time without running anything, and calls onSleep.
    void sleepMilliseconds(qint64 milliseconds) override;

    // RunLoop
    [[nodiscard]] std::shared_ptr<RunLoopTimer> scheduleTimer(double seconds,
                                                              TimerHandler handler) override;
    void performOnMainThread(std::function<void()> work) override;

    /// Runs the handed-over work, then turns the clock by `seconds`, firing what falls due in order
    /// of time and running the work that it hands over.
    void advance(double seconds);
    /// Runs the handed-over work without turning the clock.
    void runPending();

    /// Calls every handler that was ever scheduled with a timer that is none of theirs, as one that
    /// fires after it was replaced does.
    void fireReplacedTimers();

    /// Timers armed and neither fired nor invalidated, with the seconds they were armed for.
    [[nodiscard]] QList<double> armedIntervals() const;

    void setLocalTime(const LocalTime &time) { m_localTime = time; }

    /// Called on each sleep, after the time has passed.
    std::function<void()> onSleep;
    int sleeps = 0;

private:
    struct Timer;
    qint64 m_now = 0;
    quint64 m_sequence = 0;
    LocalTime m_localTime{2021, 3, 4, 10, 15, 2, 3600};
    std::list<std::weak_ptr<Timer>> m_timers;
    std::list<TimerHandler> m_everyHandler;
    std::mutex m_lock;
    std::deque<std::function<void()>> m_work;
};
