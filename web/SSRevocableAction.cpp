#include "web/SSRevocableAction.h"

#include <algorithm>

void SSRevocableAction::perform(
    QObject *sender, const std::function<void(SSTargetAction::Outcome, const QString &)> &report)
{
    const std::thread::id self = std::this_thread::get_id();
    SSTargetAction action;
    {
        const std::lock_guard guard(m_lock);
        action = m_action;
        m_callers.push_back(self);
    }
    report(action.perform(sender), action.action());
    {
        const std::lock_guard guard(m_lock);
        m_callers.erase(std::find(m_callers.begin(), m_callers.end(), self));
        // Under the lock: the waiting thread may destroy this object next.
        m_ended.notify_all();
    }
}

void SSRevocableAction::revoke()
{
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock guard(m_lock);
    m_action.clear();
    m_ended.wait(guard, [&] {
        return std::all_of(m_callers.begin(), m_callers.end(),
                           [&](std::thread::id caller) { return caller == self; });
    });
}
