#include "app/SSReminderFlow.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <limits>

class tst_SSReminderFlow : public QObject
{
    Q_OBJECT

    struct Flow
    {
        bool initialWanted = true;
        bool reminderWanted = true;
        qint32 minutes = 5;
        int fired = 0;
        int finished = 0;
        QList<quint64> invalid;
        SSReminderFlow flow{
            {[this] { return flow.armInitialTimer(initialWanted, handler()); },
             [this] { return flow.armReminderTimer(reminderWanted, minutes, handler()); },
             [this] { ++finished; }, [this](quint64 stage) { invalid.append(stage); }}};

        RunLoop::TimerHandler handler()
        {
            return [this](const RunLoopTimer *) { ++fired; };
        }
    };

private Q_SLOTS:
    void initialStageArmsTenSeconds()
    {
        FakePlatform fake;
        Flow f;
        f.flow.updateStage(SSStage::Initial);
        QCOMPARE(fake.runLoop->armedIntervals(), QList<double>{10.0});
        fake.runLoop->advance(9.9);
        QCOMPARE(f.fired, 0);
        fake.runLoop->advance(0.1);
        QCOMPARE(f.fired, 1);
        QCOMPARE(f.flow.stage(), SSStage::Initial);
    }

    void unwantedInitialTimerPassesOnToTheReminder()
    {
        FakePlatform fake;
        Flow f;
        f.initialWanted = false;
        f.flow.updateStage(SSStage::Initial);
        QCOMPARE(f.flow.stage(), SSStage::Reminding);
        QCOMPARE(fake.runLoop->armedIntervals(), QList<double>{300.0});
        QCOMPARE(f.finished, 0);
    }

    void unwantedTimersEndTheFlow()
    {
        FakePlatform fake;
        Flow f;
        f.initialWanted = false;
        f.reminderWanted = false;
        f.flow.updateStage(SSStage::Initial);
        QCOMPARE(f.flow.stage(), SSStage::Done);
        QCOMPARE(f.finished, 1);
        QVERIFY(fake.runLoop->armedIntervals().isEmpty());
        QVERIFY(!f.flow.needProcess());
    }

    void intervalOfZeroEndsTheFlow()
    {
        FakePlatform fake;
        Flow f;
        f.minutes = 0;
        f.flow.updateStage(SSStage::Reminding);
        QCOMPARE(f.flow.stage(), SSStage::Done);
        QCOMPARE(f.finished, 1);
    }

    void negativeIntervalFiresAtOnce()
    {
        FakePlatform fake;
        Flow f;
        f.minutes = -5;
        f.flow.updateStage(SSStage::Reminding);
        QCOMPARE(fake.runLoop->armedIntervals(), QList<double>{-300.0});
        QCOMPARE(f.fired, 0);
        fake.runLoop->advance(0);
        QCOMPARE(f.fired, 1);
    }

    void intervalsAreComputedInSinglePrecision()
    {
        FakePlatform fake;
        Flow f;
        // 2147483647 is 2^31 in single precision; times 60 it is 128849018880 exactly.
        f.minutes = std::numeric_limits<qint32>::max();
        f.flow.updateStage(SSStage::Reminding);
        QCOMPARE(fake.runLoop->armedIntervals(), QList<double>{128849018880.0});
    }

    void aStageThatThereIsNotIsReported()
    {
        FakePlatform fake;
        Flow f;
        f.flow.updateStage(7);
        QCOMPARE(f.invalid, QList<quint64>{7});
        QCOMPARE(f.flow.stage(), 7ULL);
        QCOMPARE(f.finished, 0);
    }

    void aReplacedTimerIsNotTheCurrentOne()
    {
        FakePlatform fake;
        Flow f;
        QList<const RunLoopTimer *> firing;
        const auto remember = [&firing](const RunLoopTimer *timer) { firing.append(timer); };
        QVERIFY(f.flow.armInitialTimer(true, remember));
        QVERIFY(f.flow.armInitialTimer(true, remember));
        QCOMPARE(fake.runLoop->armedIntervals().size(), 1);
        fake.runLoop->advance(10);
        QCOMPARE(firing.size(), 1);
        QVERIFY(f.flow.isCurrentTimer(firing.first()));
        f.flow.stopTimer();
        QVERIFY(!f.flow.isCurrentTimer(firing.first()));
        QVERIFY(!f.flow.isCurrentTimer(nullptr));
    }

    void armingStopsTheOldTimerEvenWhenNoneIsWanted()
    {
        FakePlatform fake;
        Flow f;
        f.flow.updateStage(SSStage::Initial);
        QVERIFY(!f.flow.armInitialTimer(false, f.handler()));
        QVERIFY(fake.runLoop->armedIntervals().isEmpty());
        QVERIFY(!f.flow.armReminderTimer(true, 5, f.handler())); // not at that stage
    }
};

QTEST_GUILESS_MAIN(tst_SSReminderFlow)
#include "tst_SSReminderFlow.moc"
