#include "web/SSRevocableAction.h"

#include "foundation/SSLogger.h"

#include <algorithm>

namespace {

void logMissing(SSTargetAction::Outcome outcome, const QString &action,
                std::string_view operationMissing)
{
    switch (outcome) {
    case SSTargetAction::Outcome::Called:
    case SSTargetAction::Outcome::NothingSet:
        break;
    case SSTargetAction::Outcome::TargetMissing:
        SSLog(1, SSMessageType::Error, "WebDownloader target is not assigned.");
        break;
    case SSTargetAction::Outcome::ActionMissing:
        SSLog(1, SSMessageType::Error, "WebDownloader action is not assigned.");
        break;
    case SSTargetAction::Outcome::OperationMissing:
        SSLog(1, SSMessageType::Error, operationMissing, action);
        break;
    }
}

} // namespace

void SSRevocableAction::perform(QObject *sender, std::string_view operationMissing)
{
    const std::thread::id self = std::this_thread::get_id();
    SSTargetAction action;
    {
        const std::lock_guard guard(m_lock);
        action = m_action;
        m_callers.push_back(self);
    }
    logMissing(action.perform(sender), action.action(), operationMissing);
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
