#include "app/SSReminderFlow.h"

#include "platform/Platform.h"

#include <utility>

namespace {
constexpr double initialSeconds = 10;
} // namespace

SSReminderFlow::SSReminderFlow(Hooks hooks) : m_hooks(std::move(hooks)) {}

void SSReminderFlow::updateStage(quint64 stage)
{
    m_stage = stage;
    if (m_stage == SSStage::Initial) {
        if (m_hooks.startInitialTimer())
            return;
        m_stage = SSStage::Reminding;
    }
    if (m_stage == SSStage::Reminding) {
        if (m_hooks.startReminderTimer())
            return;
        m_stage = SSStage::Done;
    }
    if (m_stage == SSStage::Done)
        m_hooks.finished();
    else
        m_hooks.invalidStage(m_stage);
}

void SSReminderFlow::abandon()
{
    m_stage = SSStage::Done;
}

bool SSReminderFlow::armInitialTimer(bool wanted, RunLoop::TimerHandler handler)
{
    stopTimer();
    if (m_stage != SSStage::Initial || !wanted)
        return false;
    m_timer = Platform::current().runLoop->scheduleTimer(initialSeconds, std::move(handler));
    return true;
}

bool SSReminderFlow::armReminderTimer(bool wanted, qint32 intervalMins,
                                      RunLoop::TimerHandler handler)
{
    stopTimer();
    if (m_stage != SSStage::Reminding || !wanted)
        return false;
    // Single precision, as the interval has always been computed.
    const float seconds = static_cast<float>(intervalMins) * 60.0F;
    if (seconds == 0.0F)
        return false;
    m_timer = Platform::current().runLoop->scheduleTimer(static_cast<double>(seconds),
                                                         std::move(handler));
    return true;
}

void SSReminderFlow::stopTimer()
{
    if (m_timer)
        m_timer->invalidate();
    m_timer.reset();
}

bool SSReminderFlow::isCurrentTimer(const RunLoopTimer *timer) const
{
    return timer && m_timer.get() == timer;
}
