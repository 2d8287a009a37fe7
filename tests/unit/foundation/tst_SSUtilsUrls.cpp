#include "foundation/SSUtils.h"

#include <QTest>

using Text = std::optional<QString>;

namespace {

Text resetUrl(const Text &link, const Text &user = {}, bool winlogon = false, bool offline = false,
              const Text &code = {})
{
    return SSUtils::resetPasswordUrlStringWithLinkUrlString(link, user, winlogon, offline, code);
}

} // namespace

/// The addresses that the web interface is asked and opened by.
class tst_SSUtilsUrls : public QObject
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
};

QTEST_GUILESS_MAIN(tst_SSUtilsUrls)
#include "tst_SSUtilsUrls.moc"
