#pragma once

#include "foundation/SSTargetAction.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// A target and action that can be taken back from any thread for good: once revoke() has returned,
/// no call of another thread is running and none will begin.
class SSRevocableAction
{
public:
    explicit SSRevocableAction(SSTargetAction action) : m_action(std::move(action)) {}

    /// Calls the target with `sender` unless revoked, then `report` with the outcome and the
    /// action's name.
    void perform(QObject *sender,
                 const std::function<void(SSTargetAction::Outcome, const QString &)> &report);

    /// Forgets target and action and waits for the calls of other threads that have begun. A call
    /// that revokes itself goes on. The caller holds no lock that the target takes.
    void revoke();

private:
    std::mutex m_lock;
    std::condition_variable m_ended;
    SSTargetAction m_action;
    std::vector<std::thread::id> m_callers;
};
