#include "directory/SSMobileUsersInfo.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSMobileUsersInfo : public QObject
{
    Q_OBJECT

    static void addUser(const DirectoryFixture &f, const QStringList &names,
                        const QStringList &nodes)
    {
        FakeDirectory::add(f.directory->localUsers,
                           {{Attribute::RecordName, names}, {Attribute::OriginalNode, nodes}});
    }
    /// The last lines, without what the search itself logs.
    static QStringList ownLines(const DirectoryFixture &f)
    {
        return f.lines().filter(u": MobileUsersInfo: "_s);
    }

private Q_SLOTS:
    void namesAtTheirDomains()
    {
        const DirectoryFixture f;
        addUser(f, {u"jdoe"_s}, {u"/Active Directory/CORP/corp.example.test"_s});
        addUser(f, {u"ann"_s}, {u"/Active Directory/HR/hr.example.test"_s});
        QCOMPARE(SSMobileUsersInfo::retreiveMobileUsers(),
                 (QStringList{u"jdoe@corp.example.test"_s, u"ann@hr.example.test"_s}));
        QVERIFY(f.lines().isEmpty());
    }

    void aFailedSearchGivesAnEmptyList()
    {
        const DirectoryFixture f;
        f.directory->localUsers.error = u"down"_s;
        QVERIFY(SSMobileUsersInfo::retreiveMobileUsers().isEmpty());
    }

    void aNodeNameOfTooFewComponentsIsLoggedAndSkipped()
    {
        const DirectoryFixture f;
        addUser(f, {u"jdoe"_s}, {u"/Local"_s});
        QVERIFY(SSMobileUsersInfo::retreiveMobileUsers().isEmpty());
        QStringList lines = ownLines(f);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith(
                     u"[Info]: MobileUsersInfo: User has invalid original node name: /Local "
                     "values: (\n"_s),
                 qPrintable(lines.first()));
    }

    void aNodeNameOfTooManyComponentsIsLoggedAndUsed()
    {
        const DirectoryFixture f;
        addUser(f, {u"jdoe"_s}, {u"/a/b/c/d"_s});
        QCOMPARE(SSMobileUsersInfo::retreiveMobileUsers(), QStringList{u"jdoe@c"_s});
        QCOMPARE(ownLines(f).size(), 1);
    }

    void anEmptyDomainIsAnInvalidNodeName()
    {
        const DirectoryFixture f;
        addUser(f, {u"jdoe"_s}, {u"/a/b/"_s});
        QVERIFY(SSMobileUsersInfo::retreiveMobileUsers().isEmpty());
        QCOMPARE(ownLines(f).size(), 1);
        f.fake.log->clear();
        f.directory->localUsers.records.clear();
        addUser(f, {u"jdoe"_s}, {u"/a/b//"_s}); // and of too many components: twice
        QVERIFY(SSMobileUsersInfo::retreiveMobileUsers().isEmpty());
        QCOMPARE(ownLines(f).size(), 2);
    }

    void severalValuesAreLoggedWithTheWholeList()
    {
        const DirectoryFixture f;
        addUser(f, {u"a"_s, QString(), u"b"_s}, {u"/x/y/z"_s, u"/x/y/w"_s});
        QCOMPARE(SSMobileUsersInfo::retreiveMobileUsers(),
                 (QStringList{u"a@z"_s, u"b@z"_s, u"a@w"_s, u"b@w"_s}));
        const QStringList lines = ownLines(f);
        QCOMPARE(lines.size(), 4);
        QVERIFY(lines.at(0).startsWith(
            u"[Info]: MobileUsersInfo: User has several record name values: (\n"_s));
        QVERIFY(lines.at(1).startsWith(
            u"[Info]: MobileUsersInfo: User has several original node name values: (\n"_s));
        QVERIFY(
            lines.at(2).startsWith(u"[Info]: MobileUsersInfo: User record name is empty: (\n"_s));
        for (const QString &line : lines)
            QVERIFY(line.contains(u"\"dsAttrTypeStandard:OriginalNodeName\" = (\n"_s));
    }

    void admin_aMemberOfTheGroup()
    {
        const DirectoryFixture f;
        f.fake.identity->users = {{u"jdoe"_s, 1000}, {u"ann"_s, 1001}};
        f.fake.identity->groups = {{u"admin"_s, 80}};
        f.fake.identity->memberships = {{1000, 80}};
        QVERIFY(SSMobileUsersInfo::isAdminUser(u"jdoe"_s));
        QVERIFY(!SSMobileUsersInfo::isAdminUser(u"ann"_s));
        QVERIFY(f.lines().isEmpty());
    }

    void admin_theFirstOfSeveralCounts()
    {
        const DirectoryFixture f;
        f.fake.identity->users = {{u"jdoe"_s, 1}, {u"jdoe"_s, 2}};
        f.fake.identity->groups = {{u"admin"_s, 80}, {u"admin"_s, 81}};
        f.fake.identity->memberships = {{2, 80}, {1, 81}};
        QVERIFY(!SSMobileUsersInfo::isAdminUser(u"jdoe"_s));
    }

    void admin_failures()
    {
        const DirectoryFixture f;
        QVERIFY(!SSMobileUsersInfo::isAdminUser(u"jdoe"_s));
        f.fake.identity->users = {{u"jdoe"_s, 1000}};
        QVERIFY(!SSMobileUsersInfo::isAdminUser(u"jdoe"_s));
        f.fake.identity->groupError = u"no groups"_s;
        QVERIFY(!SSMobileUsersInfo::isAdminUser(u"jdoe"_s));
        f.fake.identity->userError = u"no users"_s;
        QVERIFY(!SSMobileUsersInfo::isAdminUser(u"jdoe"_s));
        QCOMPARE(f.lines(),
                 (QStringList{u"[Error]: Users array for user 'jdoe' is invalid: (\n)"_s,
                              u"[Error]: Groups array is invalid: (\n)"_s,
                              u"[Error]: Unable query user 'jdoe' athority. Error: no groups"_s,
                              u"[Error]: Unable query user 'jdoe' athority. Error: no users"_s}));
    }
};

QTEST_GUILESS_MAIN(tst_SSMobileUsersInfo)
#include "tst_SSMobileUsersInfo.moc"
