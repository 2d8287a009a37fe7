#pragma once

#include "platform/RunLoop.h"

#include <QObject>

#include <deque>
#include <mutex>

/// Timers and handed-over work on Qt's main event loop. Made on the main thread after the
/// application object.
class LinuxRunLoop final : public QObject, public RunLoop
{
    Q_OBJECT
public:
    LinuxRunLoop();
    ~LinuxRunLoop() override;

    [[nodiscard]] std::shared_ptr<RunLoopTimer> scheduleTimer(double seconds,
                                                              TimerHandler handler) override;
    void performOnMainThread(std::function<void()> work) override;

private:
    void drain();
    void wake() const;

    // Work crosses threads through this lock alone; the descriptor only wakes the loop.
    std::mutex m_lock;
    std::deque<std::function<void()>> m_work;
    int m_wake;
};
