#include "platform/linux/core/LinuxRunLoop.h"

#include <QEventLoop>
#include <QStringList>
#include <QTest>

#include <limits>
#include <thread>

class tst_LinuxRunLoop : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void handedOverWorkRunsLaterInTheOrderOfTheCalls()
    {
        LinuxRunLoop loop;
        QStringList done;
        for (const char *name : {"first", "second", "third"})
            loop.performOnMainThread([&done, name] { done.append(QString::fromLatin1(name)); });
        QVERIFY(done.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 3, 60000);
        QCOMPARE(done.join(QLatin1Char(' ')), QStringLiteral("first second third"));
    }

    void workOfAnotherThreadRunsOnThisOne()
    {
        LinuxRunLoop loop;
        std::thread::id where;
        std::thread([&] {
            loop.performOnMainThread([&where] { where = std::this_thread::get_id(); });
        }).join();
        QTRY_VERIFY_WITH_TIMEOUT(where != std::thread::id(), 60000);
        QCOMPARE(where == std::this_thread::get_id(), true);
    }

    void workThatRunsALoopOfItsOwnHoldsNothingUp()
    {
        LinuxRunLoop loop;
        QStringList done;
        QEventLoop dialog;
        loop.performOnMainThread([&] {
            done.append(QStringLiteral("opened"));
            loop.performOnMainThread([&] {
                done.append(QStringLiteral("handed over by the dialog"));
                dialog.quit();
            });
            dialog.exec();
            done.append(QStringLiteral("closed"));
        });
        loop.performOnMainThread([&] { done.append(QStringLiteral("waited")); });
        QTRY_VERIFY_WITH_TIMEOUT(done.contains(QStringLiteral("closed")), 60000);
        QTRY_COMPARE_WITH_TIMEOUT(
            done,
            (QStringList{QStringLiteral("opened"), QStringLiteral("waited"),
                         QStringLiteral("handed over by the dialog"), QStringLiteral("closed")}),
            60000);
    }

    void workHandedOverByWorkWaitsForALaterTurn()
    {
        LinuxRunLoop loop;
        QStringList done;
        loop.performOnMainThread([&] {
            loop.performOnMainThread([&] { done.append(QStringLiteral("inner")); });
            done.append(QStringLiteral("outer"));
        });
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 2, 60000);
        QCOMPARE(done.first(), QStringLiteral("outer"));
    }

    void aTimerFiresOnceAndNeverInsideTheCall_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::newRow("zero") << 0.0;
        QTest::newRow("negative") << -5.0;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("a hundredth") << 0.01;
    }
    void aTimerFiresOnceAndNeverInsideTheCall()
    {
        QFETCH(double, seconds);
        LinuxRunLoop loop;
        QList<const RunLoopTimer *> fired;
        const auto timer = loop.scheduleTimer(
            seconds, [&fired](const RunLoopTimer *firing) { fired.append(firing); });
        QVERIFY(fired.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(fired, QList<const RunLoopTimer *>{timer.get()}, 60000);
        bool later = false;
        const auto after =
            loop.scheduleTimer(0.05, [&later](const RunLoopTimer *) { later = true; });
        QTRY_VERIFY_WITH_TIMEOUT(later, 60000);
        QCOMPARE(fired.size(), 1);
    }

    void aTimerThatIsInvalidatedOrDroppedNeverFires()
    {
        LinuxRunLoop loop;
        int fired = 0;
        const auto count = [&fired](const RunLoopTimer *) { ++fired; };
        const auto invalidated = loop.scheduleTimer(0, count);
        auto dropped = loop.scheduleTimer(0, count);
        invalidated->invalidate();
        dropped.reset();
        bool later = false;
        const auto after =
            loop.scheduleTimer(0.05, [&later](const RunLoopTimer *) { later = true; });
        QTRY_VERIFY_WITH_TIMEOUT(later, 60000);
        QCOMPARE(fired, 0);
        invalidated->invalidate();
    }

    void aHandlerMayDropItsTimer()
    {
        LinuxRunLoop loop;
        std::shared_ptr<RunLoopTimer> timer;
        bool fired = false;
        timer = loop.scheduleTimer(0, [&](const RunLoopTimer *) {
            timer.reset();
            fired = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(fired, 60000);
        QVERIFY(!timer);
    }

    void monthsAreNotShortened()
    {
        LinuxRunLoop loop;
        bool early = false;
        // The longest interval that settings can hold, far beyond 2^31 milliseconds.
        const auto longest = loop.scheduleTimer(double(std::numeric_limits<qint32>::max()) * 60.0,
                                                [&early](const RunLoopTimer *) { early = true; });
        bool later = false;
        const auto after =
            loop.scheduleTimer(0.05, [&later](const RunLoopTimer *) { later = true; });
        QTRY_VERIFY_WITH_TIMEOUT(later, 60000);
        QVERIFY(!early);
    }
};

QTEST_GUILESS_MAIN(tst_LinuxRunLoop)
#include "tst_LinuxRunLoop.moc"
