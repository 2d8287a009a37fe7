#include "web/SSWebDownloader.h"

#include "foundation/SSLogger.h"
#include "web/SSWebDownloaderDelegate.h"

SSWebDownloader::SSWebDownloader(std::weak_ptr<QObject> target, QByteArray action)
    : m_action(SSTargetAction(std::move(target), std::move(action)))
{
}

SSWebDownloader::~SSWebDownloader()
{
    unsubscribe();
}

std::shared_ptr<SSWebDownloader> SSWebDownloader::initWithURL(const std::optional<QString> &url,
                                                              const std::optional<QString> &proxy,
                                                              std::weak_ptr<QObject> target,
                                                              QByteArray action)
{
    auto downloader = makeSharedObject<SSWebDownloader>(std::move(target), std::move(action));
    const auto delegate = SSWebDownloaderDelegate::create(downloader, "onAction");
    {
        // Before the start, so that the end of a short transfer finds its delegate known.
        const std::lock_guard guard(downloader->m_lock);
        downloader->m_delegate = delegate;
    }
    if (!delegate->downloadWithURL(url, proxy))
        return nullptr;
    return downloader;
}

std::optional<QString> SSWebDownloader::downloadWithURL(const std::optional<QString> &url,
                                                        const std::optional<QString> &proxy)
{
    const auto downloader = initWithURL(url, proxy, {}, {});
    return downloader ? downloader->result() : std::nullopt;
}

std::shared_ptr<SSWebDownloaderDelegate> SSWebDownloader::delegate() const
{
    const std::lock_guard guard(m_lock);
    return m_delegate;
}

std::optional<QString> SSWebDownloader::result()
{
    if (const auto current = delegate())
        return current->result();
    const std::lock_guard guard(m_lock);
    return m_result;
}

void SSWebDownloader::onAction(QObject *sender)
{
    const auto own = delegate();
    if (!own || own.get() != sender)
        return;
    performAction();
    {
        // A thread that waits in downloadWithURL may ask only after the delegate has gone.
        const std::lock_guard guard(m_lock);
        if (m_delegate == own)
            m_result = own->resultString();
    }
    unsubscribe();
}

void SSWebDownloader::performAction()
{
    m_action.perform(this, "selector %@ is not found in WebDownloader target class.");
}

void SSWebDownloader::unsubscribe()
{
    m_action.revoke();
    std::shared_ptr<SSWebDownloaderDelegate> dropped;
    {
        const std::lock_guard guard(m_lock);
        dropped.swap(m_delegate);
    }
    if (dropped)
        dropped->cancelTask();
}
