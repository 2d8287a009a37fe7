#include "tests/integration/web/WebFixture.h"

#include <QFile>
#include <QTcpSocket>
#include <QTest>

namespace {

UrlSessionConfiguration throughProxy(int port)
{
    const QString host = QStringLiteral("127.0.0.1");
    return {true, UrlProxyDictionary{{QStringLiteral("kCFNetworkProxiesHTTPEnable"), 1},
                                     {QStringLiteral("kCFNetworkProxiesHTTPProxy"), host},
                                     {QStringLiteral("kCFNetworkProxiesHTTPPort"), port},
                                     {QStringLiteral("kCFNetworkProxiesHTTPSEnable"), 1},
                                     {QStringLiteral("kCFNetworkProxiesHTTPSProxy"), host},
                                     {QStringLiteral("kCFNetworkProxiesHTTPSPort"), port}}};
}

/// tinyproxy on a port of its own, gone with this object.
class Proxy
{
public:
    [[nodiscard]] bool start(const QString &folder, int port, const QString &more = {})
    {
        m_log = folder + QStringLiteral("/proxy.log");
        QFile configuration(folder + QStringLiteral("/proxy.conf"));
        if (!configuration.open(QIODevice::WriteOnly))
            return false;
        configuration.write(QStringLiteral("Port %1\nListen 127.0.0.1\nTimeout 30\nLogFile "
                                           "\"%2\"\nLogLevel Connect\nMaxClients 20\n")
                                .arg(port)
                                .arg(m_log)
                                .append(more)
                                .toUtf8());
        configuration.close();
        if (!m_process.start({QStringLiteral("tinyproxy"), QStringLiteral("-d"),
                              QStringLiteral("-c"), configuration.fileName()}))
            return false;
        return QTest::qWaitFor(
            [port] {
                QTcpSocket probe;
                probe.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
                return probe.waitForConnected(1000);
            },
            60'000);
    }
    ~Proxy() { m_process.terminate(); }
    [[nodiscard]] QString log() const
    {
        QFile file(m_log);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private:
    ServerProcess m_process;
    QString m_log;
};

} // namespace

class tst_WebProxies : public WebFixture
{
    Q_OBJECT

private Q_SLOTS:
    void proxiesArePlainForHttpAndConnectForHttps()
    {
        Proxy proxy;
        QVERIFY2(proxy.start(m_servers->folder(), m_servers->freePort()), "tinyproxy is needed");
        const auto plain = fetch(m_servers->plain(QStringLiteral("/request")), limits(),
                                 throughProxy(m_servers->freePort()));
        QVERIFY(plain);
        QVERIFY(!plain->error);
        QVERIFY2(plain->body.toLower().contains("via: 1.1 "), plain->body.constData());
        const auto secure = fetch(m_servers->secure(QStringLiteral("/request")), limits(),
                                  throughProxy(m_servers->freePort()));
        QVERIFY(secure);
        QVERIFY(!secure->error);
        QVERIFY(!secure->body.toLower().contains("via: "));
        QTRY_VERIFY_WITH_TIMEOUT(proxy.log().contains(QLatin1String("CONNECT localhost:")), 60000);
        QVERIFY(proxy.log().contains(QLatin1String("GET http://localhost:")));

        // Without a dictionary the system's settings count.
        qputenv("http_proxy",
                QStringLiteral("http://127.0.0.1:%1").arg(m_servers->freePort()).toLatin1());
        const auto system = fetch(m_servers->plain(QStringLiteral("/request")));
        qunsetenv("http_proxy");
        QVERIFY(system);
        QVERIFY2(system->body.toLower().contains("via: 1.1 "), system->body.constData());
    }

    void aDisabledProxyIsNotUsed()
    {
        UrlSessionConfiguration configuration = throughProxy(m_servers->freePort());
        (*configuration.connectionProxyDictionary)[0].second = 0;
        (*configuration.connectionProxyDictionary)[3].second = 0;
        QVERIFY(!fetch(m_servers->plain(QStringLiteral("/ok")), limits(), configuration)->error);
        QVERIFY(!fetch(m_servers->secure(QStringLiteral("/ok")), limits(), configuration)->error);
    }

    void theEnvironmentHasNoSayBesideADictionary()
    {
        const QByteArray nobody =
            QStringLiteral("http://127.0.0.1:%1").arg(m_servers->freePort()).toLatin1();
        for (const char *name : {"http_proxy", "https_proxy", "all_proxy"})
            qputenv(name, nobody);
        UrlSessionConfiguration direct;
        direct.connectionProxyDictionary.emplace();
        const auto plain = fetch(m_servers->plain(QStringLiteral("/ok")), limits(), direct);
        const auto secure = fetch(m_servers->secure(QStringLiteral("/ok")), limits(), direct);
        for (const char *name : {"http_proxy", "https_proxy", "all_proxy"})
            qunsetenv(name);
        QVERIFY(plain && secure);
        QVERIFY(!plain->error);
        QVERIFY(!secure->error);

        qputenv("no_proxy", "*");
        const auto proxied = fetch(m_servers->plain(QStringLiteral("/ok")), limits(),
                                   throughProxy(m_servers->freePort()));
        qunsetenv("no_proxy");
        QVERIFY(proxied);
        QCOMPARE(proxied->code(), std::optional(UrlError::Code::ProxyFailed));
    }

    void aProxyThatAsksForCredentialsGetsThem()
    {
        Proxy proxy;
        QVERIFY2(proxy.start(m_servers->folder(), m_servers->freePort(),
                             QStringLiteral("BasicAuth jdoe Secret1\n")),
                 "tinyproxy is needed");
        for (const QString &url :
             {m_servers->plain(QStringLiteral("/ok")), m_servers->secure(QStringLiteral("/ok"))}) {
            const auto asked = [this, &url](const char *credentials) {
                const QByteArray address =
                    QStringLiteral("http://%1%2:%3")
                        .arg(QLatin1String(credentials), QLatin1String("127.0.0.1"))
                        .arg(m_servers->freePort())
                        .toLatin1();
                for (const char *name : {"http_proxy", "https_proxy"})
                    qputenv(name, address);
                auto heard = fetch(url);
                for (const char *name : {"http_proxy", "https_proxy"})
                    qunsetenv(name);
                return heard;
            };
            const auto right = asked("jdoe:Secret1@");
            QVERIFY(right);
            QVERIFY2(!right->error,
                     qPrintable(right->error.value_or(UrlError()).localizedDescription));
            // Of the proxy's own refusal nothing is heard.
            QCOMPARE(right->statuses, QList<int>{200});
            QCOMPARE(right->body, QByteArray("gr\xC3\xBCn\n"));
            const auto refused = asked("");
            QVERIFY(refused);
            QCOMPARE(refused->code(), std::optional(UrlError::Code::ProxyFailed));
        }
    }

    void aProxyThatHangsUpOnATunnelFails()
    {
        const auto heard = fetch(m_servers->secure(QStringLiteral("/ok")), limits(),
                                 throughProxy(m_servers->hangingUpPort()));
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::ProxyFailed));
    }

    void aProxyThatIsNotThereFails()
    {
        for (const QString &url :
             {m_servers->plain(QStringLiteral("/ok")), m_servers->secure(QStringLiteral("/ok"))}) {
            const auto heard = fetch(url, limits(), throughProxy(m_servers->freePort()));
            QVERIFY(heard);
            QVERIFY(heard->error);
            QVERIFY2(heard->error->code == UrlError::Code::ProxyFailed,
                     qPrintable(url + heard->error->localizedDescription +
                                QString::number(static_cast<int>(heard->error->code))));
        }
    }
};

QTEST_GUILESS_MAIN(tst_WebProxies)
#include "tst_WebProxies.moc"
