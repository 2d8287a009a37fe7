#include "tests/unit/app/ctl/ControlFixture.h"

#include <QTest>

class tst_SSControlUrl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void urlsOnAGivenBase_data()
    {
        QTest::addColumn<std::vector<const char *>>("line");
        QTest::addColumn<QString>("expected");
        using Line = std::vector<const char *>;
        QTest::newRow("enroll") << Line{"enroll"} << QStringLiteral("https://host/app/#/PssEnroll");
        QTest::newRow("ping") << Line{"ping"} << QStringLiteral("https://host/app/ping.txt");
        QTest::newRow("reset") << Line{"reset"}
                               << QStringLiteral("https://host/app/#/SelfPasswordReset");
        QTest::newRow("reset at the login window")
            << Line{"reset", "--winlogon"}
            << QStringLiteral("https://host/app/#/SelfPasswordReset?winlogon=1&macos=1");
        QTest::newRow("reset offline")
            << Line{"reset", "--offline", "--user", "jdoe", "--winlogon", "--request-code", "AB-CD"}
            << QStringLiteral("https://host/app/#/Offline?username=jdoe&winlogon=1&macos=1"
                              "&requestkey=AB-CD");
        QTest::newRow("client-info without a user")
            << Line{"client-info"}
            << QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx");
        QTest::newRow("client-info")
            << Line{"client-info", "--user", "jdoe"}
            << QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx?UserName=jdoe");
    }
    void urlsOnAGivenBase()
    {
        QFETCH(std::vector<const char *>, line);
        QFETCH(QString, expected);
        line.insert(line.begin(), {"url", "--base", "https://host/app"});
        ControlFixture f;
        QCOMPARE(f.run(line), 0);
        QCOMPARE(f.output, expected + QLatin1Char('\n'));
        QVERIFY(f.directory->calls.isEmpty());
        line.push_back("--json");
        QCOMPARE(f.run(line), 0);
        QCOMPARE(f.json(), (QJsonObject{{QStringLiteral("url"), expected}}));
    }

    void theBaseComesFromTheSettings()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"),
                   ControlFixture::pointKeywords(
                       {QStringLiteral("EnrollSysNotification.Enabled=1"),
                        QStringLiteral("EnrollSysNotification.Url=https://enroll/"),
                        QStringLiteral("WinlogonResetPassword.WebUiUrl=https://reset")}));
        f.addUser(QStringLiteral("jdoe"), {QStringLiteral("CORP")});
        QCOMPARE(f.run({"url", "enroll"}), 0);
        QCOMPARE(f.output, QStringLiteral("https://enroll/#/PssEnroll\n"));
        QCOMPARE(f.run({"url", "client-info"}), 0);
        QCOMPARE(f.output, QStringLiteral("https://enroll/SelfServiceClientInfoProvider.ashx"
                                          "?UserName=CORP%5Cjdoe\n"));
        QCOMPARE(f.run({"url", "client-info", "--user", "SALES\\asmith"}), 0);
        QVERIFY(f.output.endsWith(QStringLiteral("?UserName=SALES%5Casmith\n")));
        QCOMPARE(f.run({"url", "ping"}), 0);
        QCOMPARE(f.output, QStringLiteral("https://reset/ping.txt\n"));
        QCOMPARE(f.run({"url", "reset"}), 0);
        QCOMPARE(f.output, QStringLiteral("https://reset/#/SelfPasswordReset\n"));
        f.fake.defaults->values.insert(QStringLiteral("WebInterfaceURL"),
                                       QStringLiteral("https://local"));
        QCOMPARE(f.run({"url", "ping"}), 0);
        QCOMPARE(f.output, QStringLiteral("https://local/ping.txt\n"));
    }

    void withoutABaseThereIsNoUrl()
    {
        ControlFixture f;
        QCOMPARE(f.run({"url", "ping"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("no connection point")));
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        QCOMPARE(f.run({"url", "ping", "--json"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("webInterfaceURL")));
        QCOMPARE(f.run({"url", "enroll"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("enrollWebUiUrl")));
        QVERIFY(f.output.isEmpty());
    }

    void whatIsNoUrlIsAFailure()
    {
        ControlFixture f;
        QCOMPARE(f.run({"url", "ping", "--base", "https://host:port/"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("not a URL: https://host:port/")));
        QVERIFY(f.output.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_SSControlUrl)
#include "tst_SSControlUrl.moc"
