#include "directory/SSUserInfo.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSUserInfo : public QObject
{
    Q_OBJECT

    static void addRecord(const DirectoryFixture &f, const QStringList &domains,
                          const QStringList &identifiers)
    {
        FakeDirectory::add(f.directory->users, {{Attribute::Account, {u"jdoe"_s}},
                                                {Attribute::NTDomain, domains},
                                                {Attribute::GUID, identifiers}});
    }

private Q_SLOTS:
    void withoutANameNothingIsAsked()
    {
        const DirectoryFixture f;
        const SSUserInfo info{QString()};
        QVERIFY(f.directory->calls.isEmpty());
        QCOMPARE(f.lines(), QStringList{u"[Info]: UserInfo: Object is not initialized"_s});
    }

    void aUserThatIsNotFoundHasNoIdentifierAndNoDomains()
    {
        const DirectoryFixture f;
        const SSUserInfo info(u"jdoe"_s);
        QCOMPARE(info.sAMAccountName(), u"jdoe"_s);
        QVERIFY(!info.uid());
        QVERIFY(!info.userUID());
        QVERIFY(!info.domains());
    }

    void oneRecord()
    {
        const DirectoryFixture f;
        addRecord(f, {u"CORP"_s}, {u"11111111-2222-3333-4444-555555555555"_s});
        const SSUserInfo info(u"jdoe"_s);
        QCOMPARE(info.uid(), std::optional(u"11111111-2222-3333-4444-555555555555"_s));
        QCOMPARE(info.userUID(), info.uid());
        QCOMPARE(info.domains(), std::optional(QStringList{u"CORP"_s}));
        QVERIFY(f.lines().isEmpty());
    }

    void domainsThatDifferOnlyInCaseAreOneAsFirstSpelled()
    {
        const DirectoryFixture f;
        addRecord(f, {u"corp"_s}, {});
        addRecord(f, {u"CORP"_s}, {});
        const SSUserInfo info(u"jdoe"_s);
        QCOMPARE(info.domains(), std::optional(QStringList{u"corp"_s}));
        QVERIFY(f.lines().isEmpty());
    }

    void severalValuesAreLogged()
    {
        const DirectoryFixture f;
        addRecord(f, {u"SALES"_s, u"corp"_s}, {u"A"_s, u"B"_s});
        addRecord(f, {}, {u"a"_s});
        addRecord(f, {}, {});
        addRecord(f, {u"HR"_s}, {u"C"_s});
        const SSUserInfo info(u"jdoe"_s);
        QCOMPARE(info.uid(), std::optional(u"A"_s));
        QCOMPARE(
            f.lines(),
            (QStringList{
                u"[Info]: UserInfo: User 'jdoe' has several domain name values: "
                "(\n    SALES,\n    corp\n)"_s,
                u"[Info]: UserInfo: User 'jdoe' has several UUID values: (\n    A,\n    B\n)"_s,
                u"[Info]: UserInfo: User 'jdoe' with UUID: A has another UUID: C"_s,
                u"[Info]: There are several domains:(\n    SALES,\n    corp,\n    HR\n) for the "
                "user:jdoe"_s}));
    }

    void whatIsNotFoundAgainStays()
    {
        const DirectoryFixture f;
        addRecord(f, {u"CORP"_s}, {u"A"_s});
        SSUserInfo info(u"jdoe"_s);
        f.directory->users.records.clear();
        info.retreiveUserInformation();
        QCOMPARE(info.uid(), std::optional(u"A"_s));
        QCOMPARE(info.domains(), std::optional(QStringList{u"CORP"_s}));
    }

    void preferredDomain_data()
    {
        QTest::addColumn<std::optional<QString>>("location");
        QTest::addColumn<std::optional<QString>>("expected");
        const auto none = std::optional<QString>();
        QTest::newRow("full") << std::optional(u"/Active Directory/CORP/All Domains"_s)
                              << std::optional(u"CORP"_s);
        QTest::newRow("three") << std::optional(u"/Active Directory/CORP"_s)
                               << std::optional(u"CORP"_s);
        QTest::newRow("two components") << std::optional(u"/Active Directory"_s) << none;
        QTest::newRow("empty") << std::optional(QString()) << none;
        QTest::newRow("none") << none << none;
    }
    void preferredDomain()
    {
        QFETCH(std::optional<QString>, location);
        QFETCH(std::optional<QString>, expected);
        QCOMPARE(SSUserInfo::preferredDomainFromAppleMetaNodeLocation(location), expected);
    }

    void domainForALocation_data()
    {
        QTest::addColumn<QStringList>("domains");
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("expected");
        const QStringList two{u"SALES"_s, u"corp"_s};
        QTest::newRow("the location's")
            << two << u"/Active Directory/SALES/All Domains"_s << u"SALES"_s;
        QTest::newRow("the location's, ignoring case")
            << two << u"/Active Directory/sales/All Domains"_s << u"SALES"_s;
        QTest::newRow("another: the smallest")
            << two << u"/Active Directory/HR/All Domains"_s << u"corp"_s;
        QTest::newRow("no location: the smallest") << two << QString() << u"corp"_s;
        QTest::newRow("the first of equal ones")
            << QStringList{u"x"_s, u"Corp"_s, u"corp"_s} << QString() << u"Corp"_s;
    }
    void domainForALocation()
    {
        QFETCH(QStringList, domains);
        QFETCH(QString, location);
        QFETCH(QString, expected);
        const DirectoryFixture f;
        SSUserInfo info(u"jdoe"_s);
        info.setDomains(domains);
        QCOMPARE(info.domainNameWithAppleMetaNodeLocation(location), std::optional(expected));
        QCOMPARE(info.legacyLogonNameWithAppleMetaNodeLocation(location),
                 QString(expected + u"\\jdoe"_s));
    }

    void withoutDomainsTheLogonNameIsTheBareName()
    {
        const DirectoryFixture f;
        SSUserInfo info(u"jdoe"_s);
        const auto location = std::optional(u"/Active Directory/CORP/All Domains"_s);
        QVERIFY(!info.domainNameWithAppleMetaNodeLocation(location));
        QCOMPARE(info.legacyLogonNameWithAppleMetaNodeLocation(location), u"jdoe"_s);
        info.setDomains(QStringList());
        QVERIFY(!info.domainNameWithAppleMetaNodeLocation(location));
    }

    void setters()
    {
        const DirectoryFixture f;
        SSUserInfo info(u"jdoe"_s);
        info.setSAMAccountName(u"other"_s);
        info.setUid(u"X"_s);
        QCOMPARE(info.sAMAccountName(), u"other"_s);
        QCOMPARE(info.userUID(), std::optional(u"X"_s));
    }
};

QTEST_GUILESS_MAIN(tst_SSUserInfo)
#include "tst_SSUserInfo.moc"
