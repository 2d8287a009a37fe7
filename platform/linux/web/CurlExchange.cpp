#include "platform/linux/web/CurlExchange.h"

#include <QLocale>
#include <QNetworkProxy>
#include <QUrl>

#include <chrono>
#include <type_traits>
#include <utility>

#include <sys/socket.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr long bufferBytes = 65'536;
constexpr const char *protocols = "http,https";

bool isCurlReady()
{
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    return result == CURLE_OK;
}

UrlError::Code codeOf(CURLcode code)
{
    switch (code) {
    case CURLE_URL_MALFORMAT:
        return UrlError::Code::BadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
        return UrlError::Code::HostNotFound;
    case CURLE_COULDNT_CONNECT:
        return UrlError::Code::CannotConnect;
    case CURLE_OPERATION_TIMEDOUT:
        return UrlError::Code::TimedOut;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return UrlError::Code::TlsUntrusted;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:
        return UrlError::Code::ProxyFailed;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return UrlError::Code::ConnectionLost;
    default:
        return UrlError::Code::Other;
    }
}

/// libcurl has one code for a handshake that was refused and one that broke.
bool isBrokenHandshake(CURLcode code, const QString &text)
{
    return code == CURLE_SSL_CONNECT_ERROR && (text.contains(QLatin1String("SSL_ERROR_SYSCALL")) ||
                                               text.startsWith(QLatin1String("Recv failure")) ||
                                               text.startsWith(QLatin1String("Send failure")));
}

/// The user's language first, then English.
QByteArray acceptedLanguages()
{
    const QString locale = QLocale::system().name().replace(u'_', u'-');
    if (locale == QLatin1String("C"))
        return "en,*";
    const bool isEnglish = locale.startsWith(QLatin1String("en-"));
    return locale.toLatin1() + (isEnglish ? ",*" : ",en,*");
}

} // namespace

CurlExchange::CurlExchange(const QUrl &url, const QNetworkProxy &proxy,
                           const LinuxUrlSessionLimits &limits, Listener &listener)
    : m_listener(listener)
    , m_stallMilliseconds(limits.stallMilliseconds)
    , m_isSecure(url.scheme() == QLatin1String("https"))
    , m_multi(isCurlReady() ? curl_multi_init() : nullptr)
    , m_easy(m_multi ? curl_easy_init() : nullptr)
{
    m_isReady = m_easy != nullptr;
    set(CURLOPT_ERRORBUFFER, m_errorText.data());
    // No signals for timeouts, and a resolver that hangs is left behind instead of waited for.
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_OPENSOCKETFUNCTION, &CurlExchange::onSocket);
    set(CURLOPT_HEADERFUNCTION, &CurlExchange::onHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &CurlExchange::onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_BUFFERSIZE, bufferBytes);

    set(CURLOPT_PROTOCOLS_STR, protocols);
    set(CURLOPT_REDIR_PROTOCOLS_STR, protocols);
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (limits.trustedCertificatesFile) {
        set(CURLOPT_CAINFO, limits.trustedCertificatesFile->toUtf8().constData());
        set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
    }
    setUrl(url);
    setProxy(proxy);
    setHeaders();
    m_isReady = m_isReady && curl_multi_add_handle(m_multi.get(), m_easy.get()) == CURLM_OK;
}

CurlExchange::~CurlExchange()
{
    if (m_isReady)
        curl_multi_remove_handle(m_multi.get(), m_easy.get());
}

template<typename Value>
void CurlExchange::set(CURLoption option, Value value)
{
    // libcurl reads a long where an int would have been passed.
    static_assert(std::is_pointer_v<Value> || std::is_same_v<Value, long> ||
                  std::is_same_v<Value, unsigned long>);
    m_isReady = m_isReady && curl_easy_setopt(m_easy.get(), option, value) == CURLE_OK;
}

void CurlExchange::setUrl(const QUrl &url)
{
    set(CURLOPT_URL, url.toEncoded(QUrl::RemoveUserInfo | QUrl::RemoveFragment).constData());
    // Without a name of its own in the URL, the user's Kerberos ticket, and that only to a server
    // that asks for it.
    const bool isNamed = !url.userName().isEmpty();
    set(CURLOPT_USERNAME, url.userName(QUrl::FullyDecoded).toUtf8().constData());
    set(CURLOPT_PASSWORD, url.password(QUrl::FullyDecoded).toUtf8().constData());
    set(CURLOPT_HTTPAUTH, isNamed ? CURLAUTH_ANY : CURLAUTH_NEGOTIATE | CURLAUTH_ONLY);
}

void CurlExchange::setProxy(const QNetworkProxy &proxy)
{
    // Empty texts, so that libcurl does not ask the environment: it was asked before, with the
    // desktop's settings.
    set(CURLOPT_NOPROXY, "");
    m_isProxied = proxy.type() != QNetworkProxy::NoProxy;
    if (!m_isProxied) {
        set(CURLOPT_PROXY, "");
        return;
    }
    const bool isSocks = proxy.type() == QNetworkProxy::Socks5Proxy;
    m_isTunnelled = m_isSecure && !isSocks;
    QUrl address;
    address.setScheme(isSocks ? QStringLiteral("socks5h") : QStringLiteral("http"));
    address.setHost(proxy.hostName());
    address.setPort(proxy.port());
    set(CURLOPT_PROXY, address.toEncoded().constData());
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_PROXYUSERNAME, proxy.user().toUtf8().constData());
    set(CURLOPT_PROXYPASSWORD, proxy.password().toUtf8().constData());
    const bool isNamed = !proxy.user().isEmpty();
    set(CURLOPT_PROXYAUTH, isNamed ? CURLAUTH_ANY : CURLAUTH_NEGOTIATE | CURLAUTH_ONLY);
}

void CurlExchange::setHeaders()
{
    set(CURLOPT_USERAGENT, "Mozilla/5.0");
    set(CURLOPT_ACCEPT_ENCODING, ""); // all that can be unpacked
    set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
    // "Accept:" leaves that header out.
    for (const QByteArray &line :
         {QByteArray("Accept:"), "Accept-Language: " + acceptedLanguages()}) {
        curl_slist *const longer = curl_slist_append(m_headers.get(), line.constData());
        m_isReady = m_isReady && longer;
        if (longer) {
            // The same list, unless it was empty.
            [[maybe_unused]] curl_slist *const same = m_headers.release();
            m_headers.reset(longer);
        }
    }
    set(CURLOPT_HTTPHEADER, m_headers.get());
}

std::optional<UrlError> CurlExchange::run(int cancelDescriptor)
{
    const UrlError broken{UrlError::Code::Other, QStringLiteral("the transfer cannot be set up")};
    if (!m_isReady)
        return broken;
    const std::chrono::milliseconds limit(m_stallMilliseconds);
    Clock::time_point lastProgress = Clock::now();
    for (;;) {
        int running = 0;
        if (curl_multi_perform(m_multi.get(), &running) != CURLM_OK)
            return broken;
        if (m_stopped)
            return m_failure;
        if (running == 0)
            return outcome();

        const Clock::time_point now = Clock::now();
        if (std::exchange(m_progressed, false))
            lastProgress = now;
        // Rounded up, so as not to look again too early.
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(lastProgress + limit - now);
        if (left.count() <= 0)
            return UrlError{UrlError::Code::TimedOut, QStringLiteral("the request timed out")};
        curl_waitfd cancelled{cancelDescriptor, CURL_WAIT_POLLIN, 0};
        int ready = 0;
        if (curl_multi_poll(m_multi.get(), &cancelled, 1, static_cast<int>(left.count()), &ready) !=
            CURLM_OK)
            return broken;
        if (cancelled.revents != 0)
            return UrlError{UrlError::Code::Cancelled, QStringLiteral("cancelled")};
        // A connection made, a step of its handshake, a byte: all of them wake a socket.
        m_progressed = ready > 0;
    }
}

std::optional<UrlError> CurlExchange::outcome()
{
    int left = 0;
    const CURLMsg *const message = curl_multi_info_read(m_multi.get(), &left);
    const CURLcode code = message ? message->data.result : CURLE_FAILED_INIT;
    if (code != CURLE_OK)
        return errorOf(code);
    if (!m_headTold && guarded(1, [this] { return tellHead(); }) == 0)
        return m_failure;
    if (m_isProxied && info(CURLINFO_RESPONSE_CODE) == 407)
        return UrlError{UrlError::Code::ProxyFailed,
                        QStringLiteral("the proxy requires authentication")};
    return std::nullopt;
}

UrlError CurlExchange::errorOf(CURLcode code) const
{
    // On one line: names out of a certificate may be part of it.
    const QString text =
        QString::fromUtf8(m_errorText[0] != '\0' ? m_errorText.data() : curl_easy_strerror(code))
            .simplified();
    if (isProxysFault(code))
        return {UrlError::Code::ProxyFailed, text};
    if (isBrokenHandshake(code, text))
        return {UrlError::Code::ConnectionLost, text};
    if (code == CURLE_PARTIAL_FILE)
        return {UrlError::Code::ConnectionLost, QStringLiteral("the body was cut off")};
    if (code == CURLE_GOT_NOTHING)
        return {UrlError::Code::ConnectionLost, QStringLiteral("the server gave no answer")};
    return {codeOf(code), text};
}

bool CurlExchange::isProxysFault(CURLcode code) const
{
    switch (code) {
    case CURLE_COULDNT_CONNECT:
    case CURLE_COULDNT_RESOLVE_HOST:
        return m_isProxied;
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return m_isTunnelled && info(CURLINFO_HTTP_CONNECTCODE) / 100 != 2;
    default:
        return false;
    }
}

long CurlExchange::info(CURLINFO what) const
{
    long value = 0;
    return curl_easy_getinfo(m_easy.get(), what, &value) == CURLE_OK ? value : 0;
}

std::optional<QByteArray> CurlExchange::header(const char *name) const
{
    curl_header *found = nullptr;
    if (curl_easy_header(m_easy.get(), name, 0, CURLH_HEADER, -1, &found) != CURLHE_OK)
        return std::nullopt;
    return QByteArray(found->value);
}

bool CurlExchange::tellHead()
{
    m_headTold = true;
    Head head;
    head.status = static_cast<int>(info(CURLINFO_RESPONSE_CODE));
    head.location = header("Location");
    if (const auto length = header("Content-Length")) {
        bool isNumber = false;
        const qint64 bytes = length->toLongLong(&isNumber);
        if (isNumber)
            head.length = bytes;
    }
    return m_listener.didReceiveHead(head);
}

template<typename Call>
size_t CurlExchange::guarded(size_t bytes, Call call) noexcept
{
    m_progressed = true;
    try {
        if (!m_stopped && call())
            return bytes;
    } catch (...) {
        m_failure = UrlError{UrlError::Code::Other, QStringLiteral("out of memory")};
    }
    m_stopped = true;
    return 0;
}

size_t CurlExchange::onHeader(char *data, size_t size, size_t count, void *exchange) noexcept
{
    auto &self = *static_cast<CurlExchange *>(exchange);
    const size_t bytes = size * count;
    const bool isEndOfHead = bytes > 0 && (data[0] == '\r' || data[0] == '\n');
    const long status = self.info(CURLINFO_RESPONSE_CODE);
    // libcurl may answer these two with credentials; it then shows nothing of their body.
    const bool isFinal = status >= 200 && status != 401 && status != 407;
    return self.guarded(bytes, [&self, isTold = isEndOfHead && isFinal && !self.m_headTold] {
        return !isTold || self.tellHead();
    });
}

size_t CurlExchange::onBody(char *data, size_t size, size_t count, void *exchange) noexcept
{
    auto &self = *static_cast<CurlExchange *>(exchange);
    const size_t bytes = size * count;
    return self.guarded(bytes, [&self, data, bytes] {
        return (self.m_headTold || self.tellHead()) &&
               self.m_listener.didReceiveBody(QByteArray(data, static_cast<qsizetype>(bytes)));
    });
}

curl_socket_t CurlExchange::onSocket(void *, curlsocktype, curl_sockaddr *address) noexcept
{
    // A program that is started meanwhile has no business with it.
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}
