#pragma once

#include "foundation/SSTargetAction.h"

#include <condition_variable>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

/// A target and action that can be taken back from any thread for good: once revoke() has returned,
/// no call of another thread is running and none will begin.
class SSRevocableAction
{
public:
    explicit SSRevocableAction(SSTargetAction action) : m_action(std::move(action)) {}

    /// Calls the target with `sender` unless revoked, and logs what was missing;
    /// `operationMissing` is the message for a target without the operation, with a "%@" for its
    /// name.
    void perform(QObject *sender, std::string_view operationMissing);

    /// Forgets target and action and waits for the calls of other threads that have begun. A call
    /// that revokes itself goes on. The caller holds no lock that the target takes.
    void revoke();

private:
    std::mutex m_lock;
    std::condition_variable m_ended;
    SSTargetAction m_action;
    std::vector<std::thread::id> m_callers;
};
