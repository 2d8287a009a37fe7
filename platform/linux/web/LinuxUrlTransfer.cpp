#include "platform/linux/web/LinuxUrlTransfer.h"

#include "platform/linux/web/HttpStatusText.h"
#include "platform/linux/web/LinuxProxySettings.h"
#include "platform/linux/web/LinuxUrlTask.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkProxyQuery>
#include <QNetworkRequest>
#include <QSocketNotifier>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace {

constexpr qint64 readBufferBytes = 65'536;
constexpr int maximumRedirects = 20;

UrlError::Code codeOf(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::OperationCanceledError:
        return UrlError::Code::Cancelled;
    case QNetworkReply::HostNotFoundError:
        return UrlError::Code::HostNotFound;
    case QNetworkReply::ConnectionRefusedError:
        return UrlError::Code::CannotConnect;
    case QNetworkReply::TimeoutError:
        return UrlError::Code::TimedOut;
    case QNetworkReply::SslHandshakeFailedError:
        return UrlError::Code::TlsUntrusted;
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::UnknownProxyError:
        return UrlError::Code::ProxyFailed;
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return UrlError::Code::ConnectionLost;
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolInvalidOperationError:
        return UrlError::Code::BadUrl;
    default:
        return UrlError::Code::Other;
    }
}

/// An answer with an error status counts as an error to Qt alone.
bool isStatusError(QNetworkReply::NetworkError error)
{
    return error >= QNetworkReply::ContentAccessDenied && error != QNetworkReply::ProtocolFailure &&
           error != QNetworkReply::ProtocolUnknownError &&
           error != QNetworkReply::ProtocolInvalidOperationError;
}

bool isFollowed(int status)
{
    return (status >= 301 && status <= 303) || status == 305 || status == 307 || status == 308;
}

/// Whether it is a proxy that is connected to.
bool goesToProxy(const QNetworkReply &reply)
{
    const QList<QNetworkProxy> proxies =
        reply.manager()->proxyFactory()->queryProxy(QNetworkProxyQuery(reply.url()));
    return !proxies.isEmpty() && proxies.first().type() != QNetworkProxy::NoProxy;
}

std::optional<QSslConfiguration> tlsConfiguration(const LinuxUrlSessionLimits &limits)
{
    if (!limits.trustedCertificatesFile)
        return std::nullopt;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslCertificate::fromPath(*limits.trustedCertificatesFile));
    return configuration;
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
    QNetworkAccessManager manager;
    manager.setAutoDeleteReplies(false);
    manager.setProxyFactory(makeProxyFactory(m_settings.proxies).release());
    QUrl target = url;
    for (int hops = 0; hops <= maximumRedirects; ++hops) {
        exchange(manager, target);
        if (!m_redirect)
            return m_error;
        target = *m_redirect;
    }
    return UrlError{UrlError::Code::Other, QStringLiteral("too many redirects")};
}

void LinuxUrlTransfer::exchange(QNetworkAccessManager &manager, const QUrl &url)
{
    QEventLoop loop;
    m_loop = &loop;
    m_ended = false;
    m_redirect.reset();

    QNetworkRequest request(url);
    // Followed here, with a reply of its own for each: one that Qt redirects may still carry the
    // length of the answer before.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // Qt would end a body that unpacks to a multiple of its size without an error; the limit of
    // ours does better.
    request.setDecompressedSafetyCheckThreshold(-1);
    if (const auto tls = tlsConfiguration(m_settings.limits))
        request.setSslConfiguration(*tls);

    const std::unique_ptr<QNetworkReply> reply(manager.get(request));
    reply->setReadBufferSize(readBufferBytes);
    QTimer stall;
    QSocketNotifier cancelled(m_task.wakeDescriptor(), QSocketNotifier::Read);
    QObject::connect(&cancelled, &QSocketNotifier::activated, &loop, [&] {
        cancelled.setEnabled(false);
        fail(UrlError::Code::Cancelled, QStringLiteral("cancelled"));
    });
    watch(*reply, loop, stall);
    if (reply->isFinished())
        finished(*reply);
    if (!m_ended)
        loop.exec();
    // Its end, which ends the request as well, is nobody's business any more.
    reply->disconnect();
    m_loop = nullptr;
}

void LinuxUrlTransfer::watch(QNetworkReply &reply, QEventLoop &loop, QTimer &stall)
{
    stall.setSingleShot(true);
    stall.setInterval(m_settings.limits.stallMilliseconds);
    QObject::connect(&stall, &QTimer::timeout, &loop, [this] {
        fail(UrlError::Code::TimedOut, QStringLiteral("the request timed out"));
    });
    stall.start();
    const auto progress = [&stall] { stall.start(); };
    QObject::connect(&reply, &QNetworkReply::encrypted, &stall, progress);
    QObject::connect(&reply, &QNetworkReply::metaDataChanged, &loop, [this, &reply, progress] {
        progress();
        readHead(reply);
    });
    QObject::connect(&reply, &QNetworkReply::readyRead, &loop, [this, &reply, progress] {
        progress();
        readBody(reply);
    });
    QObject::connect(&reply, &QNetworkReply::finished, &loop, [this, &reply] { finished(reply); });
}

void LinuxUrlTransfer::readHead(QNetworkReply &reply)
{
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (m_ended || m_headRead || !status.isValid())
        return;
    if (isFollowed(status.toInt()) && reply.hasRawHeader("Location")) {
        redirect(reply.url(), reply.rawHeader("Location"));
        return;
    }
    m_headRead = true;
    const auto delegate = m_delegate.lock();
    if (!delegate || delegate->didReceiveResponse(status.toInt(), httpStatusText(status.toInt())) ==
                         UrlResponseDisposition::Cancel) {
        fail(UrlError::Code::Cancelled, QStringLiteral("cancelled"));
        return;
    }
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && length.toLongLong() > m_settings.limits.bodyBytes)
        failTooLarge();
}

void LinuxUrlTransfer::redirect(const QUrl &from, const QByteArray &location)
{
    const QUrl target = from.resolved(QUrl::fromEncoded(location));
    const bool isSecure = target.scheme() == QLatin1String("https");
    if (!target.isValid() || target.host().isEmpty() ||
        (!isSecure && target.scheme() != QLatin1String("http"))) {
        fail(UrlError::Code::BadUrl, QStringLiteral("unsupported redirect"));
        return;
    }
    if (!isSecure && from.scheme() == QLatin1String("https")) {
        fail(UrlError::Code::Other, QStringLiteral("insecure redirect"));
        return;
    }
    m_redirect = target;
    m_ended = true;
    m_loop->quit();
}

void LinuxUrlTransfer::readBody(QNetworkReply &reply)
{
    readHead(reply);
    while (!m_ended && m_headRead && reply.bytesAvailable() > 0) {
        const QByteArray chunk = reply.read(readBufferBytes);
        if (chunk.isEmpty())
            return;
        m_received += chunk.size();
        if (m_received > m_settings.limits.bodyBytes) {
            failTooLarge();
            return;
        }
        const auto delegate = m_delegate.lock();
        if (!delegate || m_task.isCancelled()) {
            fail(UrlError::Code::Cancelled, QStringLiteral("cancelled"));
            return;
        }
        delegate->didReceiveData(chunk);
    }
}

void LinuxUrlTransfer::finished(QNetworkReply &reply)
{
    const QNetworkReply::NetworkError error = reply.error();
    if (error != QNetworkReply::NoError && !isStatusError(error)) {
        const UrlError::Code code = codeOf(error);
        // Qt has codes of their own for a proxy's failures, but does not use them for all.
        const bool proxyFailed = code == UrlError::Code::CannotConnect ||
                                 code == UrlError::Code::HostNotFound ||
                                 error == QNetworkReply::UnknownNetworkError;
        fail(proxyFailed && goesToProxy(reply) ? UrlError::Code::ProxyFailed : code,
             reply.errorString());
        return;
    }
    readBody(reply);
    if (m_ended)
        return;
    if (!m_headRead) {
        fail(UrlError::Code::ConnectionLost, QStringLiteral("the server gave no answer"));
        return;
    }
    // A compressed body has lost its length header by now.
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && m_received < length.toLongLong()) {
        fail(UrlError::Code::ConnectionLost, QStringLiteral("the body was cut off"));
        return;
    }
    m_ended = true;
    m_loop->quit();
}

void LinuxUrlTransfer::fail(UrlError::Code code, const QString &description)
{
    if (m_ended)
        return;
    m_ended = true;
    m_error = UrlError{code, description};
    m_loop->quit();
}

void LinuxUrlTransfer::failTooLarge()
{
    const QString text =
        QStringLiteral("the answer is larger than %1 bytes").arg(m_settings.limits.bodyBytes);
    if (m_settings.diagnostics)
        m_settings.diagnostics(
            1, DiagnosticType::Error,
            QStringLiteral("URL session: %1, the limit; it is dropped.").arg(text));
    fail(UrlError::Code::TooLarge, text);
}
