#include "tests/integration/directory/contract/DirectoryContract.h"

#include <QTest>

#include <utility>

namespace {

const QString Service = QStringLiteral("1.3.6.1.4.1.32473.2.3.1");
const QString Keywords = QStringLiteral("keywords");
const QString DnsName = QStringLiteral("serviceDNSName");
const QString ObjectClass = QStringLiteral("objectClass");
const QString AccountName = QStringLiteral("sAMAccountName");
const QString RecordName = QStringLiteral("dsAttrTypeStandard:RecordName");
const QString Guid = QStringLiteral("dsAttrTypeStandard:GeneratedUID");
const QString NTDomain = QStringLiteral("dsAttrTypeStandard:PrimaryNTDomain");
const QString NodeLocation = QStringLiteral("dsAttrTypeStandard:AppleMetaNodeLocation");

DirectoryQuery keywordQuery(const QString &value)
{
    DirectoryQuery query;
    query.recordType = DirectoryRecordType::FileMakerServers;
    query.attribute = Keywords;
    query.value = value;
    query.returnAttributes = {Keywords, DnsName, ObjectClass};
    return query;
}

DirectoryQuery userQuery(const QString &attribute, const QString &value)
{
    DirectoryQuery query;
    query.recordType = DirectoryRecordType::Users;
    query.attribute = attribute;
    query.value = value;
    query.returnAttributes = {RecordName, Guid, NTDomain, AccountName};
    return query;
}

/// The details of all records, or what went wrong.
Result<QList<DirectoryDetails>, QString> answer(DirectoryNode &node, const DirectoryQuery &query)
{
    const auto records = node.query(query);
    if (!records.ok())
        return Failure{records.error().localizedDescription};
    QList<DirectoryDetails> all;
    for (const auto &record : records.value()) {
        const auto details = record->details();
        if (!details.ok())
            return Failure{details.error().localizedDescription};
        all.append(details.value());
    }
    return all;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

DirectoryDetails withDnsName(const QList<DirectoryDetails> &all, const QString &name)
{
    for (const DirectoryDetails &details : all) {
        if (details.value(DnsName).value(0) == name)
            return details;
    }
    return {};
}

#define ANSWER(name, query)                                                                        \
    const auto name##Result = answer(*m_node, query);                                              \
    QVERIFY2(name##Result.ok(), name##Result.ok() ? "" : qPrintable(name##Result.error()));        \
    const QList<DirectoryDetails> &name = name##Result.value()

} // namespace

DirectoryContract::DirectoryContract(MakeNode makeNode) : m_makeNode(std::move(makeNode)) {}

void DirectoryContract::init()
{
    m_node = m_makeNode();
    QVERIFY(m_node);
}

void DirectoryContract::everyConnectionPointOfTheServiceIsFound()
{
    ANSWER(found, keywordQuery(Service));
    QStringList names;
    for (const DirectoryDetails &details : found)
        names.append(details.value(DnsName).value(0, QStringLiteral("-")));
    const QStringList expected{QStringLiteral("-"),
                               QStringLiteral("Alpha.corp.example.test"),
                               QStringLiteral("beta.corp.example.test"),
                               QStringLiteral("low.corp.example.test"),
                               QStringLiteral("numbered.corp.example.test"),
                               QStringLiteral("off.corp.example.test")};
    QCOMPARE(sorted(names), expected);
}

void DirectoryContract::connectionPointsCarryTheirKeywordsAndNodeLocation()
{
    ANSWER(found, keywordQuery(Service));
    const DirectoryDetails details = withDnsName(found, QStringLiteral("beta.corp.example.test"));
    const QStringList keywords{
        QStringLiteral("1.3.6.1.4.1.32473.2.3.1"),
        QStringLiteral("EnrollSysNotification.Enabled=1"),
        QStringLiteral("EnrollSysNotification.Url=http://beta.corp.example.test/enroll"),
        QStringLiteral("WinlogonResetPassword.Enabled=1"),
        QStringLiteral("WinlogonResetPassword.SettingsPriority=10"),
        QStringLiteral("WinlogonResetPassword.WebUiUrl=http://beta.corp.example.test/reset?a=b")};
    QCOMPARE(sorted(details.value(Keywords)), keywords);
    const QStringList classes{QStringLiteral("top"), QStringLiteral("leaf"),
                              QStringLiteral("connectionPoint"),
                              QStringLiteral("serviceConnectionPoint")};
    QCOMPARE(details.value(ObjectClass), classes);
    QCOMPARE(details.value(NodeLocation),
             QStringList{QStringLiteral("/Active Directory/CORP/All Domains")});
}

void DirectoryContract::aConnectionPointMayHaveNoDnsName()
{
    ANSWER(found, keywordQuery(Service));
    int without = 0;
    for (const DirectoryDetails &details : found) {
        if (details.contains(DnsName))
            continue;
        ++without;
        QVERIFY(
            details.value(Keywords).contains(QStringLiteral("WinlogonResetPassword.Enabled=1")));
    }
    QCOMPARE(without, 1);
}

void DirectoryContract::numberedKeywordsAndTextAreReadWhole()
{
    ANSWER(found, keywordQuery(Service));
    const QStringList keywords =
        withDnsName(found, QStringLiteral("numbered.corp.example.test")).value(Keywords);
    QCOMPARE(keywords.size(), 5);
    const QString first = QStringLiteral("ConfigurationSet.Key:0=");
    QVERIFY(keywords.contains(first + QString(256 - first.size(), u'A')));
    QVERIFY(keywords.contains(
        QStringLiteral("ConfigurationSet.Key:1=BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB")));
    QVERIFY(keywords.contains(QString::fromUtf8("EnrollSysNotification.Title=Größe = 10 €")));
}

void DirectoryContract::keywordsAreComparedAsAWhole()
{
    ANSWER(other, keywordQuery(QStringLiteral("1.3.6.1.4.1.32473.2.3.17")));
    QCOMPARE(other.size(), 1);
    QCOMPARE(other.first().value(DnsName), QStringList{QStringLiteral("other.corp.example.test")});
    ANSWER(none, keywordQuery(QStringLiteral("1.3.6.1.4.1.32473.2.3")));
    QCOMPARE(none.size(), 0);
}

void DirectoryContract::onlyServiceConnectionPointsAreFound()
{
    ANSWER(found, keywordQuery(Service));
    QCOMPARE(found.size(), 6);
    for (const DirectoryDetails &details : found)
        QVERIFY(details.value(ObjectClass).contains(QStringLiteral("serviceConnectionPoint")));
}

void DirectoryContract::metacharactersInAKeywordStandForThemselves()
{
    ANSWER(found, keywordQuery(QStringLiteral("odd*(value)\\here")));
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().value(DnsName), QStringList{QStringLiteral("other.corp.example.test")});
    ANSWER(none, keywordQuery(QStringLiteral("*")));
    QCOMPARE(none.size(), 0);
}

void DirectoryContract::aUserIsFoundByName_data()
{
    QTest::addColumn<QString>("attribute");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    for (const QString &attribute : {RecordName, AccountName}) {
        const auto row = [&](const char *title) -> QTestData & {
            return QTest::addRow("%s by %s", title, qPrintable(attribute)) << attribute;
        };
        row("as stored") << QStringLiteral("jdoe") << QStringLiteral("jdoe");
        row("upper case") << QStringLiteral("JDOE") << QStringLiteral("jdoe");
        row("lower case") << QStringLiteral("jsmith") << QStringLiteral("JSmith");
        row("brackets") << QStringLiteral("pat(odd)") << QStringLiteral("pat(odd)");
    }
}

void DirectoryContract::aUserIsFoundByName()
{
    QFETCH(QString, attribute);
    QFETCH(QString, name);
    QFETCH(QString, expected);
    ANSWER(found, userQuery(attribute, name));
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().value(AccountName), QStringList{expected});
    QCOMPARE(found.first().value(RecordName), QStringList{expected});
}

void DirectoryContract::aUserCarriesHisIdentity()
{
    ANSWER(found, userQuery(RecordName, QStringLiteral("jdoe")));
    QCOMPARE(found.size(), 1);
    const DirectoryDetails &details = found.first();
    QCOMPARE(details.value(Guid),
             QStringList{QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF")});
    QCOMPARE(details.value(NTDomain), QStringList{QStringLiteral("CORP")});
    QCOMPARE(details.value(NodeLocation),
             QStringList{QStringLiteral("/Active Directory/CORP/All Domains")});
}

void DirectoryContract::unknownUsersGiveAnEmptyAnswer_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("unknown") << QStringLiteral("nobody.known");
    QTest::newRow("empty") << QString();
    QTest::newRow("everybody") << QStringLiteral("*");
    QTest::newRow("beginning") << QStringLiteral("jd*");
    QTest::newRow("second filter") << QStringLiteral("x)(sAMAccountName=jdoe");
    QTest::newRow("or filter") << QStringLiteral("x))(|(sAMAccountName=*");
    QTest::newRow("backslash") << QStringLiteral("j\\64oe");
    QTest::newRow("zero character behind a name") << QStringLiteral("jdoe") + QChar(0);
    QTest::newRow("zero character within")
        << QStringLiteral("jd") + QChar(0) + QStringLiteral("oe");
    QTest::newRow("a computer") << QStringLiteral("PC1$");
    QTest::newRow("not ASCII") << QString::fromUtf8("jdöe");
}

void DirectoryContract::unknownUsersGiveAnEmptyAnswer()
{
    QFETCH(QString, name);
    ANSWER(byRecord, userQuery(RecordName, name));
    QCOMPARE(byRecord.size(), 0);
    ANSWER(byAccount, userQuery(AccountName, name));
    QCOMPARE(byAccount.size(), 0);
}

void DirectoryContract::aNumberOfResultsIsALimit()
{
    DirectoryQuery query = keywordQuery(Service);
    query.maximumResults = 2;
    ANSWER(found, query);
    QCOMPARE(found.size(), 2);
}
