#pragma once

#include "platform/linux/web/LinuxUrlSession.h"
#include "tests/integration/web/WebServers.h"

#include <QObject>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Hears one transfer through.
class Recorder final : public UrlSessionDelegate
{
public:
    UrlResponseDisposition didReceiveResponse(int statusCode, const QString &text) override
    {
        const std::lock_guard guard(m_lock);
        noteThread();
        statuses.append(statusCode);
        statusText = text;
        return disposition;
    }
    void didReceiveData(const QByteArray &chunk) override
    {
        const std::lock_guard guard(m_lock);
        noteThread();
        body += chunk;
    }
    void didCompleteWithError(const std::optional<UrlError> &newError) override
    {
        const std::lock_guard guard(m_lock);
        noteThread();
        error = newError;
        stateAtCompletion = task ? task->state() : UrlSessionTaskState::Running;
        ++completions;
        m_changed.notify_all();
    }
    [[nodiscard]] bool waitForCompletion(std::chrono::seconds limit = std::chrono::seconds(120))
    {
        std::unique_lock guard(m_lock);
        return m_changed.wait_for(guard, limit, [this] { return completions > 0; });
    }
    [[nodiscard]] std::optional<UrlError::Code> code() const
    {
        return error ? std::optional(error->code) : std::nullopt;
    }

    UrlResponseDisposition disposition = UrlResponseDisposition::Allow;
    std::shared_ptr<UrlSessionTask> task;
    QList<int> statuses;
    QString statusText;
    QByteArray body;
    std::optional<UrlError> error;
    UrlSessionTaskState stateAtCompletion = UrlSessionTaskState::Running;
    int completions = 0;
    bool oneThread = true;
    std::thread::id thread;

private:
    void noteThread()
    {
        if (thread != std::thread::id() && thread != std::this_thread::get_id())
            oneThread = false;
        thread = std::this_thread::get_id();
    }
    std::mutex m_lock;
    std::condition_variable m_changed;
};

/// The servers, and transfers from them. A test class derives from it.
class WebFixture : public QObject
{
    Q_OBJECT

protected:
    /// Trusts the servers' authority, otherwise as in production.
    [[nodiscard]] LinuxUrlSessionLimits limits() const;
    [[nodiscard]] std::unique_ptr<LinuxUrlSessionFactory>
    makeFactory(const LinuxUrlSessionLimits &limits);
    /// One transfer from start to end; null when it does not end.
    [[nodiscard]] std::shared_ptr<Recorder>
    fetch(const QString &url, const LinuxUrlSessionLimits &limits,
          const UrlSessionConfiguration &configuration = {},
          UrlResponseDisposition disposition = UrlResponseDisposition::Allow);
    [[nodiscard]] std::shared_ptr<Recorder> fetch(const QString &url);
    [[nodiscard]] QStringList diagnostics() const;

    std::unique_ptr<WebServers> m_servers;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

private:
    mutable std::mutex m_diagnosticsLock;
    QStringList m_diagnostics;
};
