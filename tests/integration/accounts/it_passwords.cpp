#include "platform/linux/accounts/PamPasswordCheck.h"
#include "tests/integration/accounts/AccountsTest.h"
#include "tests/integration/accounts/Processes.h"

#include <QTest>

#include <sys/prctl.h>

/// Whose password is checked by whom, and what is answered.
class it_passwords : public AccountsTest
{
    Q_OBJECT

private Q_SLOTS:
    void rootChecksEverybodysPassword()
    {
        QCOMPARE(check("ssit-alice", alicePassword), QStringLiteral("right"));
        QCOMPARE(check("ssit-bob", u"bob's"), QStringLiteral("right"));
        const QString wrong =
            error(Code::AuthenticationRefused, "The password of \"ssit-bob\" is wrong.");
        QCOMPARE(check("ssit-bob", u"Bob's"), wrong);
        QCOMPARE(check("ssit-bob", u""), wrong);
        QCOMPARE(check("ssit-bob", u"bob's "), wrong);
    }

    void aPasswordWithANulIsNotCutShort()
    {
        using namespace std::string_view_literals;
        QCOMPARE(check("ssit-bob", u"bob's\0"sv),
                 error(Code::AuthenticationRefused,
                       "The password given for \"ssit-bob\" is not valid text."));
    }

    void anOrdinaryUserChecksHisOwnPassword()
    {
        QCOMPARE(asUser(aliceId, [&] { return check("ssit-alice", alicePassword); }),
                 QStringLiteral("right"));
        QCOMPARE(asUser(aliceId, [&] { return check("ssit-alice", u"wrong"); }),
                 error(Code::AuthenticationRefused, "The password of \"ssit-alice\" is wrong."));
    }

    void pamTellsAnOrdinaryUserNothingAboutOthersPasswords()
    {
        const auto ask = [](std::u16string_view password) {
            return asUser(aliceId, [&] {
                const auto bob = NameService::userByName("ssit-bob").value();
                const auto answer = PamPasswordCheck::verify(QStringLiteral("zevrikselfservice"),
                                                             *bob, false, password);
                return answer.ok() ? QStringLiteral("an answer")
                                   : QStringLiteral("%1 %2")
                                         .arg(static_cast<int>(answer.error().code))
                                         .arg(answer.error().localizedDescription);
            });
        };
        const QString expected =
            error(Code::CannotTell,
                  "The password of \"ssit-bob\" can only be checked by that user or by root.");
        QCOMPARE(ask(u"bob's"), expected);
        QCOMPARE(ask(u"wrong"), expected);
    }

    void withoutNewPrivilegesNothingCanBeTold()
    {
        QCOMPARE(asUser(bobId,
                        [&] {
                            prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
                            return check("ssit-bob", u"bob's");
                        }),
                 error(Code::CannotTell,
                       "The password of \"ssit-bob\" cannot be checked, as this process may gain "
                       "no privileges (no_new_privs)."));
    }

    void accountsThatMayNotBeUsedAreErrors()
    {
        QCOMPARE(check("ssit-locked", u"right"),
                 error(Code::AuthenticationRefused, "The account \"ssit-locked\" is locked."));
        // pam_unix's own words
        const QString expired =
            error(Code::AuthenticationRefused,
                  "The account \"ssit-expired\" may not be used: Your account has expired; please "
                  "contact your system administrator.");
        QCOMPARE(check("ssit-expired", u"right"), expired);
        QCOMPARE(asUser(7104, [&] { return check("ssit-expired", u"right"); }), expired);
        QCOMPARE(check("ssit-mustchange", u"right"), QStringLiteral("right"));
    }

    void anAccountWithoutAPasswordConfirmsNone()
    {
        QCOMPARE(check("ssit-blank", u"anything"),
                 error(Code::CannotTell,
                       "The account \"ssit-blank\" was let in without being asked for its "
                       "password."));
        QCOMPARE(check("ssit-blank", u""), QStringLiteral("right"));
    }

    void anAccountThatGoesMeanwhileIsUnknown()
    {
        QCOMPARE(
            run({QStringLiteral("useradd"), QStringLiteral("-M"), QStringLiteral("ssit-gone")}), 0);
        const auto account = record(QStringLiteral("ssit-gone"));
        QVERIFY(account);
        QCOMPARE(run({QStringLiteral("userdel"), QStringLiteral("ssit-gone")}), 0);
        const auto answer = account->verifyPassword(u"x");
        QVERIFY(!answer.ok());
        QCOMPARE(answer.error().code, Code::AuthenticationRefused);
        QVERIFY(!record(QStringLiteral("ssit-gone")));
    }

    void aMissingServiceFileIsNamed()
    {
        LocalAccountNode::Options options;
        options.pamService = QStringLiteral("ssit-no-such-service");
        LocalAccountNode node(options, nullptr);
        const auto answer = node.query(named(QStringLiteral("ssit-bob")))
                                .value()
                                .value(0)
                                ->verifyPassword(u"bob's");
        QVERIFY(!answer.ok());
        QCOMPARE(answer.error().code, Code::FileUnreadable);
        QVERIFY(answer.error().localizedDescription.contains(options.pamService));
    }

    void directoryAccountsAreCheckedUnderTheirAccountName()
    {
        QCOMPARE(check("jdoe@corp.example.test", u"right"), QStringLiteral("right"));
        QCOMPARE(asUser(domainUserId, [&] { return check("jdoe@corp.example.test", u"right"); }),
                 QStringLiteral("right"));
    }

    void theProcessesUserIsFoundByHisShortNameToo()
    {
        QCOMPARE(asUser(domainUserId, [&] { return check("jdoe", u"right"); }),
                 QStringLiteral("right"));
        QCOMPARE(check("jdoe", u"right"),
                 asUser(domainUserId, [&] { return check("jroe", u"right"); }));
        QVERIFY(check("jdoe", u"right") != QStringLiteral("right")); // somebody else's
    }
};

QTEST_GUILESS_MAIN(it_passwords)
#include "it_passwords.moc"
