#include "tests/unit/web/WebDownloaderFixture.h"

#include <QTest>

#include <condition_variable>
#include <mutex>
#include <thread>

/// Who waits for a transfer or for the call of its target, how long, and who does not.
class tst_SSWebDownloaderWaiting : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void afterUnsubscribeALaterCompletionCallsNobody()
    {
        const World world;
        world.web->completesOnCancel = false;
        const auto downloader = world.download();
        world.runLoop->onSleep = [&] {
            QCOMPARE(world.web->latest()->cancels.load(), 1);
            if (world.runLoop->sleeps == 3)
                world.web->latest()->completeCancelled();
        };
        downloader->unsubscribe();
        // Looked at every tenth of a second until the task had completed.
        QCOMPARE(world.runLoop->sleeps, 3);
        QCOMPARE(world.runLoop->monotonicMilliseconds(), 300);
        QCOMPARE(world.listener->calls, 0);
        QVERIFY(world.web->latest()->delegate.expired());
        QCOMPARE(downloader->result(), Text());
        downloader->performAction();
        QCOMPARE(world.listener->calls, 0);
    }

    void droppingTheDownloaderUnsubscribes()
    {
        const World world;
        (void)world.download();
        QVERIFY(world.web->latest()->cancels >= 1);
        QCOMPARE(world.web->latest()->state(), UrlSessionTaskState::Completed);
        QVERIFY(world.web->latest()->delegate.expired());
        QCOMPARE(world.listener->calls, 0);
    }

    void unsubscribingInsideTheCallDoesNotBlock()
    {
        const World world;
        auto downloader = world.download();
        world.listener->onHeard = [&](SSWebDownloader *sender) {
            sender->unsubscribe();
            downloader.reset();
        };
        world.web->latest()->complete();
        QCOMPARE(world.listener->calls, 1);
        QCOMPARE(world.runLoop->sleeps, 0);
    }

    void waitingInsideADelegateCallDoesNotBlock()
    {
        const World world;
        const auto delegate =
            SSWebDownloaderDelegate::initWithURL(url, {}, world.listener, "heard");
        world.listener->onHeard = [&](SSWebDownloader *) {
            world.web->latest()->current = UrlSessionTaskState::Running;
            delegate->waitTask();
            (void)delegate->result();
            world.web->latest()->current = UrlSessionTaskState::Completed;
        };
        world.web->latest()->complete();
        QCOMPARE(world.listener->calls, 1);
        QCOMPARE(world.runLoop->sleeps, 0);
    }

    void unsubscribingWaitsForACallThatHasBegun()
    {
        const World world;
        const auto downloader = world.download();
        std::mutex lock;
        std::condition_variable changed;
        bool inCall = false;
        bool unsubscribed = false;
        bool unsubscribedDuringTheCall = false;
        world.listener->onHeard = [&](SSWebDownloader *) {
            std::unique_lock guard(lock);
            inCall = true;
            changed.notify_all();
            unsubscribedDuringTheCall = changed.wait_for(guard, std::chrono::milliseconds(300),
                                                         [&] { return unsubscribed; });
        };
        std::thread session([&] { world.web->latest()->complete(); });
        {
            std::unique_lock guard(lock);
            changed.wait(guard, [&] { return inCall; });
        }
        downloader->unsubscribe();
        {
            const std::lock_guard guard(lock);
            unsubscribed = true;
            changed.notify_all();
        }
        session.join();
        QVERIFY(!unsubscribedDuringTheCall);
        QCOMPARE(world.listener->calls, 1);
    }

    void theWaitIsLimited()
    {
        const World world;
        const auto delegate = SSWebDownloaderDelegate::initWithURL(url, {}, {}, {});
        delegate->waitTaskWithInterval(0.25);
        QCOMPARE(world.runLoop->sleeps, 3);
        delegate->waitTaskWithInterval(0);
        QCOMPARE(world.runLoop->sleeps, 3);
        world.web->latest()->complete();
        delegate->waitTaskWithInterval(5);
        delegate->waitTask();
        QCOMPARE(world.runLoop->sleeps, 3);
    }

    void withoutATaskNothingIsWaitedFor()
    {
        const World world;
        const auto delegate = SSWebDownloaderDelegate::create({}, {});
        delegate->waitTask();
        QCOMPARE(delegate->result(), Text());
        QCOMPARE(world.runLoop->sleeps, 0);
    }

    void theSynchronousFetchWaitsForTheText()
    {
        const World world;
        world.runLoop->onSleep = [&] {
            if (world.runLoop->sleeps < 2)
                return;
            (void)world.web->latest()->respond(200, QStringLiteral("no error"));
            world.web->latest()->receive("text");
            world.web->latest()->complete();
        };
        QCOMPARE(SSWebDownloader::downloadWithURL(url, {}), Text(QStringLiteral("text")));
        QCOMPARE(world.runLoop->sleeps, 2);
        QVERIFY(world.errors().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_SSWebDownloaderWaiting)
#include "tst_SSWebDownloaderWaiting.moc"
