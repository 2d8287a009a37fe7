#include "tests/unit/filevault/SecureTokenHelperTest.h"

#include <QTest>

/// What the tools say of the disk and of who may unlock it.
class tst_SSSecureTokenHelperStatus : public SecureTokenHelperTest
{
    Q_OBJECT

private Q_SLOTS:
    void secureTokenIsSupportedWhereTheSystemSaysSo()
    {
        QVERIFY(SSSecureTokenHelper::isSecureTokenSupported());
        m_tools->system->secureTokenSupported = false;
        QVERIFY(!SSSecureTokenHelper::isSecureTokenSupported());
    }

    void fileVaultIsOnWhenTheToolSaysSo()
    {
        m_tools->print("FileVault is On.\n");
        QVERIFY(SSSecureTokenHelper::fdeStatus());
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/fdesetup"), QStringLiteral("status")}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: fdesetup status. Info: FileVault is On.\n")));
        m_tools->print("FileVault is Off.\n");
        QVERIFY(!SSSecureTokenHelper::fdeStatus());
        m_tools->print("filevault is on\n");
        QVERIFY(!SSSecureTokenHelper::fdeStatus());
        // the output is for the verbose level
        QCOMPARE(m_tools->normalLines([] { static_cast<void>(SSSecureTokenHelper::fdeStatus()); }),
                 QStringList());
    }

    void aFileVaultToolThatFailsIsLogged()
    {
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!SSSecureTokenHelper::fdeStatus());
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: fdesetup status. Info: (null)"),
                              QStringLiteral(
                                  "[Error]: unable check FileVault status. Error: no such tool")}));
        m_tools->print("");
        QCOMPARE(
            m_tools->normalLines([] { QVERIFY(!SSSecureTokenHelper::fdeStatus()); }),
            QStringList(QStringLiteral("[Error]: unable check FileVault status. Error: (null)")));
    }

    void theSecureTokenStatusIsAPlainTestForEnabled_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("expected");
        QTest::newRow("enabled")
            << QByteArray("2021-03-04 10:15:02.123 sysadminctl[501:2345] Secure token is ENABLED "
                          "for user Jane Doe\n")
            << true;
        QTest::newRow("disabled")
            << QByteArray("2021-03-04 10:15:02.123 sysadminctl[501:2345] Secure token is DISABLED "
                          "for user Jane Doe\n")
            << false;
        QTest::newRow("small letters") << QByteArray("Secure token is Enabled\n") << false;
        QTest::newRow("inside a word") << QByteArray("NOTENABLEDATALL") << true;
        QTest::newRow("unknown user") << QByteArray("Unknown user jdoe\n") << false;
    }
    void theSecureTokenStatusIsAPlainTestForEnabled()
    {
        QFETCH(QByteArray, output);
        QFETCH(bool, expected);
        m_tools->print(output);
        QCOMPARE(SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe), expected);
        QCOMPARE(m_tools->lastRun(), QStringList({QStringLiteral("/usr/sbin/sysadminctl"),
                                                  QStringLiteral("-secureTokenStatus"), jdoe}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: sysadminctl -secureTokenStatus. Info: ") +
                             QString::fromUtf8(output)));
    }

    void aSecureTokenStatusThatFailsIsLogged()
    {
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe));
        QCOMPARE(
            m_tools->lines(),
            QStringList(
                {QStringLiteral("[Info]: sysadminctl -secureTokenStatus. Info: (null)"),
                 QStringLiteral("[Error]: sysadminctl -secureTokenStatus. Error: no such tool")}));
        m_tools->log->clear();
        m_tools->print("");
        QVERIFY(!SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Error]: sysadminctl -secureTokenStatus. Error: (null)"));
    }

    void whereThereIsNoSecureTokenItsStatusIsFalseAndNothingIsRun()
    {
        m_tools->system->secureTokenSupported = false;
        m_tools->print("ENABLED");
        QVERIFY(!SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral(
                     "[Error]: SecureTokenStatus is not supported on macOS 10.13 or less.")));
    }

    void rootAsksForTheStatusWhereThereIsSecureToken()
    {
        m_tools->print("ENABLED");
        QVERIFY(SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->lastRun().value(1), QStringLiteral("-secureTokenStatus"));
    }

    void rootReadsTheListWhereThereIsNoSecureToken()
    {
        m_tools->system->secureTokenSupported = false;
        m_tools->identity->userId = 0;
        m_tools->print("JDoe,11111111-2222-3333-4444-55555555AAAA\n");
        QVERIFY(SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(QStringLiteral("jDOE")));
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(boss));
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/fdesetup"), QStringLiteral("list")}));
        QCOMPARE(m_tools->lines().first(),
                 QStringLiteral("[Info]: fdesetup list. Info: "
                                "JDoe,11111111-2222-3333-4444-55555555AAAA\n"));
        m_tools->print("no list");
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        m_tools->log->clear();
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Error]: unable get FileVault list. Error: no such tool"));
    }

    void anOrdinaryUserMayNotReadTheListDirectly()
    {
        m_tools->system->secureTokenSupported = false;
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines(),
                 QStringList(
                     QStringLiteral("[Error]: Only sudo user can get fde secure token status.")));
    }

    void whoIsASecureTokenUserDependsOnTheSystem()
    {
        const auto isUser = [] {
            return SSSecureTokenHelper::isSecureTokenUserWithUserName(jdoe, boss,
                                                                      *password("bossSecret"));
        };
        m_tools->print("Secure token is ENABLED");
        QVERIFY(isUser());
        QCOMPARE(m_tools->lastRun().first(), QStringLiteral("/usr/sbin/sysadminctl"));

        m_tools->system->secureTokenSupported = false;
        QVERIFY(!isUser());
        m_tools->print("\r\nJDOE,11111111-2222-3333-4444-55555555AAAA\r\n");
        QVERIFY(isUser());
        QCOMPARE(m_tools->lastRun().first(), QStringLiteral("/usr/bin/expect"));
        QVERIFY(script().startsWith(
            QLatin1String("log_user 0;spawn su - -f boss -c \"sudo fdesetup list\";")));
        QVERIFY(script().contains(QLatin1String("send \"bossSecret\\r\"")));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperStatus)
#include "tst_SSSecureTokenHelperStatus.moc"
