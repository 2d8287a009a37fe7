#include "web/SSWebDownloaderDelegate.h"

#include "foundation/SSLogger.h"
#include "foundation/SSUtils.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <QStringDecoder>

namespace {

constexpr qint64 pollMilliseconds = 100;

std::optional<QString> decodedUtf8(const QByteArray &bytes)
{
    // Stateless, so that a sequence cut off at the end is an error as well. A byte order mark is
    // no part of the text.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace

/// Marks the thread that a delegate call runs on, for the time of the call.
class SSWebDownloaderDelegate::DelegateCall
{
public:
    explicit DelegateCall(SSWebDownloaderDelegate &owner) : m_owner(owner)
    {
        const std::lock_guard guard(m_owner.m_lock);
        m_outer = std::exchange(m_owner.m_delegateThread, std::this_thread::get_id());
    }
    ~DelegateCall()
    {
        const std::lock_guard guard(m_owner.m_lock);
        m_owner.m_delegateThread = m_outer;
    }
    DelegateCall(const DelegateCall &) = delete;
    DelegateCall &operator=(const DelegateCall &) = delete;

private:
    SSWebDownloaderDelegate &m_owner;
    std::thread::id m_outer;
};

SSWebDownloaderDelegate::SSWebDownloaderDelegate(std::weak_ptr<QObject> target, QByteArray action)
    : m_action(SSTargetAction(std::move(target), std::move(action)))
{
}

SSWebDownloaderDelegate::~SSWebDownloaderDelegate()
{
    {
        // No owner is left, so the session has nobody to tell of the completion.
        const std::lock_guard guard(m_lock);
        m_completionHeard = true;
    }
    cancelTask();
}

std::shared_ptr<SSWebDownloaderDelegate>
SSWebDownloaderDelegate::create(std::weak_ptr<QObject> target, QByteArray action)
{
    return makeSharedObject<SSWebDownloaderDelegate>(std::move(target), std::move(action));
}

std::shared_ptr<SSWebDownloaderDelegate>
SSWebDownloaderDelegate::initWithURL(const std::optional<QString> &url,
                                     const std::optional<QString> &proxy,
                                     std::weak_ptr<QObject> target, QByteArray action)
{
    auto delegate = create(std::move(target), std::move(action));
    if (!delegate->downloadWithURL(url, proxy))
        return nullptr;
    return delegate;
}

bool SSWebDownloaderDelegate::downloadWithURL(const std::optional<QString> &url,
                                              const std::optional<QString> &proxy)
{
    SSLog(2, SSMessageType::Info, "    URL: %@", url);
    SSLog(2, SSMessageType::Info, "    Proxy: %@", proxy);
    if (!url || url->isEmpty()) {
        SSLog(1, SSMessageType::Error, "Failed to download page content. The URL is empty.");
        return false;
    }
    const auto session = Platform::current().urlSessions->sessionWithConfiguration(
        SSUtils::URLSessionConfigurationWithProxy(proxy), weak_from_this());
    const auto task = session->dataTaskWithUrl(*url);
    {
        const std::lock_guard guard(m_lock);
        m_session = session;
        m_task = task;
    }
    task->resume();
    return true;
}

std::optional<QString> SSWebDownloaderDelegate::result()
{
    waitTask();
    waitForCompletionCall();
    return resultString();
}

std::optional<QString> SSWebDownloaderDelegate::resultString() const
{
    const std::lock_guard guard(m_lock);
    return m_resultString;
}

bool SSWebDownloaderDelegate::isInDelegateCall() const
{
    const std::lock_guard guard(m_lock);
    return m_delegateThread == std::this_thread::get_id();
}

void SSWebDownloaderDelegate::waitTask()
{
    waitTaskWithInterval(-1);
}

void SSWebDownloaderDelegate::waitTaskWithInterval(double seconds)
{
    if (isInDelegateCall())
        return;
    std::shared_ptr<Clock> clock;
    qint64 start = 0;
    for (;;) {
        std::shared_ptr<UrlSessionTask> task;
        {
            const std::lock_guard guard(m_lock);
            task = m_task;
        }
        if (!task)
            return;
        if (task->state() == UrlSessionTaskState::Completed)
            return;
        if (!clock) {
            // Asked late: an ended transfer may be dropped when the platform has gone.
            clock = Platform::current().clock;
            start = clock->monotonicMilliseconds();
        }
        if (seconds >= 0 &&
            static_cast<double>(clock->monotonicMilliseconds() - start) >= seconds * 1000)
            return;
        clock->sleepMilliseconds(pollMilliseconds);
    }
}

// The task completes before its delegate hears of it; the text is final only then.
void SSWebDownloaderDelegate::waitForCompletionCall()
{
    std::unique_lock guard(m_lock);
    if (m_delegateThread == std::this_thread::get_id())
        return;
    m_changed.wait(guard, [this] { return m_completionHeard || !m_task; });
}

void SSWebDownloaderDelegate::performAction()
{
    m_action.perform(this, "selector %@ is not found in web downloader target class.");
}

void SSWebDownloaderDelegate::cancelTask()
{
    m_action.revoke();
    std::shared_ptr<UrlSession> session;
    std::shared_ptr<UrlSessionTask> task;
    {
        const std::lock_guard guard(m_lock);
        session = m_session;
        task = m_task;
    }
    if (task)
        task->cancel();
    if (session)
        session->invalidateAndCancel();
    waitTask();
    waitForCompletionCall();
    const std::lock_guard guard(m_lock);
    m_task.reset();
    m_session.reset();
    m_changed.notify_all();
}

UrlResponseDisposition SSWebDownloaderDelegate::didReceiveResponse(int statusCode,
                                                                   const QString &statusText)
{
    const DelegateCall call(*this);
    if (statusCode < 200 || statusCode > 299) {
        SSLog(1, SSMessageType::Error, "WebResponse with code:%ld. Error: %@", statusCode,
              statusText);
        return UrlResponseDisposition::Cancel;
    }
    return UrlResponseDisposition::Allow;
}

void SSWebDownloaderDelegate::didReceiveData(const QByteArray &chunk)
{
    const DelegateCall call(*this);
    if (chunk.isEmpty())
        return;
    const std::lock_guard guard(m_lock);
    if (!m_data)
        m_data.emplace();
    m_data->append(chunk);
}

void SSWebDownloaderDelegate::didCompleteWithError(const std::optional<UrlError> &error)
{
    const DelegateCall call(*this);
    std::shared_ptr<UrlSession> session;
    std::shared_ptr<UrlSessionTask> task;
    std::optional<QByteArray> data;
    {
        const std::lock_guard guard(m_lock);
        session = m_session;
        task = m_task;
        data.swap(m_data);
    }
    if (task)
        task->cancel();
    if (session)
        session->invalidateAndCancel();

    std::optional<QString> text;
    if (error) {
        SSLog(1, SSMessageType::Error, "SSWebDownloader::Error: %@", error->localizedDescription);
    } else if (data) {
        text = decodedUtf8(*data);
        SSLog(2, SSMessageType::Info, "    UTF8: %lu bytes", data->size());
        SSLog(2, SSMessageType::Info, "    Unicode: %lu chars", text ? text->size() : 0);
    }
    {
        const std::lock_guard guard(m_lock);
        m_resultString = text;
        m_completionHeard = true;
        m_changed.notify_all();
    }
    performAction();
}
