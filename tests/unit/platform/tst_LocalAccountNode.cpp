#include "platform/linux/accounts/AccountName.h"
#include "platform/linux/accounts/LinuxIdentityService.h"
#include "platform/linux/accounts/LocalAccountNode.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

namespace {

QString text(const char16_t *name)
{
    return QString::fromUtf16(name);
}

} // namespace

/// Rests on the one account that every computer has: root, with the number 0 and the group 0.
class tst_LocalAccountNode : public QObject
{
    Q_OBJECT

    static DirectoryQuery query(const char16_t *attribute, quint32 matchType, const char *value)
    {
        return {DirectoryRecordType::Users,
                text(attribute),
                matchType,
                QString::fromUtf8(value),
                {},
                0};
    }

private Q_SLOTS:
    void namesAreTakenApart_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("parts"); ///< short name, DNS domain, NT domain
        const auto row = [](const char *name, const char *shortName, const char *dns,
                            const char *nt) {
            QTest::newRow(name) << QString::fromUtf8(name)
                                << QStringList({QString::fromUtf8(shortName),
                                                QString::fromUtf8(dns), QString::fromUtf8(nt)});
        };
        row("jdoe", "jdoe", "", "");
        row("jdoe@corp.example.test", "jdoe", "corp.example.test", "");
        row("CORP\\jdoe", "jdoe", "", "CORP");
        row("a@b@corp.example.test", "a@b", "corp.example.test", "");
        row("@corp", "@corp", "", "");
        row("jdoe@", "jdoe@", "", "");
        row("\\jdoe", "\\jdoe", "", "");
        row("CORP\\", "CORP\\", "", "");
        row("", "", "", "");
    }
    void namesAreTakenApart()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, parts);
        const AccountName parsed = AccountName::parse(name);
        QCOMPARE(QStringList({parsed.shortName, parsed.dnsDomain, parsed.ntDomain}), parts);
    }

    void rootHasALocalRecord()
    {
        LocalAccountNode node({{{QStringLiteral("CORP"), QStringLiteral("corp.example.test")}},
                               QStringLiteral("/etc/passwd"),
                               QStringLiteral("zevrikselfservice")},
                              nullptr);
        const auto records =
            node.query(query(DirectoryAttribute::RecordName, DirectoryMatchType::EqualTo, "root"));
        QVERIFY(records.ok());
        QCOMPARE(records.value().size(), 1);
        QCOMPARE(records.value()[0]->description(), QStringLiteral("/Local/Default/Users/root"));
        const auto details = records.value()[0]->details().value();
        QCOMPARE(details.value(text(DirectoryAttribute::RecordName)),
                 QStringList(QStringLiteral("root")));
        QCOMPARE(details.value(text(DirectoryAttribute::GUID)),
                 QStringList(QStringLiteral("FFFFEEEE-DDDD-CCCC-BBBB-AAAA00000000")));
        QCOMPARE(details.value(text(DirectoryAttribute::PrimaryGroupID)),
                 QStringList(QStringLiteral("0")));
        QCOMPARE(details.value(text(DirectoryAttribute::NFSHomeDirectory)),
                 QStringList(QStringLiteral("/root")));
        QVERIFY(!details.contains(text(DirectoryAttribute::PrimaryNTDomain)));
        QVERIFY(!details.contains(text(DirectoryAttribute::OriginalNodeName)));
    }

    void accountsAreFoundByTheirGuid()
    {
        LocalAccountNode node({}, nullptr);
        const auto found = [&](const char *guid) {
            return node.query(query(DirectoryAttribute::GUID, DirectoryMatchType::EqualTo, guid))
                .value()
                .size();
        };
        QCOMPARE(found("ffffeeee-dddd-cccc-bbbb-aaaa00000000"), 1);
        QCOMPARE(found("FFFFEEEE-DDDD-CCCC-BBBB-AAAA0"), 0);
        QCOMPARE(found("FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000000G"), 0);
        QCOMPARE(found("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"), 0);
    }

    void namesThatNobodyHasFindNothing()
    {
        LocalAccountNode node({}, nullptr);
        for (const char *name : {"", "no-such-account", "*", "0", "root:x", "../root"}) {
            const auto records = node.query(
                query(DirectoryAttribute::RecordName, DirectoryMatchType::EqualTo, name));
            QVERIFY(records.ok());
            QVERIFY(records.value().isEmpty());
        }
        auto withNul = query(DirectoryAttribute::RecordName, DirectoryMatchType::EqualTo, "");
        withNul.value = QStringLiteral("root") + QChar(0) + QStringLiteral("x");
        QVERIFY(node.query(withNul).value().isEmpty());
    }

    void aListOfAllAccountsHasRootOnce()
    {
        LocalAccountNode node({}, nullptr);
        auto all = query(DirectoryAttribute::RecordName, DirectoryMatchType::BeginsWith, "roo");
        int roots = 0;
        const auto listed = node.query(all);
        QVERIFY(listed.ok());
        for (const auto &record : listed.value())
            roots += record->description() == QStringLiteral("/Local/Default/Users/root");
        QCOMPARE(roots, 1);

        all.value.clear();
        all.maximumResults = 2;
        QCOMPARE(node.query(all).value().size(), 2);

        const auto mobile = node.query(query(DirectoryAttribute::OriginalNodeName,
                                             DirectoryMatchType::BeginsWith, "/Active Directory"));
        QVERIFY(mobile.ok());
        QVERIFY(mobile.value().isEmpty());
    }

    void queriesThatMakeNoSenseAreRefused()
    {
        LocalAccountNode node({}, nullptr);
        const auto type = node.query(query(DirectoryAttribute::RecordName, 0x2004, "root"));
        QVERIFY(!type.ok());
        QCOMPARE(type.error().code, DirectoryError::Code::QueryInvalid);
        const auto attribute = node.query(query(u"", DirectoryMatchType::EqualTo, "root"));
        QVERIFY(!attribute.ok());
        QCOMPARE(attribute.error().code, DirectoryError::Code::QueryInvalid);
    }

    void connectionPointsAreNotLocal()
    {
        LocalAccountNode node({}, nullptr);
        auto points = query(DirectoryAttribute::keywords, DirectoryMatchType::EqualTo, "1.2.3");
        points.recordType = DirectoryRecordType::FileMakerServers;
        QVERIFY(node.query(points).ok());
        QVERIFY(node.query(points).value().isEmpty());
    }

    void identityKnowsRootAndItsGroup()
    {
        LinuxIdentityService identity({QStringLiteral("no-such-group"), QStringLiteral("root")});
        QCOMPARE(identity.effectiveUserId(), geteuid());
        const auto users = identity.usersWithName(QStringLiteral("root")).value();
        QCOMPARE(users.size(), 1);
        QCOMPARE(users[0].id, 0U);
        const auto admin = identity.groupsWithName(QStringLiteral("admin")).value();
        QCOMPARE(admin.size(), 1);
        QCOMPARE(admin[0].name, QStringLiteral("root"));
        QVERIFY(identity.isMember(users[0], admin[0]));
        QVERIFY(!identity.isMember({QStringLiteral("nobody"), 65534}, admin[0]));
        QVERIFY(!identity.isMember({QStringLiteral("root"), 5}, admin[0]));
        QVERIFY(identity.usersWithName(QStringLiteral("0")).value().isEmpty());
        QVERIFY(identity.usersWithName(QString()).value().isEmpty());
        QVERIFY(identity.groupsWithName(QStringLiteral("no-such-group")).value().isEmpty());
        QVERIFY(LinuxIdentityService(QStringList())
                    .groupsWithName(QStringLiteral("admin"))
                    .value()
                    .isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_LocalAccountNode)
#include "tst_LocalAccountNode.moc"
