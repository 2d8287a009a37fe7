#include "foundation/SSApplicationDelegate.h"
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

class Delegate final : public SSApplicationDelegate
{
public:
    qint64 alertWithAlert(const Alert &alert) override
    {
        alerts.append(alert);
        return 77;
    }
    qint64 showModalWindow(ModalWindow &window) override
    {
        windows.append(&window);
        return 78;
    }
    QList<Alert> alerts;
    QList<ModalWindow *> windows;
};

class Window final : public ModalWindow
{
public:
    qint64 runModal() override
    {
        calls.append(QStringLiteral("run"));
        return 79;
    }
    void close() override { calls.append(QStringLiteral("close")); }
    QStringList calls;
};

Text resetUrl(const Text &link, const Text &user = {}, bool winlogon = false, bool offline = false,
              const Text &code = {})
{
    return SSUtils::resetPasswordUrlStringWithLinkUrlString(link, user, winlogon, offline, code);
}

} // namespace

class tst_SSUtils : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void noBaseGivesNoUrl()
    {
        QCOMPARE(resetUrl({}, QStringLiteral("jdoe"), true, true), Text());
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString({}), Text());
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString({}, QStringLiteral("jdoe")), Text());
        QCOMPARE(SSUtils::webServerPingUrlWithLinkUrlString({}), Text());
    }

    void aBaseThatIsNoUrlGivesNoUrl_data()
    {
        QTest::addColumn<QString>("base");
        QTest::newRow("open bracket") << QStringLiteral("http://[bad/app");
        QTest::newRow("port out of range") << QStringLiteral("https://host:99999/app");
        QTest::newRow("port of letters") << QStringLiteral("https://host:port/app");
        QTest::newRow("blank in the host") << QStringLiteral("https://ho st/app");
    }
    void aBaseThatIsNoUrlGivesNoUrl()
    {
        QFETCH(QString, base);
        QCOMPARE(resetUrl(base, QStringLiteral("jdoe"), true, true), Text());
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(base), Text());
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString(base, QStringLiteral("j")), Text());
        QCOMPARE(SSUtils::webServerPingUrlWithLinkUrlString(base), Text());
    }

    void resetPageWithoutParametersHasNoQuestionMark()
    {
        QCOMPARE(resetUrl(QStringLiteral("https://host/app"), QString(), false, false, QString()),
                 Text(QStringLiteral("https://host/app/#/SelfPasswordReset")));
        QCOMPARE(resetUrl(QStringLiteral("https://host/app")),
                 Text(QStringLiteral("https://host/app/#/SelfPasswordReset")));
    }

    void resetPageWithOnlyWinlogon()
    {
        QCOMPARE(resetUrl(QStringLiteral("https://host/app"), {}, true),
                 Text(QStringLiteral("https://host/app/#/SelfPasswordReset?winlogon=1&macos=1")));
    }

    void resetPageParametersStandBehindTheFragmentInOrder()
    {
        QCOMPARE(resetUrl(QStringLiteral("https://host/app"), QStringLiteral("jdoe"), true, true,
                          QStringLiteral("ABCD-2345")),
                 Text(QStringLiteral("https://host/app/#/"
                                     "Offline?username=jdoe&winlogon=1&macos=1&requestkey=ABCD-"
                                     "2345")));
        QCOMPARE(resetUrl(QStringLiteral("https://host/"), {}, false, false, QStringLiteral("K")),
                 Text(QStringLiteral("https://host/#/SelfPasswordReset?requestkey=K")));
    }

    void resetPageKeepsTheBasesQueryBeforeTheFragment()
    {
        QCOMPARE(resetUrl(QStringLiteral("https://host/app?site=1#old"), QStringLiteral("jdoe")),
                 Text(QStringLiteral("https://host/app/?site=1#/SelfPasswordReset?username=jdoe")));
    }

    void enrollmentPage()
    {
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(QStringLiteral("https://host/app")),
                 Text(QStringLiteral("https://host/app/#/PssEnroll")));
    }

    void aBaseThatEndsWithASlashGetsNoSecondOne()
    {
        const QString base = QStringLiteral("https://host/app/");
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(base),
                 Text(QStringLiteral("https://host/app/#/PssEnroll")));
        QCOMPARE(resetUrl(base), Text(QStringLiteral("https://host/app/#/SelfPasswordReset")));
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString(base, {}),
                 Text(QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx")));
        QCOMPARE(SSUtils::webServerPingUrlWithLinkUrlString(base),
                 Text(QStringLiteral("https://host/app/ping.txt")));
    }

    void schemeHostPortAndQueryOfTheBaseStay()
    {
        QCOMPARE(SSUtils::webServerPingUrlWithLinkUrlString(
                     QStringLiteral("HTTP://User@Host.Example:8080?q=%2f%C3%A4")),
                 Text(QStringLiteral("HTTP://User@Host.Example:8080/ping.txt?q=%2f%C3%A4")));
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(
                     QStringLiteral("https://[2001:db8::1]:8443/a%2Fb")),
                 Text(QStringLiteral("https://[2001:db8::1]:8443/a%2Fb/#/PssEnroll")));
    }

    void anEmptyPathBecomesASlash()
    {
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(QStringLiteral("https://host")),
                 Text(QStringLiteral("https://host/#/PssEnroll")));
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(QString()),
                 Text(QStringLiteral("/#/PssEnroll")));
    }

    void charactersThatAUrlMayNotHoldAreEncoded()
    {
        QCOMPARE(SSUtils::enrollUrlStringWithBaseUrlString(QStringLiteral("https://host/my app")),
                 Text(QStringLiteral("https://host/my%20app/#/PssEnroll")));
        QCOMPARE(
            SSUtils::enrollUrlStringWithBaseUrlString(QStringLiteral(u"https://host/gr\u00FCn")),
            Text(QStringLiteral("https://host/gr%C3%BCn/#/PssEnroll")));
    }

    void clientInformation()
    {
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString(QStringLiteral("https://host/app"),
                                                         QStringLiteral("jdoe")),
                 Text(QStringLiteral("https://host/app/"
                                     "SelfServiceClientInfoProvider.ashx?UserName=jdoe")));
        // A true query, which stands before a fragment and takes the place of the base's.
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString(QStringLiteral("https://host/app?x=1#f"),
                                                         QStringLiteral("jdoe")),
                 Text(QStringLiteral("https://host/app/"
                                     "SelfServiceClientInfoProvider.ashx?UserName=jdoe#f")));
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString(QStringLiteral("https://host/app?x=1"),
                                                         QString()),
                 Text(QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx?x=1")));
    }

    void userNamesArePercentEncoded_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("logon form")
            << QStringLiteral("CORP\\jdoe") << QStringLiteral("CORP%5Cjdoe");
        QTest::newRow("separators")
            << QStringLiteral("a&b=c#d%e f") << QStringLiteral("a%26b%3Dc%23d%25e%20f");
        QTest::newRow("allowed") << QStringLiteral("+/?:@-._~!$'()*,;")
                                 << QStringLiteral("+/?:@-._~!$'()*,;");
        QTest::newRow("quotes and brackets")
            << QStringLiteral("\"<>[]^`{|}") << QStringLiteral("%22%3C%3E%5B%5D%5E%60%7B%7C%7D");
        QTest::newRow("beyond ASCII") << QStringLiteral(u"j\u00FCrgen\U0001F600")
                                      << QStringLiteral("j%C3%BCrgen%F0%9F%98%80");
        QTest::newRow("looks encoded") << QStringLiteral("%41") << QStringLiteral("%2541");
    }
    void userNamesArePercentEncoded()
    {
        QFETCH(QString, name);
        QFETCH(QString, encoded);
        QCOMPARE(SSUtils::clientInfoUrlWithBaseUrlString(QStringLiteral("http://h"), name),
                 Text(QStringLiteral("http://h/SelfServiceClientInfoProvider.ashx?UserName=") +
                      encoded));
        QCOMPARE(resetUrl(QStringLiteral("http://h"), name),
                 Text(QStringLiteral("http://h/#/SelfPasswordReset?username=") + encoded));
    }

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

    void noAlertIsAnError()
    {
        const FakePlatform fakes;
        Delegate delegate;
        QCOMPARE(SSUtils::alertWithAlert(nullptr, &delegate), -1001);
        QCOMPARE(fakes.log->lines(), QStringList{QStringLiteral("[Error]: alert object is nil.")});
        QVERIFY(delegate.alerts.isEmpty() && fakes.alerts->shown.isEmpty());
    }

    void anAlertGoesThroughTheDelegate()
    {
        const FakePlatform fakes;
        Delegate delegate;
        Alert alert;
        alert.messageText = QStringLiteral("m");
        QCOMPARE(SSUtils::alertWithAlert(&alert, &delegate), 77);
        QCOMPARE(delegate.alerts.size(), 1);
        QCOMPARE(delegate.alerts.first().messageText, QStringLiteral("m"));
        QVERIFY(fakes.alerts->shown.isEmpty());
        QVERIFY(fakes.log->lines().isEmpty());
    }

    void anAlertWithoutADelegateRunsByItself()
    {
        const FakePlatform fakes;
        fakes.alerts->response = 1002;
        Alert alert;
        alert.messageText = QStringLiteral("m");
        QCOMPARE(SSUtils::alertWithAlert(&alert, nullptr), 1002);
        QCOMPARE(fakes.alerts->shown.size(), 1);
        QCOMPARE(fakes.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: SSUtils::alertWithAlert: application delegate is nil.")});
    }

    void aMessageBecomesACriticalAlert()
    {
        const FakePlatform fakes;
        const QImage image(2, 2, QImage::Format_ARGB32);
        fakes.workspace->images.insert(
            QStringLiteral("/Library/ZevrikSelfService/Self-Service Password Reset.app:AppIcon"),
            image);
        Delegate delegate;
        QCOMPARE(SSUtils::alertWithMessage(QStringLiteral("m"), QStringLiteral("h"), &delegate),
                 77);
        const Alert &alert = delegate.alerts.constFirst();
        QCOMPARE(alert.messageText, QStringLiteral("m"));
        QCOMPARE(alert.informativeText, Text(QStringLiteral("h")));
        QCOMPARE(int(alert.style), 2);
        QVERIFY(alert.icon.has_value());
        QVERIFY(alert.canBecomeVisibleWithoutLogin);
    }

    void aMessageWithoutHintHasNoInformativeText()
    {
        const FakePlatform fakes;
        Delegate delegate;
        (void)SSUtils::alertWithMessage(QStringLiteral("m"), &delegate);
        (void)SSUtils::alertWithMessage(QStringLiteral("m"), QString(), &delegate);
        (void)SSUtils::alertWithMessage(std::nullopt, &delegate);
        QCOMPARE(delegate.alerts.size(), 3);
        for (const Alert &alert : std::as_const(delegate.alerts))
            QVERIFY(!alert.informativeText);
        QCOMPARE(delegate.alerts.last().messageText, QStringLiteral("(null)"));
    }

    void aMessageWithoutADelegateRunsByItself()
    {
        const FakePlatform fakes;
        QCOMPARE(SSUtils::alertWithMessage(QStringLiteral("m"), nullptr), 1000);
        QCOMPARE(fakes.alerts->shown.size(), 1);
        QCOMPARE(fakes.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: SSUtils::alertWithMessage: application delegate is nil.")});
    }

    void withoutAnythingToShowItAnAlertIsAborted()
    {
        FakePlatform fakes;
        fakes.platform.alerts = nullptr;
        QCOMPARE(SSUtils::alertWithMessage(QStringLiteral("m"), nullptr), -1001);
    }

    void aModalWindowGoesThroughTheDelegate()
    {
        const FakePlatform fakes;
        Delegate delegate;
        Window window;
        QCOMPARE(SSUtils::showModalWindow(window, &delegate), 78);
        QCOMPARE(delegate.windows, QList<ModalWindow *>{&window});
        QVERIFY(window.calls.isEmpty());
        QVERIFY(fakes.log->lines().isEmpty());
    }

    void aModalWindowWithoutADelegateRunsAndIsClosed()
    {
        const FakePlatform fakes;
        Window window;
        QCOMPARE(SSUtils::showModalWindow(window, nullptr), 79);
        QCOMPARE(window.calls, (QStringList{QStringLiteral("run"), QStringLiteral("close")}));
        QCOMPARE(fakes.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: SSUtils::showModalWindow: application delegate is nil.")});
    }
};

QTEST_GUILESS_MAIN(tst_SSUtils)
#include "tst_SSUtils.moc"
