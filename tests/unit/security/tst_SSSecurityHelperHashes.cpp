#include "tests/unit/security/SecurityHelperTestSupport.h"

#include <limits>

/// What no hash is made from, and how a user's name counts in one.
class tst_SSSecurityHelperHashes : public QObject
{
    Q_OBJECT

    static QString user() { return QStringLiteral("jdoe"); }

private Q_SLOTS:
    void anIterationCountBelowOneIsRefused()
    {
        OfflinePlatform fake;
        for (const qint32 rounds : {0, -1, std::numeric_limits<qint32>::min()}) {
            fake.log->clear();
            QVERIFY(!SSSecurityHelper::calculatePBKDF2WithKey(secure("key").get(),
                                                              secure("salt").get(), rounds));
            QCOMPARE(fake.log->lines(),
                     error(QStringLiteral("Iterations count is invalid: %1.").arg(rounds)));
        }
    }

    void aFailingDerivationIsRefused()
    {
        OfflinePlatform fake;
        fake.cryptography->computationStatus = -4398;
        QVERIFY(!SSSecurityHelper::calculatePBKDF2WithKey(secure("key").get(), secure("salt").get(),
                                                          1));
        QCOMPARE(fake.log->lines(), error("Unable calculate PBKDF2. error: -4398"));
        fake.log->clear();
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(user(), secure("").get(), 1));
        QCOMPARE(fake.log->lines(), error("Unable calculate MD4. error: -4398"));
    }

    void aHashThatIsTooShortIsRefused()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(user(), secure("").get(), 0));
        QCOMPARE(fake.log->lines(), error("Iterations count is invalid: 0.") +
                                        error("DCC2 digest length is incorrect: 0"));
    }

    void aUserNameHas1To256Characters()
    {
        OfflinePlatform fake;
        const auto password = secure("");
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(std::nullopt, password.get(), 1));
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(QString(), password.get(), 1));
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(QString(257, QLatin1Char('x')),
                                                            password.get(), 1));
        QCOMPARE(fake.log->lines(), error("User UPN name size is incorrect: 0.") +
                                        error("User UPN name size is incorrect: 0.") +
                                        error("User UPN name size is incorrect: 257."));
        const auto longest = SSSecurityHelper::calculateMsCash2WithUser(
            QString(256, QLatin1Char('x')), password.get(), 1);
        QVERIFY(longest);
        QCOMPARE(longest->length(), std::size_t{16});
    }

    // A character beyond the basic plane is two units.
    void aUserNameIsCountedInUtf16Units()
    {
        OfflinePlatform fake;
        const QString key = QStringLiteral("\U0001F511");
        QVERIFY(SSSecurityHelper::calculateMsCash2WithUser(key.repeated(128), nullptr, 1));
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(key.repeated(128) + QLatin1Char('x'),
                                                            nullptr, 1));
        QCOMPARE(fake.log->lines(), error("User UPN name size is incorrect: 257."));
    }

    void theCaseOfTheUserNameMakesNoDifference()
    {
        OfflinePlatform fake;
        const auto password = secure("p");
        QCOMPARE(hex(SSSecurityHelper::calculateMsCash2WithUser(QStringLiteral("JDoe@CORP"),
                                                                password.get(), 3)),
                 hex(SSSecurityHelper::calculateMsCash2WithUser(QStringLiteral("jdoe@corp"),
                                                                password.get(), 3)));
    }

    void aResetHashNeedsAUserName()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calcHashWithUser(std::nullopt, secure("p").get(), 1, nullptr));
        QVERIFY(!SSSecurityHelper::calcHashWithUser(QString(), secure("p").get(), 1,
                                                    sessionKey().get()));
        QCOMPARE(fake.log->lines(), error("CalcHashWithUser: User name is empty.") +
                                        error("CalcHashWithUser: User name is empty."));
    }

    void aResetHashNeedsASessionKey()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calcHashWithUser(user(), secure("p").get(), 1, nullptr));
        QVERIFY(
            !SSSecurityHelper::calcHashWithUser(user(), secure("p").get(), 1, secure("").get()));
        QCOMPARE(fake.log->lines(), error("CalcHashWithUser: Session key is empty.") +
                                        error("CalcHashWithUser: Session key is empty."));
    }

    void aResetHashOfATooLongUserNameIsRefusedOnce()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calcHashWithUser(QString(257, QLatin1Char('x')),
                                                    secure("p").get(), 1, sessionKey().get()));
        QCOMPARE(fake.log->lines(), error("User UPN name size is incorrect: 257."));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecurityHelperHashes)
#include "tst_SSSecurityHelperHashes.moc"
