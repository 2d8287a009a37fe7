#include "tests/unit/filevault/SecureTokenHelperTest.h"

#include <QTest>

/// A new password for the disk, and what the user is told of it.
class tst_SSSecureTokenHelperUpdate : public SecureTokenHelperTest
{
    Q_OBJECT

private Q_SLOTS:
    void aSecureTokenIsGrantedWithEightArguments()
    {
        m_tools->print("2021-03-04 sysadminctl[1:2] - Done!\n");
        std::optional<QString> told;
        QVERIFY(SSSecureTokenHelper::secureTokenOnWithUserName(
            jdoe, *password("n\"ew\\"), QStringLiteral("bo\"ss"), *password("a$b"), told));
        // as they are: nothing reads them but the tool
        QCOMPARE(
            m_tools->lastRun(),
            QStringList({QStringLiteral("/usr/sbin/sysadminctl"), QStringLiteral("-secureTokenOn"),
                         jdoe, QStringLiteral("-password"), QStringLiteral("n\"ew\\"),
                         QStringLiteral("-adminUser"), QStringLiteral("bo\"ss"),
                         QStringLiteral("-adminPassword"), QStringLiteral("a$b")}));
        QCOMPARE(told, std::nullopt);
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: sysadminctl -secureTokenOn. Info: 2021-03-04 "
                                            "sysadminctl[1:2] - Done!\n")));
        QVERIFY(m_tools->log->lines().contains(
            QStringLiteral("[Info]: Executing: '/usr/sbin/sysadminctl' with arguments "
                           "'********'")));
    }

    void aRefusedSecureTokenGivesTheWholeOutputAsTheMessage()
    {
        const Update on = SSSecureTokenHelper::secureTokenOnWithUserName;
        m_tools->print("Operation is not permitted without secure token unlock.\n");
        QCOMPARE(message(on),
                 QStringLiteral("Operation is not permitted without secure token unlock.\n"));
        m_tools->print("done!");
        QCOMPARE(message(on), QStringLiteral("done!"));
        m_tools->print("");
        QCOMPARE(message(on), QString());
        m_tools->print("\xff");
        QCOMPARE(message(on), QStringLiteral("[none]"));
    }

    void aSecureTokenToolThatFailsGivesItsErrorAsTheMessage()
    {
        m_tools->failWith(QStringLiteral("no such tool"));
        QCOMPARE(message(SSSecureTokenHelper::secureTokenOnWithUserName),
                 QStringLiteral("no such tool"));
        QCOMPARE(m_tools->lines(),
                 QStringList(
                     {QStringLiteral("[Info]: sysadminctl -secureTokenOn. Info: (null)"),
                      QStringLiteral("[Error]: sysadminctl -secureTokenOn. Error: no such tool")}));
    }

    void theReaddScriptIsFilledInOrder()
    {
        m_tools->print("\r\n");
        QCOMPARE(message(SSSecureTokenHelper::updateFdeUserWithUserName, true),
                 QStringLiteral("[none]"));
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f boss -c \"sudo fdesetup remove -user \\\"jdoe\\\"; sudo "
            "fdesetup add -user \\\"boss\\\" -usertoadd \\\"jdoe\\\"\"; expect \"Password:\" { "
            "send \"bossSecret\\r\" } eof { send_user $expect_out(buffer); exit; }; expect "
            "\"Password:\" { send \"bossSecret\\r\" } eof { send_user $expect_out(buffer); exit; "
            "}; expect \"Enter the password for user 'boss':\" { send \"bossSecret\\r\" } eof { "
            "send_user $expect_out(buffer); exit; }; expect \"Enter the password for the added "
            "user 'jdoe':\" { send \"newSecret\\r\" } eof { send_user $expect_out(buffer); exit; "
            "}; log_user 1; expect eof;");
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/expect"), QStringLiteral("-c"), expected}));
    }

    void aPasswordReachesTheReaddScriptEscapedAndADollarSignUnchanged()
    {
        std::optional<QString> told;
        static_cast<void>(SSSecureTokenHelper::updateFdeUserWithUserName(
            QStringLiteral("j\"doe"), *password("n\"e\\w"), QStringLiteral("bo\\ss"),
            *password("$b[o]ss"), told));
        QVERIFY(script().contains(QLatin1String("spawn su - -f bo\\\\ss -c ")));
        QCOMPARE(script().count(QLatin1String("send \"$b[o]ss\\r\"")), 3);
        QCOMPARE(script().count(QLatin1String("send \"n\\\"e\\\\w\\r\"")), 1);
        QCOMPARE(script().count(QLatin1String("j\\\"doe")), 3);
        // nor is anything that looks like a place to be filled
        static_cast<void>(SSSecureTokenHelper::updateFdeUserWithUserName(
            QStringLiteral("%@"), *password("%@x"), boss, *password("p"), told));
        QCOMPARE(script().count(QLatin1String("send \"%@x\\r\"")), 1);
        QCOMPARE(script().count(QLatin1String("send \"p\\r\"")), 3);
    }

    void aReaddThatPrintsALineEndAloneIsDone_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("expected");
        QTest::newRow("CR LF") << QByteArray("\r\n") << true;
        QTest::newRow("LF") << QByteArray("\n") << false;
        QTest::newRow("twice") << QByteArray("\r\n\r\n") << false;
        QTest::newRow("CR LF and an error")
            << QByteArray("\r\nError: The user could not be added\r\n") << false;
        QTest::newRow("a wrong password of su")
            << QByteArray(" \r\nsu: Authentication failure\r\n") << false;
    }
    void aReaddThatPrintsALineEndAloneIsDone()
    {
        QFETCH(QByteArray, output);
        QFETCH(bool, expected);
        m_tools->print(output);
        // what is printed besides becomes the user's message
        QCOMPARE(message(SSSecureTokenHelper::updateFdeUserWithUserName, expected),
                 expected ? QStringLiteral("[none]") : QString::fromUtf8(output));
        QCOMPARE(m_tools->lines(), QStringList(QStringLiteral("[Info]: /expect result: ") +
                                               QString::fromUtf8(output)));
    }

    void aReaddThatFailsIsLoggedWithItsResult()
    {
        const Update update = SSSecureTokenHelper::updateFdeUserWithUserName;
        m_tools->failWith(QStringLiteral("no such tool"));
        QCOMPARE(message(update), QStringLiteral("no such tool"));
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: /expect result: (null)"),
                              QStringLiteral("[Error]: Unable get secure token users using "
                                             "fdesetup. Error: no such tool"),
                              QStringLiteral("[Error]: Result: (null)")}));
        m_tools->log->clear();
        m_tools->print("");
        QCOMPARE(message(update), QString());
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: /expect result: "),
                              QStringLiteral("[Error]: Unable get secure token users using "
                                             "fdesetup. Error: (null)"),
                              QStringLiteral("[Error]: Result: ")}));
        m_tools->print("\xff");
        QCOMPARE(message(update), QStringLiteral("[none]"));
    }

    void anUpdateIsOneOrTheOtherAsTheSystemHasIt()
    {
        const Update update = SSSecureTokenHelper::updateSecureTokenUserWithUserName;
        m_tools->print("Done!");
        QCOMPARE(message(update, true), QStringLiteral("[none]"));
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/sbin/sysadminctl"),
                              QStringLiteral("-secureTokenOn"), jdoe, QStringLiteral("-password"),
                              QStringLiteral("newSecret"), QStringLiteral("-adminUser"), boss,
                              QStringLiteral("-adminPassword"), QStringLiteral("bossSecret")}));
        m_tools->system->secureTokenSupported = false;
        QCOMPARE(message(update), QStringLiteral("Done!"));
        QCOMPARE(m_tools->lastRun().first(), QStringLiteral("/usr/bin/expect"));
        QVERIFY(script().contains(QLatin1String("-usertoadd \\\"jdoe\\\"\"")));
        QVERIFY(script().contains(QLatin1String("'jdoe':\" { send \"newSecret\\r\" }")));
        m_tools->print("\r\n");
        QCOMPARE(message(update, true), QStringLiteral("[none]"));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperUpdate)
#include "tst_SSSecureTokenHelperUpdate.moc"
