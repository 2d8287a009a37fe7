#include "platform/embedded/directory/LdifDirectoryService.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

QString text(const char16_t *name)
{
    return QString::fromUtf16(name);
}

constexpr char forest[] = R"(version: 1

dn: CN=CORP,CN=Partitions,CN=Configuration,DC=corp,DC=example,DC=test
objectClass: top
objectClass: crossRef
nCName: DC=corp,DC=example,DC=test
nETBIOSName: CORP

dn: CN=SALES,CN=Partitions,CN=Configuration,DC=corp,DC=example,DC=test
objectClass: crossRef
nCName: dc=sales, DC=Corp,DC=example,DC=test
nETBIOSName: SALESNT

dn: CN=Enterprise Configuration,CN=Partitions,CN=Configuration,DC=corp,DC=example,DC=test
objectClass: crossRef
nCName: CN=Configuration,DC=corp,DC=example,DC=test

# the GUID is 0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9 by Python's uuid, bytes_le
dn: CN=John Doe,CN=Users,DC=corp,DC=example,DC=test
objectClass: top
objectClass: person
objectClass: user
sAMAccountName: JDoe
objectGUID:: PSwbCl9OcWCCk6S1xtfo+Q==
cn: John Doe
unicodePwd: secret
userPassword: {SHA256}58rbyQfRg/oMCR39Bxpo4rMQnobUwO4PAjB10W6X7DM=

dn: CN=Jane Doe,OU=dc\,corp,DC=sales,DC=corp,DC=example,DC=test
objectClass: user
samaccountname: jdoe
objectGUID: {6c0b3f04-1d5a-4e0b-9c6e-2f1d3a4b5c6d}

dn: CN=PC1,CN=Computers,DC=corp,DC=example,DC=test
objectClass: user
objectClass: computer
sAMAccountName: jdoe

dn: CN=self-service,CN=System,DC=corp,DC=example,DC=test
objectClass: top
objectClass: serviceConnectionPoint
KEYWORDS: 1.3.6.1.4.1.32473.2.3.1
keywords: WinlogonResetPassword.Enabled=1
keywords:: VGV4dD1Kw7xyZ2Vu
servicednsname: b.example.test

dn: CN=self-service,CN=System,DC=sales,DC=corp,DC=example,DC=test
objectClass: serviceConnectionPoint
keywords: 1.3.6.1.4.1.32473.2.3.1
keywords: WinlogonResetPassword.SettingsPriority=5

dn: CN=other,DC=corp,DC=example,DC=test
objectClass: serviceConnectionPoint
keywords: 1.3.6.1.4.1.32473.2.3.10

dn: uid=jdoe,ou=accounts
objectClass: posixAccount
uid: jdoe
uidNumber: 1001
gidNumber: 1001
homeDirectory: /home/jdoe
originalNodeName: /Active Directory/CORP/corp.example.test
primaryNTDomain: CORP
sAMAccountName: JDoe
objectGUID: 0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9
userPassword: geheim

dn: uid=local,ou=accounts
objectClass: posixAccount
uid: local
uid: second
uidNumber: 64206
gidNumber: 100
homeDirectory: /home/local
originalHomeDirectory: /net/local
)";

} // namespace

class tst_LdifDirectoryService : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QStringList m_diagnostics;

    QString write(const QByteArray &content)
    {
        const QString path = m_folder.filePath(QStringLiteral("directory.ldif"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write the LDIF file");
        return path;
    }
    DiagnosticSink sink()
    {
        return [this](unsigned, DiagnosticType, const QString &message) {
            m_diagnostics.append(message);
        };
    }
    static DirectoryRecords ask(LdifDirectoryService &service, bool local,
                                const DirectoryQuery &query)
    {
        auto node = local ? service.nodeWithName(text(DirectoryLocalNode))
                          : service.nodeWithType(DirectoryNodeType::Authentication);
        if (!node)
            qFatal("%s", qPrintable(node.error().localizedDescription));
        auto records = node.value()->query(query);
        if (!records)
            qFatal("%s", qPrintable(records.error().localizedDescription));
        return records.value();
    }
    static DirectoryQuery usersNamed(const QString &name)
    {
        return {DirectoryRecordType::Users,
                text(DirectoryAttribute::RecordName),
                DirectoryMatchType::EqualTo,
                name,
                {},
                0};
    }
    static QStringList descriptions(const DirectoryRecords &records)
    {
        QStringList result;
        for (const auto &record : records)
            result.append(record->description());
        return result;
    }
    static QString first(const std::shared_ptr<DirectoryRecord> &record, const char16_t *attribute)
    {
        return record->details().value().value(text(attribute)).value(0);
    }

private Q_SLOTS:
    void init() { m_diagnostics.clear(); }

    void usersOfSeveralDomainsAreFoundByOneName()
    {
        LdifDirectoryService service(write(forest), sink());
        const auto records = ask(service, false, usersNamed(QStringLiteral("jdoe")));
        // the cached account and the directory's John Doe are one, the computer account none
        QCOMPARE(descriptions(records),
                 QStringList({QStringLiteral("CN=John Doe,CN=Users,DC=corp,DC=example,DC=test"),
                              QStringLiteral("CN=Jane Doe,OU=dc\\,corp,DC=sales,DC=corp,"
                                             "DC=example,DC=test")}));

        const auto john = records[0]->details().value();
        QCOMPARE(john.value(text(DirectoryAttribute::RecordName)),
                 QStringList(QStringLiteral("JDoe")));
        QCOMPARE(john.value(text(DirectoryAttribute::GUID)),
                 QStringList(QStringLiteral("0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9")));
        QCOMPARE(john.value(text(DirectoryAttribute::PrimaryNTDomain)),
                 QStringList(QStringLiteral("CORP")));
        QCOMPARE(john.value(text(DirectoryAttribute::MetaNodeLocation)),
                 QStringList({QStringLiteral("/Active Directory/CORP/All Domains"),
                              QStringLiteral("/Local/Default")}));
        QCOMPARE(john.value(text(DirectoryAttribute::NFSHomeDirectory)),
                 QStringList(QStringLiteral("/home/jdoe")));
        QCOMPARE(john.value(QStringLiteral("cn")), QStringList(QStringLiteral("John Doe")));

        const auto jane = records[1]->details().value();
        QCOMPARE(jane.value(text(DirectoryAttribute::PrimaryNTDomain)),
                 QStringList(QStringLiteral("SALESNT")));
        QCOMPARE(jane.value(text(DirectoryAttribute::GUID)),
                 QStringList(QStringLiteral("6C0B3F04-1D5A-4E0B-9C6E-2F1D3A4B5C6D")));
        QCOMPARE(jane.value(text(DirectoryAttribute::sAMAccountName)),
                 QStringList(QStringLiteral("jdoe")));
        QVERIFY(m_diagnostics.isEmpty());
    }

    void connectionPointsAreFoundByKeyword()
    {
        LdifDirectoryService service(write(forest), sink());
        DirectoryQuery query{DirectoryRecordType::FileMakerServers,
                             text(DirectoryAttribute::keywords),
                             DirectoryMatchType::EqualTo,
                             QStringLiteral("1.3.6.1.4.1.32473.2.3.1"),
                             {},
                             0};
        const auto records = ask(service, false, query);
        QCOMPARE(records.size(), 2);
        const auto details = records[0]->details().value();
        QCOMPARE(details.value(QStringLiteral("keywords")),
                 QStringList({QStringLiteral("1.3.6.1.4.1.32473.2.3.1"),
                              QStringLiteral("WinlogonResetPassword.Enabled=1"),
                              QStringLiteral("Text=Jürgen")}));
        QCOMPARE(details.value(QStringLiteral("serviceDNSName")),
                 QStringList(QStringLiteral("b.example.test")));
        QCOMPARE(details.value(QStringLiteral("objectClass")),
                 QStringList({QStringLiteral("top"), QStringLiteral("serviceConnectionPoint")}));
        QCOMPARE(details.value(text(DirectoryAttribute::MetaNodeLocation)),
                 QStringList(QStringLiteral("/Active Directory/CORP/All Domains")));
        QCOMPARE(first(records[1], DirectoryAttribute::MetaNodeLocation),
                 QStringLiteral("/Active Directory/SALESNT/All Domains"));
        QVERIFY(!records[1]->details().value().contains(QStringLiteral("serviceDNSName")));

        query.matchType = DirectoryMatchType::BeginsWith;
        QCOMPARE(ask(service, false, query).size(), 3);
        query.value = QStringLiteral("WINLOGONresetpassword.enabled");
        QCOMPARE(ask(service, false, query).size(), 1);
        query.value = QStringLiteral("text=JÜRGEN");
        QCOMPARE(ask(service, false, query).size(), 1);
        query.matchType = DirectoryMatchType::Any;
        QCOMPARE(ask(service, false, query).size(), 3);
        query.maximumResults = 2;
        QCOMPARE(ask(service, false, query).size(), 2);
        query.attribute = text(DirectoryAttribute::serviceDNSName);
        QCOMPARE(ask(service, false, query).size(), 1);
        QVERIFY(ask(service, true, query).isEmpty());
    }

    void metacharactersOfFiltersAreOrdinary()
    {
        LdifDirectoryService service(write(forest), sink());
        for (const QString &name :
             {QStringLiteral("*"), QStringLiteral("jdo*"), QStringLiteral("jdoe)(uid=*"),
              QStringLiteral("\\2a"), QString()})
            QVERIFY(ask(service, false, usersNamed(name)).isEmpty());
    }

    void localAccountsAreTheLocalNode()
    {
        LdifDirectoryService service(write(forest), sink());
        const auto cached = ask(service, true, usersNamed(QStringLiteral("jdoe")));
        QCOMPARE(descriptions(cached), QStringList(QStringLiteral("uid=jdoe,ou=accounts")));
        QCOMPARE(first(cached[0], DirectoryAttribute::OriginalNodeName),
                 QStringLiteral("/Active Directory/CORP/corp.example.test"));
        QCOMPARE(first(cached[0], DirectoryAttribute::MetaNodeLocation),
                 QStringLiteral("/Local/Default"));

        const auto local = ask(service, true, usersNamed(QStringLiteral("second")));
        QCOMPARE(local.size(), 1);
        const auto details = local[0]->details().value();
        QCOMPARE(details.value(text(DirectoryAttribute::RecordName)),
                 QStringList({QStringLiteral("local"), QStringLiteral("second")}));
        // 64206 is 0xFACE
        QCOMPARE(first(local[0], DirectoryAttribute::GUID),
                 QStringLiteral("FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000FACE"));
        QCOMPARE(first(local[0], DirectoryAttribute::PrimaryGroupID), QStringLiteral("100"));
        QCOMPARE(first(local[0], DirectoryAttribute::NFSHomeDirectory),
                 QStringLiteral("/home/local"));
        QCOMPARE(first(local[0], DirectoryAttribute::OriginalNFSHomeDirectory),
                 QStringLiteral("/net/local"));
        QVERIFY(!details.contains(text(DirectoryAttribute::PrimaryNTDomain)));

        const DirectoryQuery mobile{DirectoryRecordType::Users,
                                    text(DirectoryAttribute::OriginalNodeName),
                                    DirectoryMatchType::BeginsWith,
                                    QStringLiteral("/Active Directory"),
                                    {},
                                    0};
        QCOMPARE(descriptions(ask(service, true, mobile)),
                 QStringList(QStringLiteral("uid=jdoe,ou=accounts")));
    }

    void passwordsAreCheckedAndNeverShown()
    {
        LdifDirectoryService service(write(forest), sink());
        const auto account = ask(service, true, usersNamed(QStringLiteral("jdoe"))).value(0);
        QVERIFY(account->verifyPassword(u"geheim").ok());
        const auto wrong = account->verifyPassword(u"Geheim");
        QVERIFY(!wrong.ok());
        QCOMPARE(wrong.error().code, DirectoryError::Code::AuthenticationRefused);
        const auto none =
            ask(service, true, usersNamed(QStringLiteral("local"))).value(0)->verifyPassword(u"");
        QVERIFY(!none.ok());
        QCOMPARE(none.error().code, DirectoryError::Code::CannotTell);

        for (const auto &record : ask(service, false, usersNamed(QStringLiteral("jdoe")))) {
            const auto details = record->details().value();
            QVERIFY(!details.contains(QStringLiteral("userPassword")));
            QVERIFY(!details.contains(QStringLiteral("unicodePwd")));
        }
        for (const auto matchType : {DirectoryMatchType::Any, DirectoryMatchType::BeginsWith})
            QVERIFY(ask(service, true,
                        {DirectoryRecordType::Users,
                         QStringLiteral("userpassword"),
                         matchType,
                         QStringLiteral("geh"),
                         {},
                         0})
                        .isEmpty());
    }

    void withoutPartitionsTheFirstDomainComponentNamesTheDomain()
    {
        LdifDirectoryService service(
            write("dn: CN=a,DC=example,DC=test\nobjectClass: user\nsAMAccountName: a\n\n"
                  "dn: CN=a,O=nowhere\nobjectClass: user\nsAMAccountName: a\n"),
            sink());
        const auto records = ask(service, false, usersNamed(QStringLiteral("A")));
        QCOMPARE(records.size(), 2);
        QCOMPARE(first(records[0], DirectoryAttribute::PrimaryNTDomain), QStringLiteral("EXAMPLE"));
        QVERIFY(!records[1]->details().value().contains(text(DirectoryAttribute::PrimaryNTDomain)));
        // neither has a GUID
        QCOMPARE(m_diagnostics.size(), 2);
        QVERIFY(m_diagnostics[1].contains(QStringLiteral("line 5")));
    }

    void aByteOrderMarkThatBeginsAValueIsPartOfIt()
    {
        LdifDirectoryService service(
            write("dn: CN=a\nobjectClass: user\nsAMAccountName: \xEF\xBB\xBF"
                  "a\n"),
            sink());
        QVERIFY(ask(service, false, usersNamed(QStringLiteral("a"))).isEmpty());
        const QString name = QChar(QChar::ByteOrderMark) + QStringLiteral("a");
        const auto records = ask(service, false, usersNamed(name));
        QCOMPARE(records.size(), 1);
        QCOMPARE(first(records[0], DirectoryAttribute::RecordName), name);
    }

    void anEntryWithoutANameIsReportedAndPassedOver()
    {
        LdifDirectoryService service(write("dn: CN=a\nobjectClass: user\n\n"
                                           "dn: uid=b\nobjectClass: posixAccount\nuidNumber: x\n"),
                                     sink());
        const DirectoryQuery all{
            DirectoryRecordType::Users, {}, DirectoryMatchType::Any, {}, {}, 0};
        QVERIFY(ask(service, false, all).isEmpty());
        QCOMPARE(m_diagnostics.size(), 2);
        QVERIFY(m_diagnostics[0].contains(QStringLiteral("directory.ldif, line 1: ")));
        QVERIFY(m_diagnostics[1].contains(QStringLiteral("directory.ldif, line 4: ")));
    }

    void unknownNodesAndQueriesAreErrors()
    {
        LdifDirectoryService service(write(forest), sink());
        const auto name = service.nodeWithName(QStringLiteral("/Search"));
        QVERIFY(!name.ok());
        QCOMPARE(name.error().code, DirectoryError::Code::NodeUnknown);
        const auto type = service.nodeWithType(0x2202);
        QVERIFY(!type.ok());
        QCOMPARE(type.error().code, DirectoryError::Code::NodeUnknown);

        auto node = service.nodeWithName(text(DirectoryLocalNode));
        auto query = usersNamed(QStringLiteral("jdoe"));
        query.matchType = 0x2004;
        const auto invalid = node.value()->query(query);
        QVERIFY(!invalid.ok());
        QCOMPARE(invalid.error().code, DirectoryError::Code::QueryInvalid);
    }

    void unusableFilesAreErrorsWithTheLine()
    {
        const auto error = [this](const QString &path) {
            LdifDirectoryService service(path, sink());
            const auto node = service.nodeWithType(DirectoryNodeType::Authentication);
            return node.ok() ? DirectoryError{DirectoryError::Code::Internal, {}} : node.error();
        };
        const auto malformed = error(write("dn: o=a\ncn: a\nthis is not LDIF\n"));
        QCOMPARE(malformed.code, DirectoryError::Code::FileUnreadable);
        QVERIFY(malformed.localizedDescription.contains(QStringLiteral("line 3")));
        QCOMPARE(error(m_folder.filePath(QStringLiteral("absent"))).code,
                 DirectoryError::Code::FileUnreadable);
        QCOMPARE(error(m_folder.path()).code, DirectoryError::Code::FileUnreadable);
        QCOMPARE(error(QStringLiteral("/dev/zero")).code, DirectoryError::Code::FileUnreadable);

        const QString pipe = m_folder.filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
        QCOMPARE(error(pipe).code, DirectoryError::Code::FileUnreadable);

        const QString large = m_folder.filePath(QStringLiteral("large"));
        QFile file(large);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(256LL * 1024 * 1024 + 1));
        QCOMPARE(error(large).code, DirectoryError::Code::FileUnreadable);
    }

    void aChangedFileIsReadAgainAndOldRecordsStay()
    {
        LdifDirectoryService service(write(forest), sink());
        const auto before = ask(service, true, usersNamed(QStringLiteral("local")));
        QCOMPARE(before.size(), 1);
        write("dn: uid=new\nobjectClass: posixAccount\nuid: new\nuidNumber: 1\n");
        QVERIFY(ask(service, true, usersNamed(QStringLiteral("local"))).isEmpty());
        QCOMPARE(ask(service, true, usersNamed(QStringLiteral("new"))).size(), 1);
        QCOMPARE(first(before[0], DirectoryAttribute::PrimaryGroupID), QStringLiteral("100"));
    }
};

QTEST_GUILESS_MAIN(tst_LdifDirectoryService)
#include "tst_LdifDirectoryService.moc"
