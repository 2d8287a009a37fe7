#include "app/SSEnrollUserInfo.h"
#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

class tst_SSEnroll : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fromTheStartToTheReminder()
    {
        EnrollFixture f;
        f.start();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Initial);
        // The initial timer and the watchdog.
        QCOMPARE(f.fake.runLoop->armedIntervals(), (QList<double>{10.0, 60.0}));
        f.fake.runLoop->advance(10);
        QCOMPARE(f.urls->urls(),
                 QStringList{QStringLiteral("https://host/app/SelfServiceClientInfoProvider.ashx"
                                            "?UserName=CORP%5Cjdoe")});
        QVERIFY(f.fake.notificationCenter->delivered.isEmpty());
        f.answer("NeedPssEnroll=true");
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
        QVERIFY(f.fake.statusBar->item());
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Reminding);
        QVERIFY(f.fake.runLoop->armedIntervals().contains(1800.0));
        QVERIFY(!f.terminated());
    }

    void theReminderRepeatsUntilTheUserIsEnrolled()
    {
        EnrollFixture f;
        f.startAndRemind();
        f.fake.runLoop->advance(1800);
        QCOMPARE(f.urls->urls().size(), 2);
        f.answer("NeedPssEnroll=true");
        QCOMPARE(f.fake.notificationCenter->everDelivered.size(), 2);
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
        QCOMPARE(f.fake.statusBar->itemsShown(), 1);
        f.fake.runLoop->advance(1800);
        f.answer("NeedPssEnroll=false");
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        // What is shown stays until the user acts.
        QVERIFY(!f.terminated());
        f.enroll->buttonExitClicked();
        QVERIFY(f.terminated());
    }

    void anEnrolledUserIsNotReminded()
    {
        EnrollFixture f;
        f.startAndAsk();
        f.answer("NeedPssEnroll=false");
        QVERIFY(f.fake.notificationCenter->everDelivered.isEmpty());
        QVERIFY(f.terminated());
    }

    void anAnswerWithoutTheKeysIsAskedForAgainInTenSeconds()
    {
        EnrollFixture f;
        f.startAndAsk();
        f.answer("<html>maintenance</html>");
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Initial);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.urls->urls().size(), 2);
    }

    void anUnclearReminderAnswerIsAskedForAgainAtTheInterval()
    {
        EnrollFixture f;
        f.startAndRemind();
        f.fake.runLoop->advance(1800);
        f.urls->fail(1, {UrlError::Code::TimedOut, QStringLiteral("timed out")});
        f.fake.runLoop->runPending();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Reminding);
        f.fake.runLoop->advance(1800);
        QCOMPARE(f.urls->urls().size(), 3);
    }

    void aServerThatCannotTellLeadsToTheReminder()
    {
        EnrollFixture f;
        f.startAndAsk();
        f.answer("GetPssDataError=no database");
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
    }

    void intervalOfZeroRemindsOnceAndQuitsWhenTheUserHasActed()
    {
        EnrollFixture f;
        f.set(u"EnrollSysNotification.IntervalMins", QStringLiteral("0"));
        f.startAndRemind();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        QVERIFY(f.fake.statusBar->item());
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
        f.fake.runLoop->advance(600);
        QVERIFY(!f.terminated());
        f.fake.notificationCenter->activate(f.fake.notificationCenter->delivered.first());
        f.fake.runLoop->runPending();
        QCOMPARE(f.fake.workspace->opened,
                 QStringList{QStringLiteral("https://host/app/#/PssEnroll")});
        QVERIFY(f.terminated());
    }

    void negativeIntervalRemindsOnceAsZeroDoes()
    {
        EnrollFixture f;
        f.set(u"EnrollSysNotification.IntervalMins", QStringLiteral("-1"));
        f.startAndRemind();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
    }

    void negativeIntervalAsksAtOnceAfterTheUserOpenedThePage()
    {
        EnrollFixture f;
        f.set(u"EnrollSysNotification.IntervalMins", QStringLiteral("-1"));
        f.startAndRemind();
        f.enroll->buttonEnrollClicked();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Reminding);
        f.fake.runLoop->advance(0);
        QCOMPARE(f.urls->urls().size(), 2);
    }

    void aDirectoryThatComesBackIsTakenUp()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(20);
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.searches(), 4);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.urls->urls().size(), 1);
    }

    void aQueryThatCannotStartLeavesTheWatchdogAlone()
    {
        EnrollFixture f;
        f.remove(u"EnrollSysNotification.Url");
        f.startAndAsk();
        QVERIFY(f.urls->urls().isEmpty());
        QVERIFY(f.errors().contains(
            QStringLiteral("[Error]: Failed to download page content. The URL is empty.")));
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Initial);
        QCOMPARE(f.fake.runLoop->armedIntervals(), QList<double>{60.0});
        f.fake.runLoop->advance(600);
        QVERIFY(!f.terminated());
        QCOMPARE(f.fake.runLoop->armedIntervals(), QList<double>{60.0});
    }

    void aTimerThatWasReplacedDoesNothing()
    {
        EnrollFixture f;
        f.start();
        f.fake.runLoop->advance(5);
        f.enroll->updateEnrollStage(SSStage::Initial); // arms anew
        f.fake.runLoop->advance(5);
        QVERIFY(f.urls->urls().isEmpty());
        f.fake.runLoop->advance(5);
        QCOMPARE(f.urls->urls().size(), 1);
    }

    void everyHandlerIgnoresATimerThatWasReplaced()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->fireReplacedTimers();
        QCOMPARE(f.searches(), 1);
        QCOMPARE(f.enroll->tryCount(), 1);
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(20);
        f.answer("NeedPssEnroll=true");
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Reminding);
        const QList<double> armed = f.fake.runLoop->armedIntervals();
        f.fake.runLoop->fireReplacedTimers();
        QCOMPARE(f.searches(), 2);
        QCOMPARE(f.urls->urls().size(), 1);
        QCOMPARE(f.fake.runLoop->armedIntervals(), armed);
    }

    void anAnswerOfAReplacedQueryDoesNothing()
    {
        EnrollFixture f;
        f.startAndAsk();
        // Handed over while the first query of the flow still runs.
        const auto replaced =
            SSEnrollUserInfo::initWithAnswer(QStringLiteral("NeedPssEnroll=true"));
        f.enroll->onUserEnrollmentInitialInfo(replaced.get());
        f.enroll->onUserEnrollmentInfo(replaced.get());
        f.enroll->onUserEnrollmentInfo(nullptr);
        f.fake.runLoop->runPending();
        QVERIFY(f.fake.notificationCenter->everDelivered.isEmpty());
        QCOMPARE(f.fake.runLoop->armedIntervals(), QList<double>{60.0});
        QVERIFY(!f.urls->isCancelled(0));

        EnrollFixture g;
        g.startAndAsk();
        g.urls->answer(0, "NeedPssEnroll=true");
        g.enroll->terminate();
        g.fake.runLoop->runPending();
        QVERIFY(g.fake.notificationCenter->everDelivered.isEmpty());
    }

    void aStageThatThereIsNotIsLogged()
    {
        EnrollFixture f;
        f.start();
        f.enroll->updateEnrollStage(5);
        QCOMPARE(f.errors(),
                 QStringList{QStringLiteral("[Error]: Something wrong with enrollment stage: 5")});
    }

    void staleNotificationsAreRemovedAtTheStart()
    {
        EnrollFixture f;
        f.fake.notificationCenter->removesAtOnce = false;
        UserNotification stale;
        stale.identifier = QStringLiteral("{OLD}");
        f.fake.notificationCenter->delivered = {stale};
        f.fake.notificationCenter->scheduled = {stale};
        f.fake.runLoop->onSleep = [&f] {
            if (f.fake.runLoop->sleeps == 3)
                f.fake.notificationCenter->completeRemovals();
        };
        f.start();
        QCOMPARE(f.fake.runLoop->sleeps, 3);
        QCOMPARE(f.fake.runLoop->monotonicMilliseconds(), 300);
        QVERIFY(f.fake.notificationCenter->delivered.isEmpty());
        QVERIFY(f.fake.notificationCenter->scheduled.isEmpty());
    }

    void operationsLogTheirScopes()
    {
        EnrollFixture f;
        f.start();
        const QStringList lines = f.fake.log->lines();
        const qsizetype started =
            lines.indexOf(QStringLiteral("[Debug]: >> -[SSEnroll processNotification] started"));
        const qsizetype ended =
            lines.indexOf(QStringLiteral("[Debug]: >> -[SSEnroll processNotification] ended"));
        QVERIFY(started >= 0);
        QVERIFY(ended > started);
        QVERIFY(lines.contains(QStringLiteral(
            "[Debug]: >> +[SSConnectionPointHelper getConnectionPointKeywords] started")));
    }
};

QTEST_GUILESS_MAIN(tst_SSEnroll)
#include "tst_SSEnroll.moc"
