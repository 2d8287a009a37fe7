#pragma once

#include "platform/UrlSession.h"

#include <functional>
#include <mutex>

/// The state of one transfer as all threads see it. Everything crosses between them through this
/// lock; the descriptor only wakes the transfer's wait.
class LinuxUrlTask final : public UrlSessionTask, public std::enable_shared_from_this<LinuxUrlTask>
{
public:
    using Starter = std::function<void(const std::shared_ptr<LinuxUrlTask> &)>;

    LinuxUrlTask(QString url, Starter starter);
    ~LinuxUrlTask() override;

    void resume() override;
    void cancel() override;
    [[nodiscard]] UrlSessionTaskState state() const override;

    [[nodiscard]] const QString &url() const { return m_url; }
    /// Readable once the task is cancelled; -1 when there was no descriptor left.
    [[nodiscard]] int wakeDescriptor() const { return m_wake; }
    [[nodiscard]] bool isCancelled() const;
    void setCompleted();

private:
    const QString m_url;
    const int m_wake;
    mutable std::mutex m_lock;
    Starter m_starter; ///< until resumed
    UrlSessionTaskState m_state = UrlSessionTaskState::Running;
};
