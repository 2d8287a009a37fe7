#pragma once

#include "platform/RunLoop.h"

#include <memory>
#include <utility>

/// A run loop whose timers pass faster than they should, so that nobody has to wait for a demo.
class HurriedRunLoop final : public RunLoop
{
public:
    HurriedRunLoop(std::shared_ptr<RunLoop> real, double factor)
        : m_real(std::move(real)), m_factor(factor)
    {
    }

    [[nodiscard]] std::shared_ptr<RunLoopTimer> scheduleTimer(double seconds,
                                                              TimerHandler handler) override
    {
        return m_real->scheduleTimer(seconds / m_factor, std::move(handler));
    }
    void performOnMainThread(std::function<void()> work) override
    {
        m_real->performOnMainThread(std::move(work));
    }

private:
    std::shared_ptr<RunLoop> m_real;
    double m_factor;
};
