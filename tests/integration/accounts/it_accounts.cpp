#include "platform/linux/accounts/LinuxIdentityService.h"
#include "tests/integration/accounts/AccountsTest.h"
#include "tests/integration/accounts/Processes.h"

#include <QFile>
#include <QTest>

/// Which accounts there are, what is known of them, and who is who.
class it_accounts : public AccountsTest
{
    Q_OBJECT

private Q_SLOTS:
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
