#include "directory/SSUserInfoHelper.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// What is asked of the authentication search node.
class tst_SSUserInfoHelper : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void userInfo_theQuery()
    {
        DirectoryFixture f;
        QVERIFY(SSUserInfoHelper::userInfoWithName(u"jdoe"_s).has_value());
        QCOMPARE(f.directory->calls.size(), 1);
        const auto &call = f.directory->calls.first();
        QCOMPARE(call.nodeType, std::optional<quint32>(0x2201));
        QCOMPARE(call.query.recordType, DirectoryRecordType::Users);
        QCOMPARE(call.query.attribute, Attribute::RecordName);
        QCOMPARE(call.query.matchType, 0x2001U);
        QCOMPARE(call.query.value, u"jdoe"_s);
        QCOMPARE(call.query.returnAttributes,
                 (QStringList{Attribute::RecordName, Attribute::GUID, Attribute::NTDomain,
                              Attribute::Account}));
        QCOMPARE(f.fake.log->lines(),
                 (QStringList{u"[Debug]: >> +[SSUserInfoHelper userInfoWithName:] started"_s,
                              u"[Debug]: >> +[SSUserInfoHelper userInfoWithName:] ended"_s}));
    }

    void userInfo_anEmptyNameIsNotAskedFor()
    {
        const DirectoryFixture f;
        QVERIFY(!SSUserInfoHelper::userInfoWithName(QString()));
        QVERIFY(f.directory->calls.isEmpty());
        QCOMPARE(f.lines(), QStringList{u"[Error]: User name is empty"_s});
    }

    void userInfo_aFailedSearch()
    {
        const DirectoryFixture f;
        f.directory->users.error = u"down"_s;
        QVERIFY(!SSUserInfoHelper::userInfoWithName(u"jdoe"_s));
        QCOMPARE(f.lines(),
                 QStringList{
                     u"[Error]: UserInfoHelper: Error query information for user 'jdoe': down"_s});
    }

    void userInfo_noAnswerAtAll()
    {
        const DirectoryFixture f;
        f.directory->nodeAbsent = true;
        QVERIFY(!SSUserInfoHelper::userInfoWithName(u"jdoe"_s));
        QCOMPARE(f.lines(), QStringList{u"[Error]: UserInfoHelper: User 'jdoe' not found"_s});
    }

    void userInfo_anEmptyAnswerIsAnEmptyList()
    {
        const DirectoryFixture f;
        const auto result = SSUserInfoHelper::userInfoWithName(u"jdoe"_s);
        QVERIFY(result.has_value());
        QVERIFY(result->isEmpty());
        QVERIFY(f.lines().isEmpty());
    }

    void userInfo_namesMatchIgnoringCase()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"jdoe"_s}},
                                                {Attribute::Account, {u"JDoe"_s}}});
        QCOMPARE(SSUserInfoHelper::userInfoWithName(u"jdoe"_s)->size(), 1);
        QVERIFY(f.lines().isEmpty());
    }

    void userInfo_anotherAccountNameDropsARecordOfTheRightRecordName()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"jdoe"_s}},
                                                {Attribute::Account, {u"other"_s}}});
        QCOMPARE(SSUserInfoHelper::userInfoWithName(u"jdoe"_s)->size(), 0);
        QCOMPARE(f.lines(),
                 QStringList{
                     u"[Info]: UserInfoHelper: User 'jdoe' has different sAMAccountName: other"_s});
    }

    void userInfo_theRightAccountNameKeepsARecordOfAnotherRecordName()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"John"_s}},
                                                {Attribute::Account, {u"JDOE"_s}}});
        QCOMPARE(SSUserInfoHelper::userInfoWithName(u"jdoe"_s)->size(), 1);
        QCOMPARE(f.lines(),
                 QStringList{u"[Info]: UserInfoHelper: User 'jdoe' has different record name: "
                             "John"_s});
    }

    void userInfo_withoutAnAccountNameTheRecordNameDecides()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"JDOE"_s}}});
        FakeDirectory::add(f.directory->users,
                           {{Attribute::RecordName, {u"John"_s}}, {Attribute::Account, {}}});
        FakeDirectory::add(f.directory->users, {{Attribute::GUID, {u"no names"_s}}});
        const auto result = SSUserInfoHelper::userInfoWithName(u"jdoe"_s);
        QCOMPARE(result->size(), 1);
        QCOMPARE(result->first().value(Attribute::RecordName), QStringList{u"JDOE"_s});
    }

    void userInfo_severalValuesAreLoggedAndTheFirstCounts()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"a"_s, u"jdoe"_s}},
                                                {Attribute::Account, {u"jdoe"_s, u"b"_s}}});
        QCOMPARE(SSUserInfoHelper::userInfoWithName(u"jdoe"_s)->size(), 1);
        QCOMPARE(
            f.lines(),
            (QStringList{u"[Info]: UserInfoHelper: User 'jdoe' has several record names values: "
                         "(\n    a,\n    jdoe\n)"_s,
                         u"[Info]: UserInfoHelper: User 'jdoe' has several sAMAccountName values: "
                         "(\n    jdoe,\n    b\n)"_s,
                         u"[Info]: UserInfoHelper: User 'jdoe' has different record name: a"_s}));
    }

    void userInfo_afterAFailedRecordEveryLaterOneCountsAsFailed()
    {
        const DirectoryFixture f;
        const DirectoryDetails good{{Attribute::RecordName, {u"jdoe"_s}}};
        FakeDirectory::add(f.directory->users, good);
        FakeDirectory::add(f.directory->users, good)->detailsError = u"gone"_s;
        FakeDirectory::add(f.directory->users, good);
        FakeDirectory::add(f.directory->users, {});
        QCOMPARE(SSUserInfoHelper::userInfoWithName(u"jdoe"_s)->size(), 1);
        const QString line =
            u"[Error]: UserInfoHelper: Unable get attributes for user 'jdoe': gone"_s;
        QCOMPARE(f.lines(), (QStringList{line, line, line}));
    }

    void userInfo_aRecordWithoutDetailsIsSkipped()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {});
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"jdoe"_s}}});
        QCOMPARE(SSUserInfoHelper::userInfoWithName(u"jdoe"_s)->size(), 1);
        QCOMPARE(f.lines(),
                 QStringList{u"[Info]: UserInfoHelper: Attributes for user 'jdoe' is absent"_s});
    }

    void enroll_theQuery()
    {
        const DirectoryFixture f;
        QVERIFY(!SSUserInfoHelper::isEnrollCapableUser(u"jdoe"_s));
        const auto &call = f.directory->calls.first();
        QCOMPARE(call.nodeType, std::optional<quint32>(0x2201));
        QCOMPARE(call.query.attribute, Attribute::RecordName);
        QCOMPARE(call.query.matchType, 0x2001U);
        QCOMPARE(call.query.value, u"jdoe"_s);
        QCOMPARE(call.query.returnAttributes,
                 (QStringList{Attribute::RecordName, Attribute::NTDomain}));
        QCOMPARE(f.fake.log->lines().first(),
                 u"[Debug]: >> +[SSUserInfoHelper isEnrollCapableUser:] started"_s);
    }

    void enroll_failures_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("nodeAbsent");
        QTest::addColumn<QString>("line");
        QTest::newRow("empty name") << QString() << false << u"[Error]: User name is empty"_s;
        QTest::newRow("error")
            << u"jdoe"_s << false
            << u"[Error]: isEnrollCapableUser: Error query information for user 'jdoe': down"_s;
        QTest::newRow("no answer")
            << u"jdoe"_s << true << u"[Error]: isEnrollCapableUser: User 'jdoe' not found"_s;
    }
    void enroll_failures()
    {
        QFETCH(QString, name);
        QFETCH(bool, nodeAbsent);
        QFETCH(QString, line);
        const DirectoryFixture f;
        f.directory->nodeAbsent = nodeAbsent;
        f.directory->users.error = u"down"_s;
        QVERIFY(!SSUserInfoHelper::isEnrollCapableUser(name));
        QCOMPARE(f.lines(), QStringList{line});
    }

    void enroll_notForANameThatMatchesNoRecord()
    {
        const DirectoryFixture f;
        QVERIFY(!SSUserInfoHelper::isEnrollCapableUser(u"jdoe"_s));
        QVERIFY(f.lines().isEmpty());
    }

    void enroll_notForALocalOnlyUser()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::RecordName, {u"jdoe"_s}}});
        QVERIFY(!SSUserInfoHelper::isEnrollCapableUser(u"jdoe"_s));
    }

    void enroll_whenEveryReadableRecordHasADomain()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::NTDomain, {u"CORP"_s}}});
        FakeDirectory::add(f.directory->users, {});
        FakeDirectory::add(f.directory->users, {{Attribute::NTDomain, {u"A"_s, u"B"_s}}});
        FakeDirectory::add(f.directory->users, {})->detailsError = u"gone"_s;
        QVERIFY(SSUserInfoHelper::isEnrollCapableUser(u"jdoe"_s));
        QCOMPARE(
            f.lines(),
            (QStringList{
                u"[Info]: isEnrollCapableUser: Attributes for user 'jdoe' is absent"_s,
                u"[Info]: isEnrollCapableUser: User 'jdoe' has several domain name values: "
                "(\n    A,\n    B\n)"_s,
                u"[Error]: isEnrollCapableUser: Unable get attributes for user 'jdoe': gone"_s}));
    }

    void enroll_notWhenOneRecordHasNoDomain()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->users, {{Attribute::NTDomain, {u"CORP"_s}}});
        FakeDirectory::add(f.directory->users, {{Attribute::NTDomain, {}}});
        FakeDirectory::add(f.directory->users, {{Attribute::NTDomain, {u"CORP"_s}}});
        QVERIFY(!SSUserInfoHelper::isEnrollCapableUser(u"jdoe"_s));
    }

    void enroll_notWhenNothingCouldBeRead()
    {
        const DirectoryFixture f;
        const DirectoryDetails good{{Attribute::NTDomain, {u"CORP"_s}}};
        FakeDirectory::add(f.directory->users, good)->detailsError = u"gone"_s;
        FakeDirectory::add(f.directory->users, good);
        QVERIFY(!SSUserInfoHelper::isEnrollCapableUser(u"jdoe"_s));
        const QString line =
            u"[Error]: isEnrollCapableUser: Unable get attributes for user 'jdoe': gone"_s;
        QCOMPARE(f.lines(), (QStringList{line, line}));
    }
};

QTEST_GUILESS_MAIN(tst_SSUserInfoHelper)
#include "tst_SSUserInfoHelper.moc"
