#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>
#include <utility>

/// Why a transfer ended before its answer was complete.
struct UrlError
{
    enum class Code {
        Cancelled,
        BadUrl,
        HostNotFound,
        CannotConnect,
        TimedOut,     ///< 60 s passed without progress
        TlsUntrusted, ///< the server's certificate or protocol was refused
        ProxyFailed,
        TooLarge,       ///< the body passed the limit of the session
        ConnectionLost, ///< the connection broke, a truncated body included
        Other,
    };
    Code code = Code::Other;
    QString localizedDescription;
};

/// A proxy dictionary keeps its entries in their order. Known for each of HTTP and HTTPS:
/// "kCFNetworkProxiesHTTPEnable" (integer, 0 for a direct connection), "kCFNetworkProxiesHTTPProxy"
/// (host) and "kCFNetworkProxiesHTTPPort" (integer). Plain URLs are asked from the proxy, secure
/// ones go through it by CONNECT.
using UrlProxyDictionary = QList<std::pair<QString, QVariant>>;

/// How the transfers of a session are made.
struct UrlSessionConfiguration
{
    /// No cookies, cache or credentials outlive the session. Without it they may, but need not.
    bool ephemeral = false;
    /// Absent: the system's proxy settings apply.
    std::optional<UrlProxyDictionary> connectionProxyDictionary;
};

enum class UrlSessionTaskState { Running, Canceling, Completed };

/// One GET of a session.
class UrlSessionTask
{
public:
    virtual ~UrlSessionTask() = default;
    /// Starts the transfer, once; does not block on the network. No delegate call comes before it,
    /// and none on the calling thread but a didCompleteWithError when no thread can be had.
    virtual void resume() = 0;
    /// Ends the transfer; the delegate still hears didCompleteWithError. Does not wait. Any thread,
    /// at any moment. A task that was not resumed is completed at once, and its delegate hears
    /// nothing.
    virtual void cancel() = 0;
    /// Any thread. Completed is set before the delegate hears didCompleteWithError.
    [[nodiscard]] virtual UrlSessionTaskState state() const = 0;
};

enum class UrlResponseDisposition { Cancel, Allow };

/// Hears about one session's transfer. All calls come one after the other on the session's own
/// background thread, which waits for each to return; a call may cancel the task and drop the
/// session.
class UrlSessionDelegate
{
public:
    virtual ~UrlSessionDelegate() = default;
    /// Of the last answer when redirects were followed, at most once. `statusText` is the
    /// platform's text for the status code, as "not found". Cancel ends the transfer with
    /// Code::Cancelled. An answer of any status that is allowed to go on is no error.
    [[nodiscard]] virtual UrlResponseDisposition didReceiveResponse(int statusCode,
                                                                    const QString &statusText) = 0;
    /// The next bytes of the body, decompressed.
    virtual void didReceiveData(const QByteArray &chunk) = 0;
    /// Exactly once for a resumed task, the last call of all.
    virtual void didCompleteWithError(const std::optional<UrlError> &error) = 0;
};

/// A session of one delegate. The delegate is held weakly: one that has gone hears nothing, and its
/// transfer ends. The tasks of one session run one after the other. A session that is dropped is
/// invalidated.
class UrlSession
{
public:
    virtual ~UrlSession() = default;
    /// The text is parsed as a URL; only http and https are fetched. Redirects are followed, from
    /// https to https only. Never null: what is no such URL ends with Code::BadUrl. The task is not
    /// started.
    [[nodiscard]] virtual std::shared_ptr<UrlSessionTask> dataTaskWithUrl(const QString &url) = 0;
    /// Cancels what runs; its delegate calls still come. Does not wait. Any thread.
    virtual void invalidateAndCancel() = 0;
};

/// Makes sessions.
class UrlSessionFactory
{
public:
    virtual ~UrlSessionFactory() = default;
    /// Never null. The delegate may go before the session.
    [[nodiscard]] virtual std::shared_ptr<UrlSession>
    sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                             std::weak_ptr<UrlSessionDelegate> delegate) = 0;
};
