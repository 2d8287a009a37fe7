#pragma once

#include "platform/linux/web/LinuxUrlSession.h"

#include <curl/curl.h>

#include <array>
#include <memory>
#include <optional>

class QNetworkProxy;
class QUrl;

/// One GET over a connection of its own, with redirects reported instead of followed. Cookies,
/// credentials and the connection end with it. Lives and calls its listener on one thread, which
/// has SIGPIPE blocked.
class CurlExchange
{
public:
    struct Head
    {
        int status = 0;
        std::optional<QByteArray> location;
        std::optional<qint64> length; ///< of the body as it is sent, possibly compressed
    };

    /// False from either ends the exchange.
    class Listener
    {
    public:
        virtual ~Listener() = default;
        /// Once at most, of the final answer: not of one that asks for credentials that there are.
        [[nodiscard]] virtual bool didReceiveHead(const Head &head) = 0;
        /// The next bytes of the body, decompressed.
        [[nodiscard]] virtual bool didReceiveBody(const QByteArray &chunk) = 0;
    };

    /// The listener has to outlive the exchange. A proxy of the type NoProxy is none, whatever the
    /// environment says.
    CurlExchange(const QUrl &url, const QNetworkProxy &proxy, const LinuxUrlSessionLimits &limits,
                 Listener &listener);
    ~CurlExchange();
    CurlExchange(const CurlExchange &) = delete;
    CurlExchange &operator=(const CurlExchange &) = delete;

    /// Returns at the end of the answer, or once the descriptor is readable (Code::Cancelled).
    /// No error when the listener ended it.
    [[nodiscard]] std::optional<UrlError> run(int cancelDescriptor);

private:
    struct EasyDeleter
    {
        void operator()(CURL *handle) const { curl_easy_cleanup(handle); }
    };
    struct MultiDeleter
    {
        void operator()(CURLM *handle) const { curl_multi_cleanup(handle); }
    };
    struct ListDeleter
    {
        void operator()(curl_slist *list) const { curl_slist_free_all(list); }
    };

    template<typename Value>
    void set(CURLoption option, Value value);
    void setUrl(const QUrl &url);
    void setProxy(const QNetworkProxy &proxy);
    void setHeaders();
    [[nodiscard]] long info(CURLINFO what) const;
    [[nodiscard]] std::optional<QByteArray> header(const char *name) const;
    [[nodiscard]] bool tellHead();
    [[nodiscard]] std::optional<UrlError> outcome();
    [[nodiscard]] UrlError errorOf(CURLcode code) const;
    [[nodiscard]] bool isProxysFault(CURLcode code) const;
    template<typename Call>
    size_t guarded(size_t bytes, Call call) noexcept;

    // What libcurl calls.
    static size_t onHeader(char *data, size_t size, size_t count, void *exchange) noexcept;
    static size_t onBody(char *data, size_t size, size_t count, void *exchange) noexcept;
    static curl_socket_t onSocket(void *, curlsocktype, curl_sockaddr *address) noexcept;

    Listener &m_listener;
    const int m_stallMilliseconds;
    const bool m_isSecure;
    bool m_isProxied = false;
    bool m_isTunnelled = false;
    bool m_isReady = true;
    bool m_headTold = false;
    bool m_stopped = false;
    bool m_progressed = false;
    std::optional<UrlError> m_failure;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
    // The handles last: what they point to outlives them, and the multi handle its easy one.
    std::unique_ptr<curl_slist, ListDeleter> m_headers;
    std::unique_ptr<CURLM, MultiDeleter> m_multi;
    std::unique_ptr<CURL, EasyDeleter> m_easy;
};
