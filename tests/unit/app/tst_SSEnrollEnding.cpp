#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

/// When the process ends, when it does not yet, and what the controller leaves behind.
class tst_SSEnrollEnding : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void switchedOffTheFlowEndsWithoutAQuery()
    {
        EnrollFixture f;
        f.set(u"EnrollSysNotification.Enabled", QStringLiteral("0"));
        f.start();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        QVERIFY(f.terminated());
        f.fake.runLoop->advance(3600);
        QVERIFY(f.urls->urls().isEmpty());
    }

    void aUserOfNoDomainEndsTheProcessBeforeTheSettingsAreLoaded()
    {
        EnrollFixture f;
        f.userIsOfADomain = false;
        f.start();
        QVERIFY(f.terminated());
        QCOMPARE(f.searches(), 0);
    }

    void sevenDirectoryAttemptsThenTheProcessEnds()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        f.start();
        QCOMPARE(f.searches(), 1);
        for (int attempt = 2; attempt <= 7; ++attempt) {
            QVERIFY(!f.terminated());
            f.fake.runLoop->advance(9.9);
            QCOMPARE(f.searches(), attempt - 1);
            f.fake.runLoop->advance(0.1);
            QCOMPARE(f.searches(), attempt);
        }
        QVERIFY(f.terminated());
        QCOMPARE(f.enroll->tryCount(), 7);
        QCOMPARE(
            f.errors().last(),
            QStringLiteral("[Error]: Enroll: Unable retrieve settings from Active Directory."));
        f.fake.runLoop->advance(3600);
        QCOMPARE(f.searches(), 7);
    }

    void theWatchdogEndsTheProcessOnceTheNotificationHasGone()
    {
        EnrollFixture f;
        f.set(u"EnrollSysNotification.IntervalMins", QStringLiteral("0"));
        f.startAndRemind();
        f.enroll->removeMenuBarExtras();
        f.fake.runLoop->advance(60);
        QVERIFY(!f.terminated());
        f.fake.notificationCenter->delivered.clear(); // the user dismissed it
        f.fake.runLoop->advance(60);
        QVERIFY(f.terminated());
        QVERIFY(f.fake.runLoop->armedIntervals().isEmpty());
    }

    void quitRuleNeedsEveryCondition()
    {
        EnrollFixture f;
        f.startAndRemind();
        f.enroll->removeMenuBarExtras();
        f.fake.notificationCenter->delivered.clear();
        QVERIFY(!f.enroll->checkTerminateApplication()); // the flow alone goes on

        EnrollFixture g;
        g.set(u"EnrollSysNotification.IntervalMins", QStringLiteral("0"));
        g.startAndRemind();
        QVERIFY(!g.enroll->checkTerminateApplication()); // item and notification are shown
        const auto shown = g.fake.notificationCenter->delivered;
        g.fake.notificationCenter->delivered.clear();
        QVERIFY(!g.enroll->checkTerminateApplication()); // the item is shown
        g.fake.notificationCenter->delivered = shown;
        g.enroll->removeMenuBarExtras();
        QVERIFY(!g.enroll->checkTerminateApplication()); // a notification is delivered
        g.fake.notificationCenter->delivered.clear();
        g.fake.notificationCenter->scheduled = shown;
        QVERIFY(!g.enroll->checkTerminateApplication()); // one is scheduled
        QVERIFY(!g.terminated());
        g.fake.notificationCenter->scheduled.clear();
        QVERIFY(g.enroll->checkTerminateApplication());
        QCOMPARE(g.fake.application->terminateCalls, 1);
    }

    void terminateLeavesNothingBehind()
    {
        EnrollFixture f;
        f.startAndRemind();
        f.enroll->terminate();
        QVERIFY(f.fake.runLoop->armedIntervals().isEmpty());
        QCOMPARE(f.fake.statusBar->itemsShown(), 0);
        QVERIFY(f.fake.notificationCenter->delivered.isEmpty());
        QCOMPARE(f.fake.notificationCenter->removeAllCalls, 1);
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        QCOMPARE(f.fake.application->terminateCalls, 0);
    }

    void terminateCancelsTheQuery()
    {
        EnrollFixture f;
        f.startAndAsk();
        f.enroll->terminate();
        QVERIFY(f.urls->isCancelled(0));
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollEnding)
#include "tst_SSEnrollEnding.moc"
