#include "platform/linux/directory/ActiveDirectoryNode.h"
#include "tests/integration/directory/DirectoryQuestions.h"
#include "tests/integration/directory/SambaEnvironment.h"
#include "tests/integration/directory/TestRelay.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using Code = DirectoryError::Code;
using namespace DirectoryQuestions;

class tst_ActiveDirectory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_threads = SambaEnvironment::threadCount(); }
    void init()
    {
        QVERIFY2(qEnvironmentVariableIsSet("SAMBA_DIR"), "is to be run by with-samba");
        (void)SambaEnvironment::takeLog();
    }

    void answersAreThoseOfLdapsearch()
    {
        const QString output = SambaEnvironment::run(
            QStringLiteral("ldapsearch"),
            {QStringLiteral("-LLL"), QStringLiteral("-o"), QStringLiteral("ldif-wrap=no"),
             QStringLiteral("-N"), QStringLiteral("-Q"), QStringLiteral("-Y"),
             QStringLiteral("GSSAPI"), QStringLiteral("-H"), QStringLiteral("ldap://") + Host,
             QStringLiteral("-b"), QStringLiteral("DC=corp,DC=example,DC=test"),
             QStringLiteral("(serviceDNSName=beta.corp.example.test)"),
             QStringLiteral("keywords")});
        QStringList expected;
        for (const QString &line : output.split(u'\n')) {
            if (line.startsWith(QLatin1String("keywords: ")))
                expected.append(line.mid(10));
        }
        QCOMPARE(expected.size(), 6);
        const auto node = SambaEnvironment::makeNode({});
        const auto records = node->query(keywordQuery());
        QVERIFY(records.ok());
        bool isFound = false;
        for (const auto &record : records.value()) {
            const DirectoryDetails details = record->details().value();
            if (details.value(QStringLiteral("serviceDNSName")).value(0) !=
                QLatin1String("beta.corp.example.test"))
                continue;
            isFound = true;
            QCOMPARE(details.value(QStringLiteral("keywords")), expected);
            QCOMPARE(
                record->description(),
                QStringLiteral("CN=first,CN=SelfService,CN=System,DC=corp,DC=example,DC=test"));
        }
        QVERIFY(isFound);
    }

    void moreObjectsThanAPageAreAllRead()
    {
        const auto node = SambaEnvironment::makeNode({});
        QCOMPARE(count(*node, keywordQuery(ManyService)), 600);
    }

    void nothingStaysOpenAfterAnOperation()
    {
        const auto node = SambaEnvironment::makeNode({});
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
        const qsizetype descriptors = SambaEnvironment::descriptorCount();
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
        QTRY_COMPARE_WITH_TIMEOUT(SambaEnvironment::threadCount(), m_threads, 60000);
        QCOMPARE(SambaEnvironment::descriptorCount(), descriptors);
    }

    void passwordsAreNotChecked()
    {
        const auto node = SambaEnvironment::makeNode({});
        const auto records = node->query(userQuery(QStringLiteral("jdoe")));
        QVERIFY(records.ok());
        const auto answer = records.value().first()->verifyPassword(u"Pass-w0rd-jdoe");
        QVERIFY(!answer.ok());
        QCOMPARE(answer.error().code, Code::CannotTell);
    }

    void otherQueriesAreRefused()
    {
        const auto node = SambaEnvironment::makeNode({});
        DirectoryQuery query = userQuery(QStringLiteral("x"));
        query.attribute = QStringLiteral("dsAttrTypeStandard:OriginalNodeName");
        QCOMPARE(failure(*node, query), Code::QueryInvalid);
        query = userQuery(QStringLiteral("x"));
        query.matchType = 0x2005;
        QCOMPARE(failure(*node, query), Code::QueryInvalid);
    }

    void withoutATicketNoServerIsAsked()
    {
        const SambaEnvironment::Variable cache("KRB5CCNAME",
                                               QStringLiteral("FILE:/nonexistent/cache"));
        const auto node = SambaEnvironment::makeNode({});
        QCOMPARE(failure(*node, keywordQuery()), Code::CredentialsMissing);
        QCOMPARE(SambaEnvironment::takeLog(), QStringList());
    }

    void withoutATicketAndADomainNothingIsConfigured()
    {
        QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("krb5.conf")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const SambaEnvironment::Variable cache("KRB5CCNAME",
                                               QStringLiteral("FILE:/nonexistent/cache"));
        const SambaEnvironment::Variable config("KRB5_CONFIG", file.fileName());
        const auto node = SambaEnvironment::makeNode({});
        QCOMPARE(failure(*node, keywordQuery()), Code::NotConfigured);
    }

    void anExpiredTicketIsNamedAsSuch()
    {
        QTemporaryDir folder;
        const SambaEnvironment::Variable cache(
            "KRB5CCNAME", QStringLiteral("FILE:") + folder.filePath(QStringLiteral("cache")));
        QVERIFY(!SambaEnvironment::run(
                     QStringLiteral("kinit"),
                     {QStringLiteral("-l"), QStringLiteral("2s"), QStringLiteral("jdoe")},
                     QStringLiteral("Pass-w0rd-jdoe\n"))
                     .isNull());
        QTRY_VERIFY_WITH_TIMEOUT(
            QProcess::execute(QStringLiteral("klist"), {QStringLiteral("-s")}) != 0, 60000);
        const auto node = SambaEnvironment::makeNode({});
        const auto result = node->query(keywordQuery());
        QVERIFY(!result.ok());
        QCOMPARE(result.error().code, Code::CredentialsMissing);
        QVERIFY(result.error().localizedDescription.contains(QLatin1String("expired")));
    }

    void aPasswordGoesThroughTls_data()
    {
        QTest::addColumn<DirectorySettings::Tls>("tls");
        QTest::newRow("by default") << DirectorySettings::Tls::Automatic;
        QTest::newRow("StartTLS") << DirectorySettings::Tls::StartTls;
        QTest::newRow("LDAPS") << DirectorySettings::Tls::Ldaps;
    }
    void aPasswordGoesThroughTls()
    {
        QFETCH(DirectorySettings::Tls, tls);
        QTemporaryDir folder;
        DirectorySettings settings =
            SambaEnvironment::simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.tls = tls;
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
    }

    void aTicketWorksThroughTls()
    {
        QTemporaryDir folder;
        DirectorySettings settings = SambaEnvironment::simpleSettings(QString(), folder);
        settings.bind = DirectorySettings::Bind::Gssapi;
        settings.tls = DirectorySettings::Tls::StartTls;
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
    }

    void aWrongPasswordIsTriedOnce()
    {
        QTemporaryDir folder;
        TestRelay second(Address, 389, -1, TestRelay::AtLimit::Stall);
        DirectorySettings settings =
            SambaEnvironment::simpleSettings(QStringLiteral("Wrong-w0rd"), folder);
        settings.servers = {{Host, 0}, {Host, second.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery()), Code::AuthenticationRefused);
        QCOMPARE(second.connections(), 0);
        QVERIFY(!SambaEnvironment::takeLog().join(u' ').contains(QLatin1String("Wrong-w0rd")));
    }

    void anEmptyPasswordIsNoAnonymousBind()
    {
        QTemporaryDir folder;
        const auto node =
            SambaEnvironment::makeNode(SambaEnvironment::simpleSettings(QString(), folder));
        QCOMPARE(failure(*node, keywordQuery()), Code::CredentialsMissing);
    }

    void aPasswordIsNotSentWithoutTls()
    {
        QTemporaryDir folder;
        TestRelay relay(Address, 389, -1, TestRelay::AtLimit::Stall);
        DirectorySettings settings =
            SambaEnvironment::simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.tls = DirectorySettings::Tls::Off;
        settings.servers = {{Host, relay.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery()), Code::ProtectionRefused);
        QCOMPARE(relay.connections(), 0);
    }

    void aServerThatCannotProveItsNameIsRefused()
    {
        QTemporaryDir folder;
        DirectorySettings settings =
            SambaEnvironment::simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.servers = {{QString::fromLatin1(Address), 0}};
        for (const auto tls : {DirectorySettings::Tls::StartTls, DirectorySettings::Tls::Ldaps}) {
            settings.tls = tls;
            const auto node = SambaEnvironment::makeNode(settings);
            QCOMPARE(failure(*node, keywordQuery()), Code::ProtectionRefused);
        }
    }

    void anUnknownAuthorityIsRefusedUnlessSetOtherwise()
    {
        QTemporaryDir folder;
        DirectorySettings settings =
            SambaEnvironment::simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.tlsAuthorityFile.clear();
        const auto strict = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*strict, keywordQuery()), Code::ProtectionRefused);
        (void)SambaEnvironment::takeLog();

        settings.allowUnprotected = true;
        const auto lenient = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*lenient, userQuery(QStringLiteral("jdoe"))), 1);
        QVERIFY(SambaEnvironment::takeLog().join(u' ').contains(
            QLatin1String("the certificate is not checked")));
    }

    void theCatalogGivesNothingButNames()
    {
        // Unprotected, so that the relay can read along.
        QTemporaryDir folder;
        TestRelay relay(Address, 3268, -1, TestRelay::AtLimit::Close);
        DirectorySettings settings =
            SambaEnvironment::simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.tls = DirectorySettings::Tls::Off;
        settings.allowUnprotected = true;
        settings.globalCatalogs = {{Host, relay.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        const auto records = node->query(keywordQuery());
        QVERIFY(records.ok());
        QCOMPARE(records.value().size(), 6);
        QStringList dnsNames;
        for (const auto &record : records.value())
            dnsNames += record->details().value().value(QStringLiteral("serviceDNSName"));
        QCOMPARE(dnsNames.size(), 5);
        const QByteArray seen = relay.bytesFromTarget();
        QVERIFY(seen.contains("CN=first,CN=SelfService"));
        QVERIFY(!seen.contains("beta.corp.example.test"));
        QVERIFY(!seen.contains("WinlogonResetPassword"));
        QVERIFY(SambaEnvironment::takeLog().join(u' ').contains(
            QLatin1String("neither signed nor encrypted")));
    }

private:
    qsizetype m_threads = 0; ///< of an idle process
};

QTEST_GUILESS_MAIN(tst_ActiveDirectory)
#include "tst_ActiveDirectory.moc"
