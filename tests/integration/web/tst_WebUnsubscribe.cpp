#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/web/LinuxUrlSession.h"
#include "tests/integration/web/WebServers.h"
#include "tests/support/FakePlatform.h"
#include "web/SSWebDownloader.h"

#include <QTest>

#include <array>
#include <random>
#include <thread>

namespace {

/// Knows whether it may be called.
class Listener : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void heard(QObject *sender)
    {
        const std::lock_guard guard(m_lock);
        ++m_calls;
        if (m_closed)
            ++m_callsAfterClose;
        if (unsubscribesItself)
            static_cast<SSWebDownloader *>(sender)->unsubscribe();
    }
    void close()
    {
        const std::lock_guard guard(m_lock);
        m_closed = true;
    }
    [[nodiscard]] int calls() const
    {
        const std::lock_guard guard(m_lock);
        return m_calls;
    }
    [[nodiscard]] int callsAfterClose() const
    {
        const std::lock_guard guard(m_lock);
        return m_callsAfterClose;
    }
    bool unsubscribesItself = false;

private:
    mutable std::mutex m_lock;
    bool m_closed = false;
    int m_calls = 0;
    int m_callsAfterClose = 0;
};

/// Without the 0.1 s between two looks, so that many transfers fit into a test.
class QuickClock final : public Clock
{
public:
    LocalTime localTime() override { return {}; }
    qint64 monotonicMilliseconds() override { return m_clock.monotonicMilliseconds(); }
    void sleepMilliseconds(qint64) override { m_clock.sleepMilliseconds(1); }

private:
    LinuxClock m_clock;
};

enum class Way { Main, OtherThread, Drop, TwoThreads, InTheCall };

} // namespace

class tst_WebUnsubscribe : public QObject
{
    Q_OBJECT
    std::unique_ptr<WebServers> m_servers;
    FakePlatform m_fakes;

private Q_SLOTS:
    void initTestCase()
    {
        m_servers = WebServers::start();
        QVERIFY2(m_servers, "python3 and openssl are needed");
        m_fakes.platform.clock = std::make_shared<QuickClock>();
        LinuxUrlSessionLimits limits;
        limits.trustedCertificatesFile = m_servers->authorityFile();
        m_fakes.platform.urlSessions =
            std::make_shared<LinuxUrlSessionFactory>(DiagnosticSink(), limits);
    }
    void cleanupTestCase()
    {
        m_fakes.platform.urlSessions.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        m_servers.reset();
    }

    void atAnyMomentNobodyIsCalledAfterwards_data()
    {
        QTest::addColumn<int>("way");
        QTest::newRow("on the thread that started it") << static_cast<int>(Way::Main);
        QTest::newRow("on another thread") << static_cast<int>(Way::OtherThread);
        QTest::newRow("by dropping it") << static_cast<int>(Way::Drop);
        QTest::newRow("on two threads at once") << static_cast<int>(Way::TwoThreads);
        QTest::newRow("in the call as well") << static_cast<int>(Way::InTheCall);
    }
    void atAnyMomentNobodyIsCalledAfterwards()
    {
        QFETCH(int, way);
        const std::array<QString, 4> paths{QStringLiteral("/ok"), QStringLiteral("/redirect"),
                                           QStringLiteral("/stall"), QStringLiteral("/missing")};
        const unsigned seed = std::random_device()();
        qInfo("seed %u", seed);
        std::mt19937 random(seed);
        int told = 0;
        for (unsigned i = 0; i < 60; ++i) {
            const auto listener = makeSharedObject<Listener>();
            listener->unsubscribesItself = Way(way) == Way::InTheCall;
            const QString path = paths.at(i % paths.size());
            auto downloader = SSWebDownloader::initWithURL(i % 5 == 4 ? m_servers->secure(path)
                                                                      : m_servers->plain(path),
                                                           {}, listener, "heard");
            QVERIFY(downloader);
            // At any moment of the transfer, which is what this is about.
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 40'000));
            switch (Way(way)) {
            case Way::Main:
            case Way::InTheCall:
                downloader->unsubscribe();
                break;
            case Way::OtherThread:
                std::thread([&] { downloader->unsubscribe(); }).join();
                break;
            case Way::Drop:
                // One that is being told keeps itself; only unsubscribing can wait for that.
                downloader.reset();
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
                break;
            case Way::TwoThreads: {
                std::thread other([&] { downloader->unsubscribe(); });
                downloader->unsubscribe();
                other.join();
                break;
            }
            }
            if (Way(way) != Way::Drop)
                listener->close();
            QVERIFY(listener->calls() <= 1);
            QCOMPARE(listener->callsAfterClose(), 0);
            told += listener->calls();
        }
        qInfo("%d of 60 were told before", told);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
};

QTEST_GUILESS_MAIN(tst_WebUnsubscribe)
#include "tst_WebUnsubscribe.moc"
