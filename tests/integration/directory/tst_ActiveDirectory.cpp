#include "platform/linux/directory/ActiveDirectoryNode.h"
#include "tests/integration/directory/SambaEnvironment.h"
#include "tests/integration/directory/TestRelay.h"
#include "tests/integration/directory/contract/DirectoryContract.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using Code = DirectoryError::Code;
using namespace std::chrono_literals;

namespace {

constexpr char Address[] = "10.53.0.1";
const QString Host = QStringLiteral("dc1.corp.example.test");
const QString Service = QStringLiteral("1.3.6.1.4.1.32473.2.3.1");
/// Of the many connection points of many.ldif.
const QString ManyService = QStringLiteral("1.3.6.1.4.1.32473.2.3.600");

DirectoryQuery keywordQuery(const QString &value = Service)
{
    DirectoryQuery query;
    query.recordType = DirectoryRecordType::FileMakerServers;
    query.attribute = QStringLiteral("keywords");
    query.value = value;
    query.returnAttributes = {QStringLiteral("keywords"), QStringLiteral("serviceDNSName"),
                              QStringLiteral("objectClass")};
    return query;
}

DirectoryQuery userQuery(const QString &name)
{
    DirectoryQuery query;
    query.attribute = QStringLiteral("dsAttrTypeStandard:RecordName");
    query.value = name;
    return query;
}

DirectorySettings simpleSettings(const QString &password, QTemporaryDir &folder)
{
    QFile file(folder.filePath(QStringLiteral("password")));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(password.toUtf8() + '\n');
    DirectorySettings settings;
    settings.domain = QStringLiteral("corp.example.test");
    settings.bind = DirectorySettings::Bind::Simple;
    settings.bindName = QStringLiteral("CN=John Doe,CN=Users,DC=corp,DC=example,DC=test");
    settings.bindPasswordFile = file.fileName();
    settings.tlsAuthorityFile = SambaEnvironment::path(QStringLiteral("private/tls/ca.pem"));
    return settings;
}

/// The code of a query's failure; absent when it went well.
std::optional<Code> failure(DirectoryNode &node, const DirectoryQuery &query)
{
    const auto result = node.query(query);
    if (result.ok())
        return std::nullopt;
    qInfo("error: %s", qPrintable(result.error().localizedDescription));
    return result.error().code;
}

qsizetype count(DirectoryNode &node, const DirectoryQuery &query)
{
    const auto result = node.query(query);
    if (!result.ok())
        qWarning("error: %s", qPrintable(result.error().localizedDescription));
    return result.ok() ? result.value().size() : -1;
}

} // namespace

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
        QTRY_COMPARE(SambaEnvironment::threadCount(), m_threads);
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
            QProcess::execute(QStringLiteral("klist"), {QStringLiteral("-s")}) != 0, 15000);
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
        DirectorySettings settings = simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.tls = tls;
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
    }

    void aTicketWorksThroughTls()
    {
        QTemporaryDir folder;
        DirectorySettings settings = simpleSettings(QString(), folder);
        settings.bind = DirectorySettings::Bind::Gssapi;
        settings.tls = DirectorySettings::Tls::StartTls;
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
    }

    void aWrongPasswordIsTriedOnce()
    {
        QTemporaryDir folder;
        TestRelay second(Address, 389, -1, TestRelay::AtLimit::Stall);
        DirectorySettings settings = simpleSettings(QStringLiteral("Wrong-w0rd"), folder);
        settings.servers = {{Host, 0}, {Host, second.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery()), Code::AuthenticationRefused);
        QCOMPARE(second.connections(), 0);
        QVERIFY(!SambaEnvironment::takeLog().join(u' ').contains(QLatin1String("Wrong-w0rd")));
    }

    void anEmptyPasswordIsNoAnonymousBind()
    {
        QTemporaryDir folder;
        const auto node = SambaEnvironment::makeNode(simpleSettings(QString(), folder));
        QCOMPARE(failure(*node, keywordQuery()), Code::CredentialsMissing);
    }

    void aPasswordIsNotSentWithoutTls()
    {
        QTemporaryDir folder;
        TestRelay relay(Address, 389, -1, TestRelay::AtLimit::Stall);
        DirectorySettings settings = simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
        settings.tls = DirectorySettings::Tls::Off;
        settings.servers = {{Host, relay.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery()), Code::ProtectionRefused);
        QCOMPARE(relay.connections(), 0);
    }

    void aServerThatCannotProveItsNameIsRefused()
    {
        QTemporaryDir folder;
        DirectorySettings settings = simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
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
        DirectorySettings settings = simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
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
        DirectorySettings settings = simpleSettings(QStringLiteral("Pass-w0rd-jdoe"), folder);
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

    void aServerThatNeverAnswersLeavesTimeForTheNext()
    {
        TestRelay silent(Address, 0, 0, TestRelay::AtLimit::Stall);
        DirectorySettings settings;
        settings.servers = {{Host, silent.port()}, {Host, 0}};
        const auto node = SambaEnvironment::makeNode(settings, 8s);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
        QVERIFY(timer.elapsed() < 8000);
        QVERIFY(silent.connections() > 0);
        QVERIFY(SambaEnvironment::takeLog().join(u' ').contains(
            QStringLiteral("%1:%2").arg(Host).arg(silent.port())));
    }

    void theNextServerOfTheNameServiceIsAsked()
    {
        // dc0 is the only server of the site, and nobody listens there.
        DirectorySettings settings;
        settings.site = QStringLiteral("Empty-Site");
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
        QVERIFY(SambaEnvironment::takeLog().join(u' ').contains(
            QLatin1String("dc0.corp.example.test:389")));
        // A server that failed is not the first one asked again.
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
        QCOMPARE(SambaEnvironment::takeLog().filter(QStringLiteral("dc0.")), QStringList());
    }

    void anUnreachableServerIsReported()
    {
        DirectorySettings settings;
        settings.servers = {{QStringLiteral("dc0.corp.example.test"), 0}};
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery()), Code::ServerUnreachable);
        settings.servers = {{QStringLiteral("missing.corp.example.test"), 0}};
        const auto other = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*other, keywordQuery()), Code::ServerUnreachable);
    }

    void aDomainThatDoesNotExistIsReported()
    {
        DirectorySettings settings;
        settings.domain = QStringLiteral("missing.corp.example.test");
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery()), Code::ServerUnreachable);
    }

    void aServerThatBreaksOffGivesNoPartOfAnAnswer()
    {
        // The bind takes less than this, the names of 600 objects more.
        TestRelay relay(Address, 3268, 20000, TestRelay::AtLimit::Close);
        DirectorySettings settings;
        settings.globalCatalogs = {{Host, relay.port()}};
        const auto node = SambaEnvironment::makeNode(settings);
        QCOMPARE(failure(*node, keywordQuery(ManyService)), Code::PartialResult);
        QCOMPARE(relay.connections(), 1);

        settings.globalCatalogs = {{Host, relay.port()}, {Host, 0}};
        const auto other = SambaEnvironment::makeNode(settings);
        QCOMPARE(count(*other, keywordQuery(ManyService)), 600);
        QCOMPARE(relay.connections(), 2);
    }

    void aServerThatStopsInTheMiddleTimesOut()
    {
        TestRelay relay(Address, 3268, 20000, TestRelay::AtLimit::Stall);
        DirectorySettings settings;
        settings.globalCatalogs = {{Host, relay.port()}};
        const auto node = SambaEnvironment::makeNode(settings, 3s);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(failure(*node, keywordQuery(ManyService)), Code::TimedOut);
        QVERIFY(timer.elapsed() < 4000);

        settings.globalCatalogs = {{Host, relay.port()}, {Host, 0}};
        const auto other = SambaEnvironment::makeNode(settings, 10s);
        QCOMPARE(count(*other, keywordQuery(ManyService)), 600);
    }

    void aStoppedControllerTimesOutAndIsAskedAgainLater()
    {
        const auto node = SambaEnvironment::makeNode({}, 2s);
        SambaEnvironment::signalController(SIGSTOP);
        QElapsedTimer timer;
        timer.start();
        const std::optional<Code> code = failure(*node, keywordQuery());
        const qint64 elapsed = timer.elapsed();
        SambaEnvironment::signalController(SIGCONT);
        QCOMPARE(code, Code::TimedOut);
        QVERIFY(elapsed >= 1900);
        QVERIFY(elapsed < 3000);
        const auto later = SambaEnvironment::makeNode({});
        QCOMPARE(count(*later, keywordQuery()), 6);
    }

    void aNameServiceThatNeverAnswersIsNotWaitedFor()
    {
        QTRY_COMPARE(SambaEnvironment::threadCount(), m_threads);
        const int silent = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(53);
        ::inet_pton(AF_INET, "127.0.0.53", &address.sin_addr);
        QCOMPARE(::bind(silent, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        QFile resolver(QStringLiteral("/etc/resolv.conf"));
        QVERIFY(resolver.open(QIODevice::ReadOnly));
        const QByteArray before = resolver.readAll();
        resolver.close();
        const auto write = [&resolver](const QByteArray &text) {
            const bool opened = resolver.open(QIODevice::WriteOnly | QIODevice::Truncate);
            resolver.write(text);
            resolver.close();
            return opened;
        };
        QVERIFY(write("nameserver 127.0.0.53\n"));

        const auto node = SambaEnvironment::makeNode({}, 200ms);
        QList<std::optional<Code>> codes;
        QList<qint64> times;
        for (int index = 0; index < 5; ++index) {
            QElapsedTimer timer;
            timer.start();
            codes.append(failure(*node, keywordQuery()));
            times.append(timer.elapsed());
        }
        const qsizetype threads = SambaEnvironment::threadCount();
        const bool restored = write(before);
        ::close(silent);
        QVERIFY(restored);
        for (const std::optional<Code> &code : codes)
            QCOMPARE(code, Code::TimedOut);
        for (const qint64 time : times)
            QVERIFY(time < 1000);
        QCOMPARE(threads, m_threads + 4); // four may hang
        QVERIFY(times.last() < 100);

        // They go by themselves, and the node answers again.
        QTRY_COMPARE_WITH_TIMEOUT(SambaEnvironment::threadCount(), m_threads, 30000);
        const auto patient = SambaEnvironment::makeNode({});
        QCOMPARE(count(*patient, keywordQuery()), 6);
    }

    void aNodeMayGoWhileItsOperationHangs()
    {
        TestRelay silent(Address, 0, 0, TestRelay::AtLimit::Stall);
        DirectorySettings settings;
        settings.servers = {{Host, silent.port()}};
        auto node = SambaEnvironment::makeNode(settings, 100ms);
        QCOMPARE(failure(*node, keywordQuery()), Code::TimedOut);
        node.reset();
        QTRY_COMPARE(SambaEnvironment::threadCount(), m_threads + 1); // the relay's
    }

private:
    qsizetype m_threads = 0; ///< of an idle process
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const auto node = SambaEnvironment::makeNode({});
    DirectoryContract contract([&node] { return node; });
    const int contractStatus = QTest::qExec(&contract, argc, argv);
    tst_ActiveDirectory test;
    const int status = QTest::qExec(&test, argc, argv);
    return contractStatus + status;
}

#include "tst_ActiveDirectory.moc"
