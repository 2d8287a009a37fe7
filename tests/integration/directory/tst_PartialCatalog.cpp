#include "platform/linux/directory/ActiveDirectoryNode.h"
#include "tests/integration/directory/DirectoryQuestions.h"
#include "tests/integration/directory/PartialCatalog.h"
#include "tests/integration/directory/SambaEnvironment.h"
#include "tests/integration/directory/TestRelay.h"
#include "tests/integration/directory/contract/DirectoryContract.h"

#include <QCoreApplication>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>

using namespace DirectoryQuestions;

namespace {

constexpr char RelayAddress[] = "10.53.0.3";
constexpr quint16 CatalogPort = 3268;
const QString RelayHost = QStringLiteral("gc1.corp.example.test");
const QString Password = QStringLiteral("Pass-w0rd-jdoe");

/// Unprotected, so that the relay can read along.
DirectorySettings readableSettings(const QTemporaryDir &folder)
{
    DirectorySettings settings = SambaEnvironment::simpleSettings(Password, folder);
    settings.tls = DirectorySettings::Tls::Off;
    settings.allowUnprotected = true;
    return settings;
}

/// The names of an entry's attributes and how many values each has.
using Attributes = QMap<QString, int>;

/// What ldapsearch gets from a catalog; by the names of the entries.
std::optional<QMap<QString, Attributes>> search(const QString &host, const QString &base,
                                                const QString &scope, const QString &filter,
                                                const QStringList &attributes)
{
    const QString output = SambaEnvironment::run(
        QStringLiteral("ldapsearch"),
        QStringList{QStringLiteral("-LLL"), QStringLiteral("-o"), QStringLiteral("ldif-wrap=no"),
                    QStringLiteral("-x"), QStringLiteral("-D"),
                    QStringLiteral("CN=John Doe,CN=Users,DC=corp,DC=example,DC=test"),
                    QStringLiteral("-w"), Password, QStringLiteral("-H"),
                    QStringLiteral("ldap://%1:%2").arg(host).arg(CatalogPort), QStringLiteral("-b"),
                    base, QStringLiteral("-s"), scope, filter} +
            attributes);
    if (output.isNull())
        return std::nullopt;
    QMap<QString, Attributes> entries;
    QString name;
    for (const QString &line : output.split(u'\n')) {
        const qsizetype colon = line.indexOf(u':');
        if (colon < 1 || line.startsWith(u'#'))
            continue;
        const QString key = line.first(colon);
        if (key == QLatin1String("dn")) {
            name = line.mid(colon + 2);
            entries.insert(name, {});
        } else {
            ++entries[name][key];
        }
    }
    return entries;
}

/// The details of all records by their names; empty when the query failed.
QMap<QString, DirectoryDetails> answers(DirectoryNode &node, const DirectoryQuery &query)
{
    const auto records = node.query(query);
    QMap<QString, DirectoryDetails> all;
    if (!records.ok()) {
        qWarning("error: %s", qPrintable(records.error().localizedDescription));
        return all;
    }
    for (const auto &record : records.value())
        all.insert(record->description(), record->details().value());
    return all;
}

} // namespace

/// That the relay before the catalog strips what a catalog of Active Directory lacks, and that
/// nothing is missed behind it.
class tst_PartialCatalog : public QObject
{
    Q_OBJECT
public:
    tst_PartialCatalog(const PartialCatalog &catalog, const TestRelay &relay)
        : m_catalog(catalog), m_relay(relay)
    {
    }

private Q_SLOTS:
    void init() { (void)SambaEnvironment::takeLog(); }

    void theCatalogHoldsWhatItsSchemaSays_data()
    {
        // As Microsoft's reference of the schema has it under "Is in GC".
        QTest::addColumn<bool>("isHeld");
        for (const char *name : {"keywords", "objectClass", "objectGUID", "sAMAccountName",
                                 "distinguishedName", "serviceBindingInformation", "name", "cn"})
            QTest::newRow(name) << true;
        for (const char *name : {"serviceDNSName", "serviceDNSNameType", "serviceClassName",
                                 "nETBIOSName", "nCName", "dnsRoot", "badPwdCount"})
            QTest::newRow(name) << false;
    }
    void theCatalogHoldsWhatItsSchemaSays()
    {
        QFETCH(bool, isHeld);
        QCOMPARE(m_catalog.holds(QByteArrayView(QTest::currentDataTag())), isHeld);
    }

    void theRelayStripsWhatTheCatalogLacks_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QStringList>("wanted");
        QTest::addColumn<QString>("lost");
        QTest::addColumn<QString>("kept");
        const QString domain = QStringLiteral("DC=corp,DC=example,DC=test");
        const QString point = QStringLiteral("(&(objectClass=serviceConnectionPoint)(cn=first))");
        const QString dnsName = QStringLiteral("serviceDNSName");
        const QString keywords = QStringLiteral("keywords");
        QTest::newRow("connection point")
            << QString() << point << QStringList{QStringLiteral("*")} << dnsName << keywords;
        QTest::newRow("by name") << QString() << point << QStringList{dnsName, keywords} << dnsName
                                 << keywords;
        QTest::newRow("user") << domain << QStringLiteral("(sAMAccountName=jdoe)")
                              << QStringList{QStringLiteral("*")} << QStringLiteral("badPwdCount")
                              << QStringLiteral("sAMAccountName");
        for (const char *lost : {"nETBIOSName", "nCName"})
            QTest::addRow("partition's %s", lost)
                << QStringLiteral("CN=Partitions,CN=Configuration,") + domain
                << QStringLiteral("(&(objectClass=crossRef)(cn=CORP))")
                << QStringList{QStringLiteral("*")} << QString::fromLatin1(lost)
                << QStringLiteral("objectClass");
    }
    void theRelayStripsWhatTheCatalogLacks()
    {
        QFETCH(QString, base);
        QFETCH(QString, filter);
        QFETCH(QStringList, wanted);
        QFETCH(QString, lost);
        QFETCH(QString, kept);
        const QString scope = QStringLiteral("sub");
        const auto whole = search(Host, base, scope, filter, wanted);
        const auto part = search(RelayHost, base, scope, filter, wanted);
        QVERIFY(whole);
        QVERIFY(part);
        QCOMPARE(whole->size(), 1);
        QCOMPARE(part->keys(), whole->keys());
        QVERIFY(whole->first().contains(lost));
        QVERIFY(!part->first().contains(lost));
        QVERIFY(part->first().contains(kept));
        Attributes expected = whole->first();
        expected.removeIf([this](const Attributes::iterator &attribute) {
            return !m_catalog.holds(attribute.key().toLatin1());
        });
        QCOMPARE(part->first(), expected);
    }

    void nothingIsFoundByWhatTheCatalogLacks_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("countOfWhole");
        QTest::addColumn<int>("countOfPart");
        const auto row = [](const char *filter, int countOfWhole, int countOfPart) {
            QTest::newRow(filter) << QString::fromLatin1(filter) << countOfWhole << countOfPart;
        };
        row("(serviceDNSName=beta.corp.example.test)", 1, 0);
        row("(serviceDNSName=beta.corp.*)", 1, 0);
        row("(&(cn=first)(serviceDNSName=*))", 1, 0);
        // No bit is asked for, so that every number matches.
        row("(&(sAMAccountName=jdoe)(badPwdCount:1.2.840.113556.1.4.803:=0))", 1, 0);
        row("(&(cn=first)(!(serviceDNSName=other)))", 1, 0);
        row("(|(cn=first)(serviceDNSName=Alpha.corp.example.test))", 2, 1);
        row("(&(cn=first)(!(&(cn=first)(serviceDNSName=other))))", 1, 0);
        row("(&(cn=first)(!(&(cn=other)(serviceDNSName=other))))", 1, 1);
        row("(&(cn=first)(keywords=1.3.6.1.4.1.32473.2.3.1))", 1, 1);
    }
    void nothingIsFoundByWhatTheCatalogLacks()
    {
        QFETCH(QString, filter);
        QFETCH(int, countOfWhole);
        QFETCH(int, countOfPart);
        const QString base = QStringLiteral("DC=corp,DC=example,DC=test");
        const QStringList none{QStringLiteral("1.1")};
        const auto whole = search(Host, base, QStringLiteral("sub"), filter, none);
        const auto part = search(RelayHost, base, QStringLiteral("sub"), filter, none);
        QVERIFY(whole);
        QVERIFY(part);
        QCOMPARE(whole->size(), countOfWhole);
        QCOMPARE(part->size(), countOfPart);
    }

    void theServerStillDescribesItself()
    {
        const QStringList wanted{QStringLiteral("configurationNamingContext")};
        const auto entries = search(RelayHost, QString(), QStringLiteral("base"),
                                    QStringLiteral("(objectClass=*)"), wanted);
        QVERIFY(entries);
        QCOMPARE(entries->value(QString()).keys(), wanted);
    }

    void whatTheRelayCannotReadItDoesNotPassOn()
    {
        // Under the controller's name, for its ticket.
        const TestRelay relay(Address, 0, Address, CatalogPort, m_catalog);
        DirectorySettings settings;
        settings.globalCatalogs = {{Host, relay.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        // The bind is still readable, and goes well.
        QCOMPARE(failure(*node, keywordQuery()), DirectoryError::Code::PartialResult);
        QCOMPARE(relay.connections(), 1);
    }

    void theNameServiceLeadsToThePartialCatalog()
    {
        QTemporaryDir folder;
        DirectorySettings settings = readableSettings(folder);
        settings.site = QStringLiteral("Partial-Site");
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*node, keywordQuery()), 6);
        const QString log = SambaEnvironment::takeLog().join(u'\n');
        QVERIFY(log.contains(QLatin1String("gc1.corp.example.test:3268 answered")));
        QVERIFY(!log.contains(QLatin1String("dc1.corp.example.test:3268")));
    }

    void answersAreThoseOfAWholeCatalog_data()
    {
        QTest::addColumn<DirectoryQuery>("query");
        QTest::addColumn<qsizetype>("size");
        DirectoryQuery beginning = userQuery(QStringLiteral("j"));
        beginning.matchType = DirectoryMatchType::BeginsWith;
        QTest::newRow("connection points") << keywordQuery() << qsizetype{6};
        QTest::newRow("more than a page") << keywordQuery(ManyService) << qsizetype{600};
        QTest::newRow("a user") << userQuery(QStringLiteral("jdoe")) << qsizetype{1};
        QTest::newRow("users") << beginning << qsizetype{2};
    }
    void answersAreThoseOfAWholeCatalog()
    {
        QFETCH(DirectoryQuery, query);
        QFETCH(qsizetype, size);
        const auto whole = answers(*SambaEnvironment::makeNode({}), query);
        QTemporaryDir folder;
        DirectorySettings settings = readableSettings(folder);
        settings.globalCatalogs = {{RelayHost, 0}};
        const int before = m_relay.connections();
        const auto part = answers(*SambaEnvironment::makeNode(settings), query);
        QCOMPARE(m_relay.connections(), before + 1);
        QCOMPARE(whole.size(), size);
        QCOMPARE(part, whole);
    }

private:
    const PartialCatalog &m_catalog;
    const TestRelay &m_relay;
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (!qEnvironmentVariableIsSet("SAMBA_DIR"))
        qFatal("is to be run by with-samba");
    const PartialCatalog catalog = PartialCatalog::ofSchema();
    const TestRelay relay(RelayAddress, CatalogPort, Address, CatalogPort, catalog);
    tst_PartialCatalog test(catalog, relay);
    const int failures = QTest::qExec(&test, argc, argv);

    // The relay is the only catalog that these settings name.
    const QTemporaryDir folder;
    DirectorySettings settings = readableSettings(folder);
    settings.globalCatalogs = {{RelayHost, 0}};
    auto node = SambaEnvironment::makeNode(settings);
    DirectoryContract contract([&node] { return node; });
    return failures + QTest::qExec(&contract, argc, argv);
}
#include "tst_PartialCatalog.moc"
