#include "tests/integration/web/ServerProcess.h"
#include "tests/integration/web/WebFixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <cstdio>

#include <dlfcn.h>
#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>

namespace {

constexpr const char *hangingHost = "hangs.test";
const QString hangingUrl = QStringLiteral("http://hangs.test/");

/// Readable to let go. No condition variable: its end would wait for who waits on it.
const int letGo = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
std::atomic<int> hanging = 0;

[[nodiscard]] int hang()
{
    ++hanging;
    pollfd released{letGo, POLLIN, 0};
    while (::poll(&released, 1, -1) != 1)
        continue;
    --hanging;
    return EAI_AGAIN;
}

} // namespace

/// Stands before the C library's in this program: one host's lookup hangs.
extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                           addrinfo **result)
{
    if (node && std::string_view(node) == hangingHost)
        return hang();
    static const auto real =
        reinterpret_cast<decltype(&::getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

namespace {

/// A program of its own, which ends while a lookup hangs.
int endWhileHanging()
{
    LinuxUrlSessionFactory factory({});
    const auto recorder = std::make_shared<Recorder>();
    const auto session = factory.sessionWithConfiguration({}, recorder);
    session->dataTaskWithUrl(hangingUrl)->resume();
    while (hanging == 0)
        std::this_thread::yield();
    std::puts("hangs");
    return std::fflush(stdout);
}

} // namespace

class tst_WebResolver : public WebFixture
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QCOMPARE(::eventfd_write(letGo, 1), 0);
        QTRY_COMPARE_WITH_TIMEOUT(hanging, 0, 60000);
        eventfd_t value = 0;
        QCOMPARE(::eventfd_read(letGo, &value), 0);
    }

    void aLookupThatHangsHoldsUpNoCancelling()
    {
        auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        recorder->task = session->dataTaskWithUrl(hangingUrl);
        recorder->task->resume();
        QTRY_COMPARE_WITH_TIMEOUT(hanging, 1, 60000);
        QElapsedTimer time;
        time.start();
        recorder->task->cancel();
        QVERIFY(recorder->waitForCompletion());
        QCOMPARE(recorder->code(), std::optional(UrlError::Code::Cancelled));
        // Waits for the transfer's thread.
        factory.reset();
        QVERIFY2(time.elapsed() < 40'000, qPrintable(QString::number(time.elapsed())));
        QCOMPARE(hanging, 1);
    }

    void aLookupThatHangsTimesOut()
    {
        LinuxUrlSessionLimits impatient = limits();
        impatient.stallMilliseconds = 3000; // time enough for the lookup to begin
        const auto heard = fetch(hangingUrl, impatient);
        QVERIFY(heard);
        QCOMPARE(heard->code(), std::optional(UrlError::Code::TimedOut));
        QCOMPARE(hanging, 1);
    }

    void aLookupThatHangsHoldsUpNoEnd()
    {
        ServerProcess program;
        QVERIFY(program.start(
            {QCoreApplication::applicationFilePath(), QStringLiteral("--end-while-hanging")}));
        QCOMPARE(program.readLine(), std::optional(QByteArray("hangs\n")));
        QElapsedTimer time;
        time.start();
        // Its output ends with it.
        QCOMPARE(program.readLine(), std::nullopt);
        QVERIFY2(time.elapsed() < 40'000, qPrintable(QString::number(time.elapsed())));
    }
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (application.arguments().contains(QLatin1String("--end-while-hanging")))
        return endWhileHanging();
    tst_WebResolver test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_WebResolver.moc"
