#pragma once

#include "platform/linux/web/CurlExchange.h"
#include "platform/linux/web/LinuxUrlSession.h"

#include <QUrl>

class LinuxUrlTask;

struct LinuxUrlTransferSettings
{
    LinuxUrlSessionLimits limits;
    std::optional<UrlProxyDictionary> proxies;
    DiagnosticSink diagnostics;
};

/// One GET from its start to its end, on the thread that calls run().
class LinuxUrlTransfer final : private CurlExchange::Listener
{
public:
    LinuxUrlTransfer(LinuxUrlTask &task, const LinuxUrlTransferSettings &settings,
                     std::weak_ptr<UrlSessionDelegate> delegate);

    /// Returns when the delegate has been told of the end.
    void run();

    /// Sets the task completed and tells the delegate.
    static void complete(LinuxUrlTask &task, const std::weak_ptr<UrlSessionDelegate> &delegate,
                         const std::optional<UrlError> &error);

private:
    [[nodiscard]] std::optional<UrlError> transfer(const QUrl &url);
    /// One request of possibly several: an answer that redirects leaves its address in m_redirect.
    [[nodiscard]] bool didReceiveHead(const CurlExchange::Head &head) override;
    [[nodiscard]] bool didReceiveBody(const QByteArray &chunk) override;
    void redirect(const QByteArray &location);
    /// For the listener's calls: ends the exchange.
    bool fail(UrlError::Code code, const QString &description);
    bool failTooLarge();

    LinuxUrlTask &m_task;
    const LinuxUrlTransferSettings &m_settings;
    const std::weak_ptr<UrlSessionDelegate> m_delegate;
    QUrl m_url; ///< of the request that runs
    std::optional<UrlError> m_error;
    std::optional<QUrl> m_redirect;
    qint64 m_received = 0;
};
