#include "platform/linux/web/LinuxUrlTransfer.h"

#include "platform/linux/web/HttpStatusText.h"
#include "platform/linux/web/LinuxProxySettings.h"
#include "platform/linux/web/LinuxUrlTask.h"

#include <QNetworkProxy>

#include <utility>

namespace {

constexpr int maximumRedirects = 20;

bool isFollowed(int status)
{
    return (status >= 301 && status <= 303) || status == 305 || status == 307 || status == 308;
}

} // namespace

LinuxUrlTransfer::LinuxUrlTransfer(LinuxUrlTask &task, const LinuxUrlTransferSettings &settings,
                                   std::weak_ptr<UrlSessionDelegate> delegate)
    : m_task(task), m_settings(settings), m_delegate(std::move(delegate))
{
}

void LinuxUrlTransfer::complete(LinuxUrlTask &task,
                                const std::weak_ptr<UrlSessionDelegate> &delegate,
                                const std::optional<UrlError> &error)
{
    task.setCompleted();
    if (const auto strong = delegate.lock())
        strong->didCompleteWithError(error);
}

void LinuxUrlTransfer::run()
{
    const QUrl url(m_task.url(), QUrl::StrictMode);
    std::optional<UrlError> error;
    if (m_task.isCancelled())
        error = UrlError{UrlError::Code::Cancelled, QStringLiteral("cancelled")};
    else if (!url.isValid() || url.host().isEmpty() ||
             (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")))
        error = UrlError{UrlError::Code::BadUrl, QStringLiteral("unsupported URL")};
    else if (m_task.wakeDescriptor() < 0)
        error = UrlError{UrlError::Code::Other, QStringLiteral("out of file descriptors")};
    else
        error = transfer(url);
    complete(m_task, m_delegate, error);
}

std::optional<UrlError> LinuxUrlTransfer::transfer(const QUrl &url)
{
    const auto proxies = makeProxyFactory(m_settings.proxies);
    m_url = url;
    for (int hops = 0; hops <= maximumRedirects; ++hops) {
        const auto proxy = proxyFor(*proxies, m_url);
        if (!proxy)
            return UrlError{UrlError::Code::ProxyFailed, QStringLiteral("no suitable proxy")};
        const std::optional<UrlError> error =
            CurlExchange(m_url, *proxy, m_settings.limits, *this).run(m_task.wakeDescriptor());
        if (error || m_error)
            return m_error ? m_error : error;
        if (!m_redirect)
            return std::nullopt;
        m_url = *std::exchange(m_redirect, std::nullopt);
    }
    return UrlError{UrlError::Code::Other, QStringLiteral("too many redirects")};
}

bool LinuxUrlTransfer::didReceiveHead(const CurlExchange::Head &head)
{
    if (isFollowed(head.status) && head.location) {
        redirect(*head.location);
        return false;
    }
    const auto delegate = m_delegate.lock();
    if (!delegate || delegate->didReceiveResponse(head.status, httpStatusText(head.status)) ==
                         UrlResponseDisposition::Cancel)
        return fail(UrlError::Code::Cancelled, QStringLiteral("cancelled"));
    return head.length.value_or(0) <= m_settings.limits.bodyBytes || failTooLarge();
}

void LinuxUrlTransfer::redirect(const QByteArray &location)
{
    const QUrl target = m_url.resolved(QUrl::fromEncoded(location));
    const bool isSecure = target.scheme() == QLatin1String("https");
    if (!target.isValid() || target.host().isEmpty() ||
        (!isSecure && target.scheme() != QLatin1String("http")))
        fail(UrlError::Code::BadUrl, QStringLiteral("unsupported redirect"));
    else if (!isSecure && m_url.scheme() == QLatin1String("https"))
        fail(UrlError::Code::Other, QStringLiteral("insecure redirect"));
    else
        m_redirect = target;
}

bool LinuxUrlTransfer::didReceiveBody(const QByteArray &chunk)
{
    m_received += chunk.size();
    if (m_received > m_settings.limits.bodyBytes)
        return failTooLarge();
    const auto delegate = m_delegate.lock();
    if (!delegate || m_task.isCancelled())
        return fail(UrlError::Code::Cancelled, QStringLiteral("cancelled"));
    delegate->didReceiveData(chunk);
    return true;
}

bool LinuxUrlTransfer::fail(UrlError::Code code, const QString &description)
{
    m_error = UrlError{code, description};
    return false;
}

bool LinuxUrlTransfer::failTooLarge()
{
    const QString text =
        QStringLiteral("the answer is larger than %1 bytes").arg(m_settings.limits.bodyBytes);
    if (m_settings.diagnostics)
        m_settings.diagnostics(
            1, DiagnosticType::Error,
            QStringLiteral("URL session: %1, the limit; it is dropped.").arg(text));
    return fail(UrlError::Code::TooLarge, text);
}
