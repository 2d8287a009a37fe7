#pragma once

#include "platform/UrlSession.h"
#include "web/SSRevocableAction.h"

#include <QObject>

#include <memory>
#include <optional>

/// One transfer: its session and task, the body received and the text of it. Made through
/// initWithURL or create, owned by shared pointers, usable from any thread; calls its target on the
/// session's background thread.
class SSWebDownloaderDelegate final : public QObject,
                                      public UrlSessionDelegate,
                                      public std::enable_shared_from_this<SSWebDownloaderDelegate>
{
    Q_OBJECT
public:
    /// Starts the transfer at once; null when it could not be started. The target is told with this
    /// object as the argument.
    [[nodiscard]] static std::shared_ptr<SSWebDownloaderDelegate>
    initWithURL(const std::optional<QString> &url, const std::optional<QString> &proxy,
                std::weak_ptr<QObject> target, QByteArray action);
    /// Starts nothing yet.
    [[nodiscard]] static std::shared_ptr<SSWebDownloaderDelegate>
    create(std::weak_ptr<QObject> target, QByteArray action);
    /// Cancels the transfer.
    ~SSWebDownloaderDelegate() override;

    /// Starts the transfer, once; false without a URL.
    bool downloadWithURL(const std::optional<QString> &url, const std::optional<QString> &proxy);

    /// Waits for the end of the transfer; the body's text, absent after a failure, without a body
    /// and for a body that is not UTF-8.
    [[nodiscard]] std::optional<QString> result();
    /// The text as far as it is known now.
    [[nodiscard]] std::optional<QString> resultString() const;

    /// Waits until the task has completed, in steps of 0.1 s. On the thread of the session's
    /// delegate calls, whose task cannot go on meanwhile, it counts as completed.
    void waitTask();
    /// As above, `seconds` at most; without limit when negative.
    void waitTaskWithInterval(double seconds);

    void performAction();
    /// Forgets the target, cancels the transfer and waits for its end: unless called from within a
    /// delegate call, nobody is called and nothing is logged afterwards.
    void cancelTask();

    [[nodiscard]] UrlResponseDisposition didReceiveResponse(int statusCode,
                                                            const QString &statusText) override;
    void didReceiveData(const QByteArray &chunk) override;
    void didCompleteWithError(const std::optional<UrlError> &error) override;

private:
    template<typename T, typename... Arguments>
    friend std::shared_ptr<T> makeSharedObject(Arguments &&...arguments);
    SSWebDownloaderDelegate(std::weak_ptr<QObject> target, QByteArray action);

    class DelegateCall;
    [[nodiscard]] bool isInDelegateCall() const;
    void waitForCompletionCall();

    SSRevocableAction m_action;
    mutable std::mutex m_lock; ///< guards what follows
    std::condition_variable m_changed;
    std::shared_ptr<UrlSession> m_session;
    std::shared_ptr<UrlSessionTask> m_task;
    std::optional<QByteArray> m_data;
    std::optional<QString> m_resultString;
    bool m_completionHeard = false;   ///< the text is final
    std::thread::id m_delegateThread; ///< of the delegate call under way
};
