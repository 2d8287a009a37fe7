#include "tests/integration/web/WebFixture.h"

#include <QDir>
#include <QTest>

namespace {

int threadCount()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/task"))
                                .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                                .size());
}

} // namespace

class tst_WebTaskEnds : public WebFixture
{
    Q_OBJECT

private Q_SLOTS:
    void aCancelledTransferEndsAtOnce()
    {
        const auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        recorder->task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/stall")));
        recorder->task->resume();
        QCOMPARE(recorder->task->state(), UrlSessionTaskState::Running);
        recorder->task->cancel();
        QVERIFY(recorder->waitForCompletion());
        QCOMPARE(recorder->code(), std::optional(UrlError::Code::Cancelled));
        recorder->task->cancel();
        recorder->task->resume();
        QCOMPARE(recorder->completions, 1);
    }

    void aTaskThatWasNotResumedIsCompletedByCancelling()
    {
        const auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        const auto task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/ok")));
        task->cancel();
        QCOMPARE(task->state(), UrlSessionTaskState::Completed);
        task->resume();
        QCOMPARE(recorder->completions, 0);
    }

    void theFactorysEndEndsTransfers()
    {
        auto factory = makeFactory(limits());
        const auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        recorder->task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/silent")));
        recorder->task->resume();
        factory.reset();
        QCOMPARE(recorder->completions, 1);
        QCOMPARE(recorder->code(), std::optional(UrlError::Code::Cancelled));
        // What is left of the session refuses, and says so.
        const auto late = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/ok")));
        late->resume();
        QCOMPARE(recorder->completions, 2);
        QVERIFY(recorder->error);
    }

    void aDelegateThatHasGoneEndsItsTransfer()
    {
        const auto factory = makeFactory(limits());
        auto recorder = std::make_shared<Recorder>();
        const auto session = factory->sessionWithConfiguration({}, recorder);
        const auto task = session->dataTaskWithUrl(m_servers->plain(QStringLiteral("/huge")));
        recorder.reset();
        task->resume();
        QTRY_COMPARE_WITH_TIMEOUT(task->state(), UrlSessionTaskState::Completed, 60000);
    }

    void noThreadIsLeftAfterATransfer()
    {
        const auto factory = makeFactory(limits());
        const int before = threadCount();
        for (int i = 0; i < 3; ++i) {
            const auto recorder = std::make_shared<Recorder>();
            const auto session = factory->sessionWithConfiguration({}, recorder);
            const auto task = session->dataTaskWithUrl(m_servers->secure(QStringLiteral("/ok")));
            task->resume();
            QVERIFY(recorder->waitForCompletion());
            QTRY_COMPARE_WITH_TIMEOUT(threadCount(), before, 60000);
        }
    }
};

QTEST_GUILESS_MAIN(tst_WebTaskEnds)
#include "tst_WebTaskEnds.moc"
