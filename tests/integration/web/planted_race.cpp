// Races on purpose, between the operation that a transfer's thread calls and the main thread.
// ThreadSanitizer has to report it, whatever is suppressed.
#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/web/LinuxUrlSession.h"
#include "tests/support/FakePlatform.h"
#include "web/SSWebDownloader.h"

#include <QCoreApplication>

#include <atomic>
#include <cstdio>
#include <thread>

class Listener : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void heard(QObject *)
    {
        ++calls;
        called.store(true, std::memory_order_relaxed);
    }
    int calls = 0; // guarded by nothing
    // Eight bytes share the few accesses that ThreadSanitizer remembers of them: looking at this
    // one must not push out the call's.
    alignas(8) std::atomic<bool> called = false;
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    FakePlatform fakes;
    fakes.platform.clock = std::make_shared<LinuxClock>();
    fakes.platform.urlSessions = std::make_shared<LinuxUrlSessionFactory>(DiagnosticSink());
    int calls = 0;
    // Nobody serves the first address, the second is none: with a request and without.
    for (const auto &url : {QStringLiteral("http://127.0.0.1:9/"), QStringLiteral("http:///"),
                            QStringLiteral("http://127.0.0.1:9/"), QStringLiteral("http:///")}) {
        const auto listener = makeSharedObject<Listener>();
        const auto downloader = SSWebDownloader::initWithURL(url, {}, listener, "heard");
        // Relaxed: this orders the two in time, and is no hand-over.
        while (!listener->called.load(std::memory_order_relaxed))
            std::this_thread::yield();
        calls += ++listener->calls;
    }
    fakes.platform.urlSessions.reset();
    std::printf("%d\n", calls);
    return 0;
}

#include "planted_race.moc"
