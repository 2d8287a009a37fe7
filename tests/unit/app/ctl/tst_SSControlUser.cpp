#include "tests/unit/app/ctl/ControlFixture.h"

#include <QTest>

class tst_SSControlUser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingAboutADomainUser()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords(),
                   QStringLiteral("/Active Directory/SALES/All Domains"));
        f.addUser(QStringLiteral("jdoe"), {QStringLiteral("CORP"), QStringLiteral("SALES")});
        f.fake.identity->users = {{QStringLiteral("jdoe"), 1000}};
        f.fake.identity->groups = {{QStringLiteral("admin"), 27}};
        f.fake.identity->memberships = {{1000, 27}};
        QCOMPARE(f.run({"user", "jdoe", "--json"}), 0);
        const QJsonObject answer = f.json();
        QCOMPARE(answer[QStringLiteral("sAMAccountName")].toString(), QStringLiteral("jdoe"));
        QCOMPARE(answer[QStringLiteral("uid")].toString(),
                 QStringLiteral("DEADBEEF-BEAD-DEAD-BEEF-DEADBEEFDEAD"));
        QCOMPARE(answer[QStringLiteral("domains")].toArray(),
                 (QJsonArray{QStringLiteral("CORP"), QStringLiteral("SALES")}));
        QCOMPARE(answer[QStringLiteral("domainName")].toString(), QStringLiteral("SALES"));
        QCOMPARE(answer[QStringLiteral("legacyLogonName")].toString(),
                 QStringLiteral("SALES\\jdoe"));
        QCOMPARE(answer[QStringLiteral("isEnrollCapableUser")], QJsonValue(true));
        QCOMPARE(answer[QStringLiteral("isAdminUser")], QJsonValue(true));
        const QJsonArray records = answer[QStringLiteral("records")].toArray();
        QCOMPARE(records.size(), 1);
        QCOMPARE(records[0][QStringLiteral("dsAttrTypeStandard:PrimaryNTDomain")].toArray(),
                 (QJsonArray{QStringLiteral("CORP"), QStringLiteral("SALES")}));
        QVERIFY(f.errors.isEmpty());
    }

    void aNodeLocationOfTheUsersChoice()
    {
        ControlFixture f;
        f.addUser(QStringLiteral("jdoe"), {QStringLiteral("SALES"), QStringLiteral("corp")});
        f.fake.identity->users = {{QStringLiteral("jdoe"), 1000}};
        f.fake.identity->groups = {{QStringLiteral("admin"), 27}};
        QCOMPARE(f.run({"user", "jdoe", "--json", "--node-location",
                        "/Active Directory/SALES/All Domains"}),
                 0);
        QCOMPARE(f.json()[QStringLiteral("legacyLogonName")].toString(),
                 QStringLiteral("SALES\\jdoe"));
        QCOMPARE(f.json()[QStringLiteral("isAdminUser")], QJsonValue(false));
        QCOMPARE(f.run({"user", "jdoe", "--json", "--node-location", ""}), 0);
        QCOMPARE(f.json()[QStringLiteral("legacyLogonName")].toString(),
                 QStringLiteral("corp\\jdoe"));
        // The connection points are only asked for when their location is wanted.
        for (const FakeDirectory::Call &call : f.directory->calls)
            QCOMPARE(call.query.recordType, DirectoryRecordType::Users);
    }

    void aLocalUserHasNoDomainAndMayNotEnroll()
    {
        ControlFixture f;
        f.addUser(QStringLiteral("jdoe"), {});
        QCOMPARE(f.run({"user", "jdoe", "--json"}), 0);
        QVERIFY(f.json().contains(QStringLiteral("domains")));
        QVERIFY(f.json()[QStringLiteral("domains")].isNull());
        QVERIFY(f.json()[QStringLiteral("domainName")].isNull());
        QVERIFY(f.json()[QStringLiteral("appleMetaNodeLocation")].isNull());
        QCOMPARE(f.json()[QStringLiteral("legacyLogonName")].toString(), QStringLiteral("jdoe"));
        QCOMPARE(f.json()[QStringLiteral("isEnrollCapableUser")], QJsonValue(false));
    }

    void theTextForPeople()
    {
        ControlFixture f;
        f.addUser(QStringLiteral("jdoe"), {QStringLiteral("CORP")});
        QCOMPARE(f.run({"user", "jdoe"}), 0);
        QVERIFY(f.output.contains(QStringLiteral("Logon form:    CORP\\jdoe\n")));
        QVERIFY(f.output.contains(QStringLiteral("May enroll:    YES\n")));
        QVERIFY(f.output.contains(QStringLiteral("Is admin:      NO\n")));
        QVERIFY(f.output.contains(QStringLiteral("Record 1 of 1\n")));
        QVERIFY(f.output.contains(
            QStringLiteral("    dsAttrTypeStandard:PrimaryNTDomain = \"CORP\"\n")));
    }

    void anUnknownUserIsAFailure()
    {
        ControlFixture f;
        QCOMPARE(f.run({"user", "nobody", "--json"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(QStringLiteral("the directory has no user nobody")));
    }

    void aDirectoryThatFailsIsTold()
    {
        ControlFixture f;
        f.directory->users.error = QStringLiteral("the server broke off");
        QCOMPARE(f.run({"user", "jdoe"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("the server broke off")));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlUser)
#include "tst_SSControlUser.moc"
