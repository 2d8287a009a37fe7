#include "tests/unit/filevault/SecureTokenHelperTest.h"

#include <QTest>

/// What the tools are given, and what of it is seen.
class tst_SSSecureTokenHelperSecrets : public SecureTokenHelperTest
{
    Q_OBJECT

private Q_SLOTS:
    void noPasswordReachesTheLogOrAMessage()
    {
        m_tools->print("bossSecret newSecret bossSecret\r\n");
        const QString masked = QStringLiteral("******** ******** ********\r\n");
        QCOMPARE(message(SSSecureTokenHelper::secureTokenOnWithUserName), masked);
        QCOMPARE(message(SSSecureTokenHelper::updateFdeUserWithUserName), masked);
        QVERIFY(!verify("bossSecret newSecret"));
        // the whole one first, then what is a piece of it
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Info]: /expect result: ******** ********\r\n"));
        QVERIFY(!m_tools->log->lines().join(QString()).contains(QLatin1String("Secret")));
    }

    void successIsJudgedByWhatWasPrintedNotByWhatIsShown()
    {
        // Passwords that are the very words that are looked for.
        m_tools->print("\r\nPassphrase valid\r\n");
        QVERIFY(verify("Passphrase valid"));
        m_tools->print("Done!");
        std::optional<QString> told;
        QVERIFY(SSSecureTokenHelper::secureTokenOnWithUserName(jdoe, *password("Done!"), boss,
                                                               *password("x"), told));
        QVERIFY(!m_tools->log->lines().join(QString()).contains(QLatin1String("Done!")));
    }

    void noEnvironmentAndNoInputIsGivenToATool()
    {
        m_tools->print("x");
        static_cast<void>(SSSecureTokenHelper::fdeStatus());
        static_cast<void>(verify());
        static_cast<void>(message(SSSecureTokenHelper::updateFdeUserWithUserName));
        QCOMPARE(m_tools->runs(), 3);
        for (const auto &run : m_tools->childProcesses->runs) {
            QCOMPARE(run.environment, std::nullopt);
            QCOMPARE(run.input, std::nullopt);
        }
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperSecrets)
#include "tst_SSSecureTokenHelperSecrets.moc"
