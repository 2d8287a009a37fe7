#include "platform/linux/accounts/LinuxIdentityService.h"
#include "platform/linux/accounts/LocalAccountNode.h"
#include "platform/linux/accounts/PamPasswordCheck.h"
#include "tests/integration/accounts/Processes.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Code = DirectoryError::Code;

constexpr char16_t alicePassword[] = u"Grün€ 𝄞 \"$[x]\\ ";
constexpr quint32 aliceId = 7101;
constexpr quint32 bobId = 7102;
constexpr quint32 domainUserId = 7201;
constexpr quint32 filedUserId = 7301;

QString text(const char16_t *name)
{
    return QString::fromUtf16(name);
}

} // namespace

/// Run by with-own-etc as root: makes accounts as it likes.
class it_accounts : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    LocalAccountNode::Options m_options;

    static DirectoryQuery named(const QString &name)
    {
        return {DirectoryRecordType::Users,
                text(DirectoryAttribute::RecordName),
                DirectoryMatchType::EqualTo,
                name,
                {},
                0};
    }
    std::shared_ptr<DirectoryRecord> record(const QString &name) const
    {
        LocalAccountNode node(m_options, nullptr);
        auto records = node.query(named(name));
        return records.ok() ? records.value().value(0) : nullptr;
    }
    /// "right", "wrong" for a plain false, or the error's code and text.
    QString check(const char *name, std::u16string_view password) const
    {
        const auto account = record(QString::fromUtf8(name));
        if (!account)
            return QStringLiteral("no such account");
        const auto answer = account->verifyPassword(password);
        if (answer.ok())
            return answer.value() ? QStringLiteral("right") : QStringLiteral("wrong");
        return QStringLiteral("%1 %2")
            .arg(static_cast<int>(answer.error().code))
            .arg(answer.error().localizedDescription);
    }
    static QString error(Code code, const char *description)
    {
        return QStringLiteral("%1 %2")
            .arg(static_cast<int>(code))
            .arg(QString::fromUtf8(description));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(geteuid() == 0, "this test makes accounts, so it needs root");
        QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
        const auto add = [](const QString &name, const QString &id) {
            return run({QStringLiteral("useradd"), QStringLiteral("-M"), QStringLiteral("-U"),
                        QStringLiteral("-u"), id, name});
        };
        QCOMPARE(add(QStringLiteral("ssit-alice"), QString::number(aliceId)), 0);
        QCOMPARE(add(QStringLiteral("ssit-bob"), QString::number(bobId)), 0);
        QCOMPARE(add(QStringLiteral("ssit-locked"), QStringLiteral("7103")), 0);
        QCOMPARE(add(QStringLiteral("ssit-expired"), QStringLiteral("7104")), 0);
        QCOMPARE(add(QStringLiteral("ssit-mustchange"), QStringLiteral("7105")), 0);
        QCOMPARE(add(QStringLiteral("ssit-blank"), QStringLiteral("7106")), 0);
        QCOMPARE(run({QStringLiteral("groupadd"), QStringLiteral("ssit-admins")}), 0);
        QCOMPARE(run({QStringLiteral("gpasswd"), QStringLiteral("-a"), QStringLiteral("ssit-alice"),
                      QStringLiteral("ssit-admins")}),
                 0);

        // Names that useradd refuses: of digits alone, and those of a joined computer.
        QFile passwd(QStringLiteral("/etc/passwd"));
        QVERIFY(passwd.open(QIODevice::Append));
        passwd.write("4242:x:7210:7210::/nonexistent:/bin/false\n"
                     "filed@corp.example.test:x:7301:7301::/home/filed:/bin/false\n"
                     "jdoe@corp.example.test:x:7201:7201::/home/jdoe:/bin/false\n"
                     "CORP\\jroe:x:7202:7202::/home/jroe:/bin/false\n"
                     "bare:x:7203:7203::/home/bare:/bin/false\n"
                     "foreign@other.test:x:7204:7204::/home/foreign:/bin/false\n"
                     "service:x:61184:61184::/:/bin/false\n");
        passwd.close();
        QFile shadow(QStringLiteral("/etc/shadow"));
        QVERIFY(shadow.open(QIODevice::Append));
        shadow.write("jdoe@corp.example.test:*:19000:0:99999:7:::\n");
        shadow.close();

        QCOMPARE(run({QStringLiteral("chpasswd")},
                     "ssit-alice:" + QString::fromUtf16(alicePassword).toUtf8() +
                         "\nssit-bob:bob's\nssit-locked:right\nssit-expired:right\n"
                         "ssit-mustchange:right\njdoe@corp.example.test:right\n"),
                 0);
        QCOMPARE(
            run({QStringLiteral("usermod"), QStringLiteral("-L"), QStringLiteral("ssit-locked")}),
            0);
        QCOMPARE(run({QStringLiteral("usermod"), QStringLiteral("-e"), QStringLiteral("1"),
                      QStringLiteral("ssit-expired")}),
                 0);
        QCOMPARE(run({QStringLiteral("chage"), QStringLiteral("-d"), QStringLiteral("0"),
                      QStringLiteral("ssit-mustchange")}),
                 0);
        QCOMPARE(run({QStringLiteral("passwd"), QStringLiteral("-d"), QStringLiteral("-q"),
                      QStringLiteral("ssit-blank")}),
                 0);

        // The accounts of a directory are in no file: name one that lacks them.
        QCOMPARE(chmod(qPrintable(m_folder.path()), 0755), 0);
        QFile file(m_folder.filePath(QStringLiteral("passwd")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QFile all(QStringLiteral("/etc/passwd"));
        QVERIFY(all.open(QIODevice::ReadOnly));
        for (const QByteArray &line : all.readAll().split('\n')) {
            if (!line.isEmpty() && !line.contains(":720") && !line.contains(":61184:"))
                file.write(line + '\n');
        }
        m_options.passwdFile = file.fileName();
        m_options.domains = {{QStringLiteral("CORP"), QStringLiteral("corp.example.test")}};
    }

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

    void cachedDirectoryAccountsCarryTheirDomain_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shortName");
        QTest::newRow("user@domain")
            << QStringLiteral("jdoe@corp.example.test") << QStringLiteral("jdoe");
        QTest::newRow("DOMAIN\\user") << QStringLiteral("CORP\\jroe") << QStringLiteral("jroe");
        QTest::newRow("bare") << QStringLiteral("bare") << QStringLiteral("bare");
    }
    void cachedDirectoryAccountsCarryTheirDomain()
    {
        QFETCH(QString, name);
        QFETCH(QString, shortName);
        const auto account = record(name);
        QVERIFY(account);
        const auto details = account->details().value();
        QCOMPARE(details.value(text(DirectoryAttribute::RecordName)), QStringList(name));
        QCOMPARE(details.value(text(DirectoryAttribute::sAMAccountName)), QStringList(shortName));
        QCOMPARE(details.value(text(DirectoryAttribute::PrimaryNTDomain)),
                 QStringList(QStringLiteral("CORP")));
        QCOMPARE(details.value(text(DirectoryAttribute::OriginalNodeName)),
                 QStringList(QStringLiteral("/Active Directory/CORP/corp.example.test")));
        QVERIFY(!details.contains(text(DirectoryAttribute::GUID)));
    }

    void otherAccountsHaveNoDomain()
    {
        for (const char *name : {"ssit-alice", "foreign@other.test", "service"}) {
            const auto account = record(QString::fromUtf8(name));
            QVERIFY(account);
            const auto details = account->details().value();
            QVERIFY(!details.contains(text(DirectoryAttribute::PrimaryNTDomain)));
            QVERIFY(!details.contains(text(DirectoryAttribute::OriginalNodeName)));
            QVERIFY(details.contains(text(DirectoryAttribute::GUID)));
        }
        // 7101 is 0x1BBD
        QCOMPARE(record(QStringLiteral("ssit-alice"))
                     ->details()
                     .value()
                     .value(text(DirectoryAttribute::GUID)),
                 QStringList(QStringLiteral("FFFFEEEE-DDDD-CCCC-BBBB-AAAA00001BBD")));
    }

    void cachedDirectoryAccountsAreListed()
    {
        LocalAccountNode node(m_options, nullptr);
        const auto records = node.query({DirectoryRecordType::Users,
                                         text(DirectoryAttribute::OriginalNodeName),
                                         DirectoryMatchType::BeginsWith,
                                         QStringLiteral("/Active Directory"),
                                         {},
                                         0});
        QVERIFY(records.ok());
        QStringList names;
        for (const auto &found : records.value())
            names.append(found->details().value().value(text(DirectoryAttribute::RecordName)));
        QCOMPARE(names, QStringList({QStringLiteral("jdoe@corp.example.test"),
                                     QStringLiteral("CORP\\jroe"), QStringLiteral("bare")}));
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

    void anAccountOfTheComputersOwnHasNoShortName()
    {
        const auto found = [&](const char *name) {
            return asUser(filedUserId, [&] { return check(name, u"any"); });
        };
        QVERIFY(found("filed@corp.example.test") != QStringLiteral("no such account"));
        QCOMPARE(found("filed"), QStringLiteral("no such account"));
    }

    void identityOfTheProcessesUser()
    {
        QCOMPARE(asUser(domainUserId,
                        [] {
                            LinuxIdentityService identity;
                            return QStringLiteral("%1 %2 %3")
                                .arg(identity.userName(), identity.accountName())
                                .arg(identity.effectiveUserId());
                        }),
                 QStringLiteral("jdoe jdoe@corp.example.test 7201"));
        QCOMPARE(asUser(7999,
                        [] {
                            LinuxIdentityService identity;
                            return QStringLiteral("[%1][%2]")
                                .arg(identity.userName(), identity.accountName());
                        }),
                 QStringLiteral("[][]"));
    }

    void membership()
    {
        LinuxIdentityService identity(
            {QStringLiteral("ssit-absent"), QStringLiteral("ssit-admins")});
        const auto admin = identity.groupsWithName(QStringLiteral("admin")).value();
        QCOMPARE(admin.size(), 1);
        QCOMPARE(admin[0].name, QStringLiteral("ssit-admins"));
        const auto alice = identity.usersWithName(QStringLiteral("ssit-alice")).value().value(0);
        const auto bob = identity.usersWithName(QStringLiteral("ssit-bob")).value().value(0);
        QCOMPARE(alice.id, aliceId);
        QVERIFY(identity.isMember(alice, admin[0]));
        QVERIFY(!identity.isMember(bob, admin[0]));
        // a primary group counts, though the group's entry lists no members
        const auto own = identity.groupsWithName(QStringLiteral("ssit-bob")).value().value(0);
        QVERIFY(identity.isMember(bob, own));
        QVERIFY(!identity.isMember(alice, own));
        // a name that has since come to mean another number
        QVERIFY(!identity.isMember({QStringLiteral("ssit-alice"), bobId}, admin[0]));
    }

    void anAccountByItsNumber()
    {
        LinuxIdentityService identity;
        const auto found = identity.accountWithId(domainUserId);
        QVERIFY(found.ok() && found.value());
        QCOMPARE(found.value()->name, QStringLiteral("jdoe@corp.example.test"));
        QCOMPARE(found.value()->userId, domainUserId);
        QFile passwd(QStringLiteral("/etc/passwd"));
        QVERIFY(passwd.open(QIODevice::Append));
        passwd.write("ssit-adrift:x:7400:7401::nowhere:/bin/sh\n"
                     "ssit-homed:x:7402:7401::/srv/h\xc3\xb6me:/bin/sh\n");
        passwd.close();
        const auto homed = identity.accountWithId(7402).value();
        QVERIFY(homed);
        QCOMPARE(homed->groupId, 7401U);
        QCOMPARE(homed->homeFolder, QStringLiteral("/srv/h\u00f6me"));
        QCOMPARE(identity.accountWithId(7400).value()->homeFolder, QString());
        const auto nobody = identity.accountWithId(7998);
        QVERIFY(nobody.ok() && !nobody.value());
    }

    void theGroupsOfAnAccount()
    {
        LinuxIdentityService identity(
            {QStringLiteral("ssit-absent"), QStringLiteral("ssit-admins")});
        const auto admins = identity.groupsWithName(QStringLiteral("admin")).value().value(0);
        const auto alice = identity.accountWithId(aliceId).value();
        QVERIFY(alice);
        QList<quint32> groups = identity.groupsOf(*alice);
        QVERIFY(groups.removeOne(alice->groupId));
        QCOMPARE(groups, QList<quint32>{admins.id});
    }

    void aNameOfDigitsIsANameAndNoNumber()
    {
        LinuxIdentityService identity;
        const auto users = identity.usersWithName(QStringLiteral("4242")).value();
        QCOMPARE(users.size(), 1);
        QCOMPARE(users[0].id, 7210U);
        QVERIFY(identity.usersWithName(QString::number(aliceId)).value().isEmpty());
        QVERIFY(!record(QString::number(aliceId)));
    }

    void aUserOfManyGroupsIsAMemberOfEach()
    {
        QFile groups(QStringLiteral("/etc/group"));
        QVERIFY(groups.open(QIODevice::Append));
        constexpr int count = 300;
        for (int i = 0; i < count; ++i)
            groups.write(QStringLiteral("ssit-g%1:x:%2:ssit-bob\n").arg(i).arg(9000 + i).toUtf8());
        groups.close();
        LinuxIdentityService identity;
        const IdentityRecord bob{QStringLiteral("ssit-bob"), bobId};
        QVERIFY(identity.isMember(bob, {QStringLiteral("ssit-g0"), 9000}));
        QVERIFY(identity.isMember(bob, {QStringLiteral("ssit-g299"), 9299}));
        QVERIFY(!identity.isMember(bob, {QStringLiteral("ssit-g300"), 9300}));
    }

    void anEntryLargerThanTheFirstBufferIsRead()
    {
        QFile passwd(QStringLiteral("/etc/passwd"));
        QVERIFY(passwd.open(QIODevice::Append));
        passwd.write("ssit-long:x:7300:7300:" + QByteArray(20000, 'g') + ":/home/long:/bin/sh\n");
        passwd.close();
        const auto account = record(QStringLiteral("ssit-long"));
        QVERIFY(account);
        QCOMPARE(account->details().value().value(text(DirectoryAttribute::NFSHomeDirectory)),
                 QStringList(QStringLiteral("/home/long")));
    }
};

QTEST_GUILESS_MAIN(it_accounts)
#include "it_accounts.moc"
