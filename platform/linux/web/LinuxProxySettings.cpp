#include "platform/linux/web/LinuxProxySettings.h"

#include <QNetworkProxyQuery>
#include <QUrl>

#include <utility>

namespace {

QVariant valueOf(const UrlProxyDictionary &dictionary, const QString &key)
{
    for (const auto &[name, value] : dictionary) {
        if (name == key)
            return value;
    }
    return {};
}

QNetworkProxy proxyOf(const UrlProxyDictionary &dictionary, const QString &kind)
{
    const QString prefix = QStringLiteral("kCFNetworkProxies") + kind;
    const QString host = valueOf(dictionary, prefix + QStringLiteral("Proxy")).toString();
    const int port = valueOf(dictionary, prefix + QStringLiteral("Port")).toInt();
    if (valueOf(dictionary, prefix + QStringLiteral("Enable")).toInt() == 0 || host.isEmpty())
        return QNetworkProxy(QNetworkProxy::NoProxy);
    return QNetworkProxy(QNetworkProxy::HttpProxy, host, static_cast<quint16>(port));
}

class DictionaryProxies final : public QNetworkProxyFactory
{
public:
    explicit DictionaryProxies(const UrlProxyDictionary &dictionary)
        : m_plain(proxyOf(dictionary, QStringLiteral("HTTP")))
        , m_secure(proxyOf(dictionary, QStringLiteral("HTTPS")))
    {
    }
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        return {query.url().scheme() == QLatin1String("https") ? m_secure : m_plain};
    }

private:
    const QNetworkProxy m_plain;
    const QNetworkProxy m_secure;
};

class SystemProxies final : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        return systemProxyForQuery(query);
    }
};

} // namespace

std::unique_ptr<QNetworkProxyFactory>
makeProxyFactory(const std::optional<UrlProxyDictionary> &dictionary)
{
    if (dictionary)
        return std::make_unique<DictionaryProxies>(*dictionary);
    return std::make_unique<SystemProxies>();
}

std::optional<QNetworkProxy> proxyFor(QNetworkProxyFactory &factory, const QUrl &url)
{
    const bool isSecure = url.scheme() == QLatin1String("https");
    for (const QNetworkProxy &proxy : factory.queryProxy(QNetworkProxyQuery(url))) {
        switch (proxy.type()) {
        case QNetworkProxy::NoProxy:
        case QNetworkProxy::HttpProxy:
        case QNetworkProxy::Socks5Proxy:
            return proxy;
        case QNetworkProxy::HttpCachingProxy:
            // One that does not tunnel.
            if (!isSecure)
                return proxy;
            break;
        default:
            break;
        }
    }
    return std::nullopt;
}
