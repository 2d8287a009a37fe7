#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// Searching for the connection points and choosing one.
class tst_SSConnectionPointHelper : public QObject
{
    Q_OBJECT

    static DirectoryDetails point(const QString &dnsName, QStringList keywords = {})
    {
        keywords.prepend(u"WinlogonResetPassword.Enabled=1"_s);
        keywords.prepend(SSConnectionPointHelper::serviceOID());
        return {{Attribute::Keywords, keywords},
                {Attribute::ObjectClass, {u"top"_s, u"serviceConnectionPoint"_s}},
                {Attribute::DnsName, {dnsName}},
                {Attribute::Location, {u"/Active Directory/CORP/All Domains"_s}}};
    }
    static QString priority(int value)
    {
        return u"WinlogonResetPassword.SettingsPriority=%1"_s.arg(value);
    }
    static std::shared_ptr<FakeDirectoryRecord> add(const DirectoryFixture &f,
                                                    const DirectoryDetails &details)
    {
        return FakeDirectory::add(f.directory->connectionPoints, details);
    }
    /// The mark that the chosen connection point carries as its keyword "Mark".
    static QString chosen()
    {
        const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
        return keywords ? keywords->valueForKey(u"Mark"_s).value_or(u"unmarked"_s) : u"none"_s;
    }

private Q_SLOTS:
    void theQueryAsksForTheIdentifierOnly()
    {
        const DirectoryFixture f;
        QVERIFY(!SSConnectionPointHelper::getConnectionPointKeywords());
        QCOMPARE(f.directory->calls.size(), 1);
        const auto &call = f.directory->calls.first();
        QCOMPARE(call.nodeType, std::optional<quint32>(0x2201));
        QCOMPARE(call.query.recordType, DirectoryRecordType::FileMakerServers);
        QCOMPARE(call.query.attribute, Attribute::Keywords);
        QCOMPARE(call.query.matchType, 0x2001U);
        QCOMPARE(call.query.value, SSConnectionPointHelper::serviceOID());
        QCOMPARE(call.query.returnAttributes,
                 (QStringList{Attribute::Keywords, Attribute::DnsName, Attribute::ObjectClass}));
    }

    void theIdentifierIsThatOfTheBuild()
    {
        QCOMPARE(SSConnectionPointHelper::serviceOID(), QStringLiteral(TEST_SERVICE_OID));
    }

    void logOfAChoice()
    {
        const DirectoryFixture f;
        add(f, {{Attribute::Keywords,
                 {SSConnectionPointHelper::serviceOID(), u"WinlogonResetPassword.Enabled=0"_s}},
                {Attribute::ObjectClass, {u"serviceConnectionPoint"_s}},
                {Attribute::DnsName, {u"dns"_s}},
                {Attribute::Location, {u"/Active Directory/CORP/All Domains"_s}}});
        const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
        QVERIFY(keywords);
        QCOMPARE(keywords->appleMetaNodeLocation(),
                 std::optional(u"/Active Directory/CORP/All Domains"_s));
        QCOMPARE(keywords->data().size(), 2);
        const QString dictionary = u"{\n    \""_s + SSConnectionPointHelper::serviceOID() +
                                   u"\" = \"\";\n    \"WinlogonResetPassword.Enabled\" = 0;\n}"_s;
        const QString function = u"+[SSConnectionPointHelper getConnectionPointKeywords]"_s;
        QCOMPARE(f.fake.log->lines(),
                 (QStringList{u"[Debug]: >> "_s + function + u" started"_s,
                              u"[Info]: Result objects found: 1"_s,
                              u"[Info]: Connection points found: 1"_s, u"[Info]: "_s + dictionary,
                              u"[Info]: Selected service: "_s + dictionary,
                              u"[Debug]: >> "_s + function + u" ended"_s}));
    }

    void aFailedSearch()
    {
        const DirectoryFixture f;
        f.directory->connectionPoints.error = u"no server answered"_s;
        QVERIFY(!SSConnectionPointHelper::getConnectionPointKeywords());
        QCOMPARE(f.lines(), (QStringList{u"[Info]: Result objects found: 0"_s,
                                         u"[Error]: Unable process open directory search request: "
                                         "no server answered"_s}));
    }

    void noAnswerAtAll()
    {
        const DirectoryFixture f;
        f.directory->nodeAbsent = true;
        QVERIFY(!SSConnectionPointHelper::getConnectionPointKeywords());
        QCOMPARE(f.lines(),
                 (QStringList{u"[Info]: Result objects found: 0"_s,
                              u"[Error]: Unable process open directory search request: (null)"_s}));
    }

    void noConnectionPoint()
    {
        const DirectoryFixture f;
        QVERIFY(!SSConnectionPointHelper::getConnectionPointKeywords());
        QCOMPARE(f.lines(), (QStringList{u"[Info]: Result objects found: 0"_s,
                                         u"[Info]: Connection points found: 0"_s}));
    }

    void theHigherPriorityWinsInEitherOrder()
    {
        for (const bool highFirst : {true, false}) {
            const DirectoryFixture f;
            const DirectoryDetails high = point(u"z"_s, {priority(10), u"Mark=10"_s});
            const DirectoryDetails low = point(u"a"_s, {priority(5), u"Mark=5"_s});
            add(f, highFirst ? high : low);
            add(f, highFirst ? low : high);
            QCOMPARE(chosen(), u"10"_s);
        }
    }

    void atEqualPriorityTheSmallerDnsNameWinsIgnoringCase()
    {
        const DirectoryFixture f;
        add(f, point(u"beta"_s, {priority(5), u"Mark=beta"_s}));
        add(f, point(u"Alpha"_s, {priority(5), u"Mark=Alpha"_s}));
        QCOMPARE(chosen(), u"Alpha"_s);
    }

    void atEqualNamesTheFirstStays()
    {
        const DirectoryFixture f;
        add(f, point(u"alpha"_s, {u"Mark=first"_s}));
        add(f, point(u"ALPHA"_s, {u"Mark=second"_s}));
        QCOMPARE(chosen(), u"first"_s);
    }

    void anAbsentPriorityIsZero()
    {
        {
            const DirectoryFixture f;
            add(f, point(u"a"_s, {u"Mark=absent"_s}));
            add(f, point(u"b"_s, {priority(1), u"Mark=one"_s}));
            QCOMPARE(chosen(), u"one"_s);
        }
        const DirectoryFixture f;
        add(f, point(u"a"_s, {priority(-1), u"Mark=negative"_s}));
        add(f, point(u"b"_s, {u"Mark=absent"_s}));
        QCOMPARE(chosen(), u"absent"_s);
    }

    void withoutEnabledInAnyFormItIsIgnored()
    {
        const DirectoryFixture f;
        DirectoryDetails without = point(u"a"_s, {priority(9)});
        without[Attribute::Keywords].removeAll(u"WinlogonResetPassword.Enabled=1"_s);
        add(f, without);
        QCOMPARE(chosen(), u"none"_s);
        DirectoryDetails off = without;
        off[Attribute::Keywords].append({u"WinlogonResetPassword.Enabled=0"_s, u"Mark=off"_s});
        add(f, off);
        QCOMPARE(chosen(), u"off"_s);
    }

    void whatIsNoConnectionPointOfTheServiceIsDroppedSilently()
    {
        const DirectoryFixture f;
        DirectoryDetails otherClass = point(u"a"_s);
        otherClass[Attribute::ObjectClass] = {u"serviceconnectionpoint"_s};
        add(f, otherClass);
        DirectoryDetails otherIdentifier = point(u"a"_s);
        otherIdentifier[Attribute::Keywords] = {SSConnectionPointHelper::serviceOID() + u"=1"_s,
                                                u"WinlogonResetPassword.Enabled=1"_s};
        add(f, otherIdentifier);
        QCOMPARE(chosen(), u"none"_s);
        QCOMPARE(f.lines(), (QStringList{u"[Info]: Result objects found: 2"_s,
                                         u"[Info]: Connection points found: 0"_s}));
    }

    void withoutADnsNameItIsIgnoredWithoutALine()
    {
        const DirectoryFixture f;
        DirectoryDetails absent = point(u"a"_s);
        absent.remove(Attribute::DnsName);
        add(f, absent);
        DirectoryDetails empty = point(u"a"_s);
        empty[Attribute::DnsName].clear();
        add(f, empty);
        QCOMPARE(chosen(), u"none"_s);
        QCOMPARE(f.lines(), (QStringList{u"[Info]: Result objects found: 2"_s,
                                         u"[Info]: Connection points found: 0"_s}));
    }

    void oddCountsAreLoggedAndTheFirstTaken()
    {
        const DirectoryFixture f;
        DirectoryDetails details = point(u"a"_s);
        details[Attribute::DnsName] = {u"first"_s, u"second"_s};
        details[Attribute::Location] = {u"/l/1"_s, u"/l/2"_s, u"/l/3"_s};
        const auto record = add(f, details);
        record->name = u"CN=point"_s;
        const auto services = SSConnectionPointHelper::parseResult(
            f.directory->connectionPoints.records, SSValidationCondition::List());
        QCOMPARE(services->size(), 1);
        QCOMPARE(services->first()->serviceDnsName(), u"first"_s);
        QCOMPARE(services->first()->appleMetaNodeLocation(), std::optional(u"/l/1"_s));
        QCOMPARE(
            f.lines(),
            (QStringList{u"[Info]: 'serviceDNSName' attribute has 2 values for record: CN=point."_s,
                         u"[Info]: 'dsAttrTypeStandard::AppleMetaNodeLocation' attribute has 3 "
                         "values for record: CN=point."_s}));
    }

    void withoutANodeLocationItHasNone()
    {
        const DirectoryFixture f;
        DirectoryDetails details = point(u"a"_s);
        details.remove(Attribute::Location);
        add(f, details);
        const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
        QVERIFY(keywords);
        QVERIFY(!keywords->appleMetaNodeLocation());
        QCOMPARE(f.lines().at(1), u"[Info]: 'dsAttrTypeStandard::AppleMetaNodeLocation' attribute "
                                  "has 0 values for record: CN=record."_s);
    }

    void withoutKeywordsItIsDroppedWithALine()
    {
        const DirectoryFixture f;
        DirectoryDetails details = point(u"a"_s);
        details.remove(Attribute::Keywords);
        add(f, details)->name = u"CN=bare"_s;
        QVERIFY(!SSConnectionPointHelper::parseResult(f.directory->connectionPoints.records,
                                                      SSValidationCondition::List()));
        QCOMPARE(f.lines(),
                 QStringList{u"[Error]: 'keywords' attribute is absent for record: CN=bare."_s});
    }

    void aRecordThatCannotBeReadDoesNotSpoilTheNext()
    {
        const DirectoryFixture f;
        const auto failing = add(f, point(u"a"_s));
        failing->name = u"CN=failing"_s;
        failing->detailsError = u"gone"_s;
        add(f, {})->name = u"CN=empty"_s;
        add(f, point(u"b"_s, {u"Mark=good"_s}));
        QCOMPARE(chosen(), u"good"_s);
        QCOMPARE(
            f.lines().mid(0, 4),
            (QStringList{u"[Info]: Result objects found: 3"_s,
                         u"[Error]: Unable get attributes from record: CN=failing. Error: gone"_s,
                         u"[Error]: Unable get attributes from record: CN=empty. Error: (null)"_s,
                         u"[Info]: Connection points found: 1"_s}));
    }

    void aKeywordWithoutAnEqualsSignIsABareName()
    {
        const DirectoryFixture f;
        add(f, point(u"a"_s, {u"X"_s}));
        const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
        QCOMPARE(keywords->data().value(u"X"_s, u"absent"_s), u""_s);
    }

    void whatTheChoiceRestsOnCanBeTold()
    {
        using Helper = SSConnectionPointHelper;
        SSConnectionService best(u"b"_s, std::nullopt);
        best.addKeywordFromRawValue(priority(5));
        const auto compared = [&](const QString &dnsName, int value) {
            SSConnectionService other(dnsName, std::nullopt);
            other.addKeywordFromRawValue(priority(value));
            return Helper::compareConnectionPoints(best, other);
        };
        QCOMPARE(compared(u"a"_s, 4).candidateWins, false);
        QCOMPARE(compared(u"a"_s, 4).preference, SSConnectionPointPreference::Priority);
        QCOMPARE(compared(u"c"_s, 6).candidateWins, true);
        QCOMPARE(compared(u"c"_s, 6).preference, SSConnectionPointPreference::Priority);
        QCOMPARE(compared(u"A"_s, 5).candidateWins, true);
        QCOMPARE(compared(u"A"_s, 5).preference, SSConnectionPointPreference::DnsName);
        QCOMPARE(compared(u"C"_s, 5).candidateWins, false);
        QCOMPARE(compared(u"C"_s, 5).preference, SSConnectionPointPreference::DnsName);
        QCOMPARE(compared(u"B"_s, 5).candidateWins, false);
        QCOMPARE(compared(u"B"_s, 5).preference, SSConnectionPointPreference::Order);
    }

    void noneOfNone()
    {
        const DirectoryFixture f;
        QVERIFY(!SSConnectionPointHelper::chooseConnectionPoint({}));
        QVERIFY(f.lines().isEmpty());
    }

    void amongTenThousandEveryRecordIsReadOnce()
    {
        const DirectoryFixture f;
        SSLogger::sharedInstance()->setLogLevel(0);
        QStringList keywords;
        for (int i = 0; i < 58; ++i)
            keywords.append(u"Some.Keyword.Number%1=a value of some length"_s.arg(i));
        QList<std::shared_ptr<FakeDirectoryRecord>> records;
        for (int i = 0; i < 10000; ++i) {
            QStringList own = keywords;
            own.append({priority(i == 7321 ? 1 : 0), u"Mark=%1"_s.arg(i)});
            records.append(add(f, point(u"dns%1"_s.arg(i), own)));
        }
        QCOMPARE(chosen(), u"7321"_s);
        for (const auto &record : records)
            QCOMPARE(record->detailsRead, 1);
        QVERIFY(f.fake.log->rawLines().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_SSConnectionPointHelper)
#include "tst_SSConnectionPointHelper.moc"
