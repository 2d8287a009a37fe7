#pragma once

#include <functional>
#include <memory>

/// A one-shot timer of the main run loop. Dropping the last reference invalidates it.
class RunLoopTimer
{
public:
    virtual ~RunLoopTimer() = default;

    /// After this the timer never fires. Harmless when it has fired already.
    virtual void invalidate() = 0;
};

/// The main thread's run loop: timers and work handed over from other threads.
class RunLoop
{
public:
    using TimerHandler = std::function<void(const RunLoopTimer *firing)>;

    virtual ~RunLoop() = default;

    /// Arms a one-shot timer of `seconds`; zero or less fires at the next turn of the loop, never
    /// inside this call. Main thread only.
    [[nodiscard]] virtual std::shared_ptr<RunLoopTimer> scheduleTimer(double seconds,
                                                                      TimerHandler handler) = 0;

    /// Runs `work` on the main thread at a later turn of its loop, in the order of the calls, and
    /// does not wait. Any thread. Work still queued when the loop ends is dropped unrun.
    virtual void performOnMainThread(std::function<void()> work) = 0;
};
