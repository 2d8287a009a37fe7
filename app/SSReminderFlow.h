#pragma once

#include "platform/RunLoop.h"

#include <QtGlobal>

#include <functional>
#include <memory>

/// The stages that a reminder flow goes through.
namespace SSStage {
inline constexpr quint64 Initial = 0;   ///< the first check is pending
inline constexpr quint64 Reminding = 1; ///< the user was notified, a reminder is to follow
inline constexpr quint64 Done = 2;      ///< nothing more to do
} // namespace SSStage

/// One reminder flow: a stage and the one-shot timer that leads to the next. Which conditions arm
/// the timers and what a stage means to the user is its owner's business.
class SSReminderFlow
{
public:
    struct Hooks
    {
        std::function<bool()> startInitialTimer; ///< whether a timer was armed
        std::function<bool()> startReminderTimer;
        std::function<void()> finished;            ///< the flow has come to its end
        std::function<void(quint64)> invalidStage; ///< a stage that there is not was stored
    };

    explicit SSReminderFlow(Hooks hooks);

    [[nodiscard]] quint64 stage() const { return m_stage; }
    [[nodiscard]] bool needProcess() const { return m_stage < SSStage::Done; }

    /// Enters a stage; a stage whose timer is not wanted passes on to the next one.
    void updateStage(quint64 stage);
    /// Ends the flow without telling anybody.
    void abandon();

    /// Arms the 10-second timer when the flow is at its first stage and the timer is wanted. The
    /// old timer is stopped in any case.
    bool armInitialTimer(bool wanted, RunLoop::TimerHandler handler);
    /// Arms the reminder timer likewise at the reminding stage, unless the interval is 0; a
    /// negative one fires at once.
    bool armReminderTimer(bool wanted, qint32 intervalMins, RunLoop::TimerHandler handler);
    void stopTimer();
    /// Whether `timer` is the one armed last; any other has been replaced.
    [[nodiscard]] bool isCurrentTimer(const RunLoopTimer *timer) const;

private:
    Hooks m_hooks;
    quint64 m_stage = SSStage::Initial;
    std::shared_ptr<RunLoopTimer> m_timer;
};
