#include "platform/linux/directory/ActiveDirectoryNode.h"
#include "tests/integration/directory/DirectoryQuestions.h"
#include "tests/integration/directory/SambaEnvironment.h"
#include "tests/integration/directory/TestRelay.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using Code = DirectoryError::Code;
using namespace DirectoryQuestions;
using namespace std::chrono_literals;

/// Servers and name services that fail, and the time that it takes.
class tst_ActiveDirectoryFaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_threads = SambaEnvironment::threadCount(); }
    void init()
    {
        QVERIFY2(qEnvironmentVariableIsSet("SAMBA_DIR"), "is to be run by with-samba");
        (void)SambaEnvironment::takeLog();
    }

    void aServerThatNeverAnswersLeavesTimeForTheNext()
    {
        TestRelay silent(Address, 0, 0, TestRelay::AtLimit::Stall);
        DirectorySettings settings;
        settings.servers = {{Host, silent.port()}, {Host, 0}};
        const auto node = SambaEnvironment::makeNode(settings, 10s);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(count(*node, userQuery(QStringLiteral("jdoe"))), 1);
        QVERIFY(timer.elapsed() < 10000);
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
        QVERIFY(timer.elapsed() < 15000);

        settings.globalCatalogs = {{Host, relay.port()}, {Host, 0}};
        const auto other = SambaEnvironment::makeNode(settings, 12s);
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
        QVERIFY(elapsed < 15000);
        const auto later = SambaEnvironment::makeNode({});
        QCOMPARE(count(*later, keywordQuery()), 6);
    }

    void aNameServiceThatNeverAnswersIsNotWaitedFor()
    {
        QTRY_COMPARE_WITH_TIMEOUT(SambaEnvironment::threadCount(), m_threads, 60000);
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

        const auto node = SambaEnvironment::makeNode({}, 300ms);
        QList<std::optional<Code>> codes;
        QList<qint64> times;
        for (int index = 0; index < 4; ++index) {
            QElapsedTimer timer;
            timer.start();
            codes.append(failure(*node, keywordQuery()));
            times.append(timer.elapsed());
        }
        const auto fifth = node->query(keywordQuery());
        const qsizetype threads = SambaEnvironment::threadCount();
        const bool restored = write(before);
        ::close(silent);
        QVERIFY(restored);
        for (const std::optional<Code> &code : codes)
            QCOMPARE(code, Code::TimedOut);
        for (const qint64 time : times)
            QVERIFY(time < 3500); // the name service is asked twice, for two seconds
        QCOMPARE(threads, m_threads + 4);
        // Four may hang; the fifth is not begun.
        QVERIFY(!fifth.ok());
        QCOMPARE(fifth.error().code, Code::TimedOut);
        QCOMPARE(fifth.error().localizedDescription,
                 QStringLiteral("Earlier directory operations still hang"));

        // They go by themselves, and the node answers again.
        QTRY_COMPARE_WITH_TIMEOUT(SambaEnvironment::threadCount(), m_threads, 60000);
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
        QTRY_COMPARE_WITH_TIMEOUT(SambaEnvironment::threadCount(), m_threads + 1,
                                  60000); // the relay's
    }

private:
    qsizetype m_threads = 0; ///< of an idle process
};

QTEST_GUILESS_MAIN(tst_ActiveDirectoryFaults)
#include "tst_ActiveDirectoryFaults.moc"
