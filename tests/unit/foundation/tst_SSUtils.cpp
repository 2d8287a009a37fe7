#include "foundation/SSUtils.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <memory>

using Text = std::optional<QString>;

namespace {

struct Secret
{
    QByteArray bytes;
    bool isEqualToSecureData(const Secret *other) const { return bytes == other->bytes; }
};

} // namespace

class tst_SSUtils : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void noProxyGivesTheDefaultConfiguration()
    {
        for (const Text &proxy : {Text(), Text(QString()), Text(QStringLiteral(""))}) {
            const UrlSessionConfiguration configuration =
                SSUtils::URLSessionConfigurationWithProxy(proxy);
            QVERIFY(!configuration.ephemeral);
            QVERIFY(!configuration.connectionProxyDictionary);
        }
    }

    void proxyHostAndPort_data()
    {
        QTest::addColumn<QString>("proxy");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        const QString example = QStringLiteral("proxy.example");
        QTest::newRow("port") << QStringLiteral("proxy.example:3128") << example << 3128;
        QTest::newRow("no port") << example << example << 80;
        QTest::newRow("scheme") << QStringLiteral("http://proxy.example:8080/") << example << 8080;
        QTest::newRow("secure scheme") << QStringLiteral("https://proxy.example") << example << 80;
        QTest::newRow("host spelling")
            << QStringLiteral("Proxy.Example:1") << QStringLiteral("Proxy.Example") << 1;
        QTest::newRow("user") << QStringLiteral("u:p@proxy.example:3128") << example << 3128;
        QTest::newRow("IPv6") << QStringLiteral("[2001:db8::5]:3128")
                              << QStringLiteral("2001:db8::5") << 3128;
        // Taken for a URL with a scheme, without a host: used as it is.
        QTest::newRow("begins with http") << QStringLiteral("httpproxy.example:3128")
                                          << QStringLiteral("httpproxy.example:3128") << 80;
        QTest::newRow("no URL") << QStringLiteral("proxy:port") << QStringLiteral("proxy:port")
                                << 80;
    }
    void proxyHostAndPort()
    {
        QFETCH(QString, proxy);
        QFETCH(QString, host);
        QFETCH(int, port);
        const UrlSessionConfiguration configuration =
            SSUtils::URLSessionConfigurationWithProxy(proxy);
        QVERIFY(configuration.ephemeral);
        QVERIFY(configuration.connectionProxyDictionary);
        const UrlProxyDictionary expected{
            {QStringLiteral("kCFNetworkProxiesHTTPEnable"), 1},
            {QStringLiteral("kCFNetworkProxiesHTTPProxy"), host},
            {QStringLiteral("kCFNetworkProxiesHTTPPort"), port},
            {QStringLiteral("kCFNetworkProxiesHTTPSEnable"), 1},
            {QStringLiteral("kCFNetworkProxiesHTTPSProxy"), host},
            {QStringLiteral("kCFNetworkProxiesHTTPSPort"), port},
        };
        QCOMPARE(*configuration.connectionProxyDictionary, expected);
    }

    void bytesFromHexadecimalTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("value");
        QTest::newRow("prefix") << QStringLiteral("0x7f") << 127;
        QTest::newRow("capital prefix") << QStringLiteral("0X7F") << 127;
        QTest::newRow("empty") << QString() << 0;
        QTest::newRow("none") << QStringLiteral("zz") << 0;
        QTest::newRow("low bits") << QStringLiteral("1FF") << 255;
        QTest::newRow("low bits of more") << QStringLiteral("1234") << 0x34;
        QTest::newRow("blanks") << QStringLiteral(" \n\t2a") << 42;
        QTest::newRow("stops") << QStringLiteral("1G9") << 1;
        QTest::newRow("sign") << QStringLiteral("-1") << 0;
        QTest::newRow("prefix alone") << QStringLiteral("0x") << 0;
        QTest::newRow("too large") << QStringLiteral("100000000") << 255;
    }
    void bytesFromHexadecimalTexts()
    {
        QFETCH(QString, text);
        QFETCH(int, value);
        QCOMPARE(int(SSUtils::byteFromHexString(text)), value);
    }

    void noTextIsByteZero() { QCOMPARE(int(SSUtils::byteFromHexString({})), 0); }

    void iconOfTheBundle()
    {
        const FakePlatform fakes;
        QVERIFY(!SSUtils::appIcon());
        QImage image(3, 5, QImage::Format_ARGB32);
        image.fill(0xff123456u);
        fakes.workspace->images.insert(
            QStringLiteral("/Library/ZevrikSelfService/Self-Service Password Reset.app:AppIcon"),
            image);
        QCOMPARE(SSUtils::appIcon(), std::optional<QImage>(image));
    }

    void applicationExists()
    {
        const FakePlatform fakes;
        QVERIFY(!SSUtils::isApplicationExists());
        fakes.workspace->files.append(
            QStringLiteral("/Applications/Self-Service Password Reset.app"));
        QVERIFY(SSUtils::isApplicationExists());
    }

    void equalTexts()
    {
        const Text a = QStringLiteral("a");
        QVERIFY(SSUtils::isEqualEx(Text(), Text()));
        QVERIFY(!SSUtils::isEqualEx(Text(), a));
        QVERIFY(!SSUtils::isEqualEx(a, Text()));
        QVERIFY(SSUtils::isEqualEx(a, Text(QStringLiteral("a"))));
        QVERIFY(!SSUtils::isEqualEx(a, Text(QStringLiteral("A"))));
        QVERIFY(!SSUtils::isEqualEx(Text(), Text(QString())));
    }

    void equalBuffers()
    {
        using Data = std::optional<QByteArray>;
        QVERIFY(SSUtils::isEqualEx(Data(), Data()));
        QVERIFY(!SSUtils::isEqualEx(Data(), Data(QByteArray())));
        QVERIFY(SSUtils::isEqualEx(Data("\0a"), Data("\0a")));
        QVERIFY(!SSUtils::isEqualEx(Data("ab"), Data("ac")));
    }

    void equalSecureBuffers()
    {
        using Pointer = std::shared_ptr<Secret>;
        const auto one = std::make_shared<Secret>(Secret{"x"});
        QVERIFY(SSUtils::isEqualEx(Pointer(), Pointer()));
        QVERIFY(!SSUtils::isEqualEx(Pointer(), one));
        QVERIFY(!SSUtils::isEqualEx(one, Pointer()));
        QVERIFY(SSUtils::isEqualEx(one, one));
        QVERIFY(SSUtils::isEqualEx(one, std::make_shared<Secret>(Secret{"x"})));
        QVERIFY(!SSUtils::isEqualEx(one, std::make_shared<Secret>(Secret{"y"})));
    }
};

QTEST_GUILESS_MAIN(tst_SSUtils)
#include "tst_SSUtils.moc"
