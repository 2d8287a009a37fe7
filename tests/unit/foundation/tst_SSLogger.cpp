#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/StatusBar.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <thread>
#include <vector>

namespace {

/// An adapter that logs while it is destroyed, as one does that ends a thread of its own then.
class LastWords final : public StatusBar
{
public:
    ~LastWords() override { SSLog(1, SSMessageType::Info, "last words"); }
    std::unique_ptr<StatusItem> squareStatusItem() override { return nullptr; }
};

} // namespace

class tst_SSLogger : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lineFormat()
    {
        FakePlatform fake;
        SSLog(1, SSMessageType::Info, "hello %@", QStringLiteral("world"));
        QCOMPARE(fake.log->rawLines(),
                 QStringList{QStringLiteral("2021-03-04 10:15:02 +01:00 [Info]: hello world\n")});
        QCOMPARE(fake.log->lastPath(), QStringLiteral("/tmp/zevrikselfservice.log"));
    }

    void whatAnAdapterSaysWhileThePlatformEndsIsWritten()
    {
        const FakePlatform fake;
        {
            Platform ending;
            ending.clock = fake.runLoop;
            ending.logFile = fake.log;
            ending.statusBar = std::make_shared<LastWords>();
            Platform::install(&ending);
        }
        QVERIFY(!Platform::isInstalled());
        QCOMPARE(fake.log->lines(), QStringList{QStringLiteral("[Info]: last words")});
    }

    void offsets()
    {
        const SSDateFormatter formatter;
        QCOMPARE(formatter.stringFromDate({2026, 1, 2, 3, 4, 5, 0}),
                 QStringLiteral("2026-01-02 03:04:05 +00:00"));
        QCOMPARE(formatter.stringFromDate({2026, 1, 2, 3, 4, 5, -(3 * 3600 + 1800)}),
                 QStringLiteral("2026-01-02 03:04:05 -03:30"));
    }

    void withoutAFormatterTheDateDescribesItself()
    {
        FakePlatform fake;
        SSLogger logger(1);
        QVERIFY(logger.dateFormatter());
        logger.setDateFormatter(std::nullopt);
        QVERIFY(!logger.dateFormatter());
        logger.logWithLogLevel(1, SSMessageType::Info, QStringLiteral("x"));
        QCOMPARE(fake.log->rawLines(),
                 QStringList{QStringLiteral("2021-03-04 09:15:02 +0000 [Info]: x\n")});
    }

    void levels()
    {
        FakePlatform fake;
        SSLogger silent;
        QCOMPARE(silent.logLevel(), 0U);
        silent.logWithLogLevel(1, SSMessageType::Error, QStringLiteral("x"));
        QVERIFY(fake.log->rawLines().isEmpty());
        SSLogger normal(1);
        normal.logWithLogLevel(1, SSMessageType::Error, QStringLiteral("one"));
        normal.logWithLogLevel(2, SSMessageType::Error, QStringLiteral("two"));
        QCOMPARE(fake.log->lines(), QStringList{QStringLiteral("[Error]: one")});
    }

    void functionTraceOnlyWhenVerbose()
    {
        FakePlatform fake;
        SSLogger::sharedInstance()->setLogLevel(1);
        {
            const SSFunctionLog scope("-[SSEnroll onEnrollTimer:]");
        }
        QVERIFY(fake.log->rawLines().isEmpty());
        SSLogger::sharedInstance()->setLogLevel(2);
        {
            const SSFunctionLog scope("-[SSEnroll onEnrollTimer:]");
            QCOMPARE(scope.functionName(), QStringLiteral("-[SSEnroll onEnrollTimer:]"));
            SSLog(2, SSMessageType::Info, "inside");
        }
        QCOMPARE(fake.log->lines(),
                 (QStringList{QStringLiteral("[Debug]: >> -[SSEnroll onEnrollTimer:] started"),
                              QStringLiteral("[Info]: inside"),
                              QStringLiteral("[Debug]: >> -[SSEnroll onEnrollTimer:] ended")}));
    }

    void messageTypes()
    {
        QCOMPARE(SSLogger::stringFromMessageType(SSMessageType::Info), QStringLiteral("Info"));
        QCOMPARE(SSLogger::stringFromMessageType(SSMessageType::Error), QStringLiteral("Error"));
        QCOMPARE(SSLogger::stringFromMessageType(SSMessageType::Warning),
                 QStringLiteral("Warning"));
        QCOMPARE(SSLogger::stringFromMessageType(SSMessageType::Debug), QStringLiteral("Debug"));
        FakePlatform fake;
        SSLog(1, static_cast<SSMessageType>(9), "odd");
        QCOMPARE(fake.log->lines(), QStringList{QStringLiteral("[?]: odd")});
    }

    void linesOfThreadsDoNotMix()
    {
        FakePlatform fake;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([t] {
                for (int i = 0; i < 200; ++i)
                    SSLog(1, SSMessageType::Info, "%d:%d", t, i);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(fake.log->lines().size(), 800);
        for (int t = 0; t < 4; ++t) {
            for (int i = 0; i < 200; ++i)
                QVERIFY(fake.log->lines().contains(QStringLiteral("[Info]: %1:%2").arg(t).arg(i)));
        }
    }

    // Last: the shared logger does not come back.
    void zz_afterDestroyNothingIsLogged()
    {
        FakePlatform fake;
        QVERIFY(SSLogger::sharedInstance());
        SSLogger::destroy();
        QVERIFY(!SSLogger::sharedInstance());
        SSLog(1, SSMessageType::Error, "x");
        {
            const SSFunctionLog scope("-[SSEnroll x]");
        }
        SSLogger::destroy();
        QVERIFY(fake.log->rawLines().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_SSLogger)
#include "tst_SSLogger.moc"
