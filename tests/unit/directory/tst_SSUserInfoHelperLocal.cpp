#include "directory/SSUserInfoHelper.h"
#include "security/SSSecureData.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

#include <array>

using namespace Qt::Literals::StringLiterals;

/// What is asked of the local node.
class tst_SSUserInfoHelperLocal : public QObject
{
    Q_OBJECT

    /// "pä1" in UTF-16 little-endian.
    static std::shared_ptr<SSSecureData> password()
    {
        static constexpr std::array<std::byte, 6> bytes{std::byte{0x70}, std::byte{0},
                                                        std::byte{0xe4}, std::byte{0},
                                                        std::byte{0x31}, std::byte{0}};
        return SSSecureData::dataWithBytes(bytes.data(), bytes.size());
    }
    static bool verify()
    {
        return SSUserInfoHelper::verifyPasswordWithUserName(u"jdoe"_s, *password());
    }

private Q_SLOTS:
    void mobile_theQuery()
    {
        const DirectoryFixture f;
        QVERIFY(SSUserInfoHelper::mobileUsers().has_value());
        const auto &call = f.directory->calls.first();
        QCOMPARE(call.nodeName, std::optional(u"/Local/Default"_s));
        QCOMPARE(call.query.recordType, DirectoryRecordType::Users);
        QCOMPARE(call.query.attribute, Attribute::OriginalNode);
        QCOMPARE(call.query.matchType, 0x2002U);
        QCOMPARE(call.query.value, u"/Active Directory"_s);
        QCOMPARE(call.query.returnAttributes,
                 (QStringList{Attribute::OriginalNode, Attribute::RecordName}));
        QCOMPARE(f.fake.log->lines().first(),
                 u"[Debug]: >> +[SSUserInfoHelper mobileUsers] started"_s);
    }

    void mobile_aFailedSearch()
    {
        const DirectoryFixture f;
        f.directory->localUsers.error = u"down"_s;
        QVERIFY(!SSUserInfoHelper::mobileUsers());
        QCOMPARE(f.lines(),
                 QStringList{u"[Error]: MobileUserInfoHelper: Error query information: down"_s});
    }

    void mobile_noAnswerAtAll()
    {
        const DirectoryFixture f;
        f.directory->nodeAbsent = true;
        QVERIFY(!SSUserInfoHelper::mobileUsers());
        QCOMPARE(f.lines(),
                 QStringList{u"[Error]: MobileUserInfoHelper: Local users not found."_s});
    }

    void mobile_keepsRecordsWithBothValuesAndLogsOddCounts()
    {
        const DirectoryFixture f;
        const QString node = u"/Active Directory/CORP/corp.example.test"_s;
        FakeDirectory::add(f.directory->localUsers,
                           {{Attribute::RecordName, {u"a"_s}}, {Attribute::OriginalNode, {node}}});
        FakeDirectory::add(f.directory->localUsers, {{Attribute::RecordName, {u"b"_s, u"c"_s}},
                                                     {Attribute::OriginalNode, {node, u"x"_s}}});
        FakeDirectory::add(f.directory->localUsers,
                           {{Attribute::RecordName, {u"d"_s}}, {Attribute::OriginalNode, {}}});
        FakeDirectory::add(f.directory->localUsers, {{Attribute::OriginalNode, {node}}});
        const auto result = SSUserInfoHelper::mobileUsers();
        QCOMPARE(result->size(), 2);
        QCOMPARE(result->at(1).value(Attribute::RecordName), (QStringList{u"b"_s, u"c"_s}));
        QCOMPARE(
            f.lines(),
            (QStringList{
                u"[Info]: MobileUserInfoHelper: User has several record names values: "
                "(\n    b,\n    c\n)"_s,
                u"[Info]: MobileUserInfoHelper: User 'b' has several sAMAccountName values: "
                "(\n    \"/Active Directory/CORP/corp.example.test\",\n    x\n)"_s,
                u"[Info]: MobileUserInfoHelper: User 'd' has several sAMAccountName values: (\n)"_s,
                u"[Info]: MobileUserInfoHelper: User has several record names values: (null)"_s}));
    }

    void mobile_afterAFailedRecordEveryLaterOneCountsAsFailed()
    {
        const DirectoryFixture f;
        const DirectoryDetails good{{Attribute::RecordName, {u"a"_s}},
                                    {Attribute::OriginalNode, {u"/Active Directory"_s}}};
        FakeDirectory::add(f.directory->localUsers, {});
        FakeDirectory::add(f.directory->localUsers, good)->detailsError = u"gone"_s;
        FakeDirectory::add(f.directory->localUsers, good);
        QVERIFY(SSUserInfoHelper::mobileUsers()->isEmpty());
        QCOMPARE(f.lines(),
                 (QStringList{u"[Info]: MobileUserInfoHelper: Attributes is absent"_s,
                              u"[Error]: MobileUserInfoHelper: Unable get attributes: gone"_s,
                              u"[Error]: MobileUserInfoHelper: Unable get attributes: gone"_s}));
    }

    void password_theQueryAndTheDecodedText()
    {
        const DirectoryFixture f;
        const auto record = FakeDirectory::add(f.directory->localUsers, {});
        record->correctPassword = u"p\u00e41";
        QVERIFY(verify());
        const auto &call = f.directory->calls.first();
        QCOMPARE(call.nodeName, std::optional(u"/Local/Default"_s));
        QCOMPARE(call.query.attribute, Attribute::RecordName);
        QCOMPARE(call.query.matchType, 0x2001U);
        QCOMPARE(call.query.value, u"jdoe"_s);
        QCOMPARE(call.query.returnAttributes, QStringList{Attribute::RecordName});
        QCOMPARE(
            f.fake.log->lines(),
            (QStringList{
                u"[Debug]: >> +[SSUserInfoHelper verifyPasswordWithUserName:password:] started"_s,
                u"[Debug]: >> +[SSUserInfoHelper verifyPasswordWithUserName:password:] ended"_s}));
    }

    void password_aWrongOneIsNoError()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers, {})->correctPassword = u"p\u00e42";
        QVERIFY(!verify());
        QVERIFY(f.lines().isEmpty());
    }

    void password_anErrorOfOneRecordDoesNotStopTheOthers()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers, {})->passwordError = u"account locked"_s;
        FakeDirectory::add(f.directory->localUsers, {})->correctPassword = u"p\u00e41";
        const auto third = FakeDirectory::add(f.directory->localUsers, {});
        QVERIFY(verify());
        QCOMPARE(f.lines(), QStringList{u"[Error]: ValidateUserInfoHelper: password validation "
                                        "error for user 'jdoe'. Error: account locked"_s});
        QVERIFY(third->passwordsTried.isEmpty());
    }

    void password_failures()
    {
        const DirectoryFixture f;
        QVERIFY(!verify());
        QVERIFY(f.lines().isEmpty());
        f.directory->localUsers.error = u"down"_s;
        QVERIFY(!verify());
        f.directory->localUsers.error.reset();
        f.directory->nodeAbsent = true;
        QVERIFY(!verify());
        QCOMPARE(f.lines(),
                 (QStringList{u"[Error]: ValidateUserInfoHelper: Error query information: down"_s,
                              u"[Error]: ValidateUserInfoHelper: Local users not found."_s}));
    }

    void password_halfACharacterIsNotCutOff()
    {
        const DirectoryFixture f;
        const auto record = FakeDirectory::add(f.directory->localUsers, {});
        record->correctPassword = u"p";
        const std::array<std::byte, 3> bytes{std::byte{0x70}, std::byte{0}, std::byte{0x31}};
        const auto odd = SSSecureData::dataWithBytes(bytes.data(), bytes.size());
        QVERIFY(!SSUserInfoHelper::verifyPasswordWithUserName(u"jdoe"_s, *odd));
        QVERIFY(record->passwordsTried.isEmpty());
        QCOMPARE(f.lines().size(), 1);
        QVERIFY(f.lines().first().startsWith(u"[Error]: "_s));
    }

    void password_neverReachesTheLog()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers, {})->passwordError = u"refused"_s;
        QVERIFY(!verify());
        for (const QString &line : f.fake.log->rawLines())
            QVERIFY(!line.contains(u"p\u00e41"_s));
    }

    void info_theQuery()
    {
        const DirectoryFixture f;
        QVERIFY(!SSUserInfoHelper::getInfoForUser(u"jdoe"_s, nullptr, nullptr));
        const auto &call = f.directory->calls.first();
        QCOMPARE(call.nodeName, std::optional(u"/Local/Default"_s));
        QCOMPARE(call.query.attribute, Attribute::RecordName);
        QCOMPARE(call.query.matchType, 0x2001U);
        QCOMPARE(call.query.value, u"jdoe"_s);
        QCOMPARE(call.query.returnAttributes,
                 (QStringList{Attribute::RecordName, Attribute::GroupID, Attribute::OriginalHome,
                              Attribute::Home}));
        QCOMPARE(f.fake.log->lines().first(),
                 u"[Debug]: >> +[SSUserInfoHelper getInfoForUser:groupId:home:] started"_s);
    }

    void info_prefersTheOriginalHome()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers, {{Attribute::GroupID, {u"20"_s}},
                                                     {Attribute::OriginalHome, {u"/net/jdoe"_s}},
                                                     {Attribute::Home, {u"/home/jdoe"_s}}});
        std::optional<qint64> group;
        std::optional<QString> home;
        QVERIFY(SSUserInfoHelper::getInfoForUser(u"jdoe"_s, &group, &home));
        QCOMPARE(group, std::optional<qint64>(20));
        QCOMPARE(home, std::optional(u"/net/jdoe"_s));
        QVERIFY(f.lines().isEmpty());
        QVERIFY(SSUserInfoHelper::getInfoForUser(u"jdoe"_s, nullptr, nullptr));
    }

    void info_aRecordWithoutAHomeIsPassedOver()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers, {{Attribute::GroupID, {u"20"_s}}});
        FakeDirectory::add(f.directory->localUsers, {{Attribute::Home, {u"/home/x"_s}}});
        FakeDirectory::add(f.directory->localUsers, {{Attribute::GroupID, {u"21"_s, u"22"_s}},
                                                     {Attribute::Home, {u"/a"_s, u"/b"_s}}});
        std::optional<qint64> group;
        std::optional<QString> home;
        QVERIFY(SSUserInfoHelper::getInfoForUser(u"jdoe"_s, &group, &home));
        QCOMPARE(group, std::optional<qint64>(21));
        QCOMPARE(home, std::optional(u"/a"_s));
        const QString noHome = u"[Info]: GroupUserInfoHelper: User has several original NFS home "
                               "directory values: (null)"_s;
        QCOMPARE(
            f.lines(),
            (QStringList{
                u"[Info]: GroupUserInfoHelper: Several users: 3 with user 'jdoe'."_s, noHome,
                noHome,
                u"[Info]: GroupUserInfoHelper: User has several primary group id values: (null)"_s,
                noHome,
                u"[Info]: GroupUserInfoHelper: User has several primary group id values: "
                "(\n    21,\n    22\n)"_s,
                noHome,
                u"[Info]: GroupUserInfoHelper: User has several original NFS home directory "
                "values: (\n    \"/a\",\n    \"/b\"\n)"_s}));
    }

    void info_nothingFoundLeavesTheSlotsAlone()
    {
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers, {{Attribute::GroupID, {u"20"_s}}});
        std::optional<qint64> group = 7;
        std::optional<QString> home = u"old"_s;
        QVERIFY(!SSUserInfoHelper::getInfoForUser(u"jdoe"_s, &group, &home));
        QCOMPARE(group, std::optional<qint64>(7));
        QCOMPARE(home, std::optional(u"old"_s));
    }

    void info_aGroupIdThatIsNoNumberGivesNone_data()
    {
        QTest::addColumn<QString>("text");
        for (const char *text : {"staff", "", "20x", " 20", "20 "})
            QTest::newRow(text) << QString::fromLatin1(text);
    }
    void info_aGroupIdThatIsNoNumberGivesNone()
    {
        QFETCH(QString, text);
        const DirectoryFixture f;
        FakeDirectory::add(f.directory->localUsers,
                           {{Attribute::GroupID, {text}}, {Attribute::OriginalHome, {u"/h"_s}}});
        std::optional<qint64> group = 7;
        std::optional<QString> home;
        QVERIFY(SSUserInfoHelper::getInfoForUser(u"jdoe"_s, &group, &home));
        QVERIFY(!group);
        QCOMPARE(home, std::optional(u"/h"_s));
    }

    void info_aFailedRecordDoesNotSpoilTheNext()
    {
        const DirectoryFixture f;
        const DirectoryDetails good{{Attribute::GroupID, {u"20"_s}},
                                    {Attribute::OriginalHome, {u"/h"_s}}};
        FakeDirectory::add(f.directory->localUsers, good)->detailsError = u"gone"_s;
        FakeDirectory::add(f.directory->localUsers, {});
        FakeDirectory::add(f.directory->localUsers, good);
        QVERIFY(SSUserInfoHelper::getInfoForUser(u"jdoe"_s, nullptr, nullptr));
        QCOMPARE(f.lines(),
                 (QStringList{u"[Info]: GroupUserInfoHelper: Several users: 3 with user 'jdoe'."_s,
                              u"[Error]: GroupUserInfoHelper: Unable get attributes: gone"_s,
                              u"[Info]: GroupUserInfoHelper: Attributes is absent"_s}));
    }

    void info_failures()
    {
        const DirectoryFixture f;
        f.directory->localUsers.error = u"down"_s;
        QVERIFY(!SSUserInfoHelper::getInfoForUser(u"jdoe"_s, nullptr, nullptr));
        f.directory->nodeAbsent = true;
        QVERIFY(!SSUserInfoHelper::getInfoForUser(u"jdoe"_s, nullptr, nullptr));
        QCOMPARE(f.lines(),
                 (QStringList{u"[Error]: GroupUserInfoHelper: Error query information: down"_s,
                              u"[Error]: GroupUserInfoHelper: Local users not found."_s}));
    }
};

QTEST_GUILESS_MAIN(tst_SSUserInfoHelperLocal)
#include "tst_SSUserInfoHelperLocal.moc"
