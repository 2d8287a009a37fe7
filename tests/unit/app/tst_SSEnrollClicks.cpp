#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

/// A process that a click on a notification has started.
class tst_SSEnrollClicks : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void aClickStartsThePageOnceTheSettingsAreLoaded()
    {
        EnrollFixture f;
        f.startWithClick(f.identifier());
        QCOMPARE(f.fake.workspace->opened,
                 QStringList{QStringLiteral("https://host/app/#/PssEnroll")});
        // Its stages stay, so that the process lives on with its watchdog.
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Initial);
        QCOMPARE(f.fake.runLoop->armedIntervals(), QList<double>{60.0});
        f.fake.runLoop->advance(3600);
        QVERIFY(!f.terminated());
        QVERIFY(f.urls->urls().isEmpty());
    }

    void aClickIsHandledAfterTheDirectoryHasComeBack()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        f.startWithClick(f.identifier());
        f.fake.runLoop->advance(10);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.fake.workspace->opened.size(), 1);
    }

    void aClickWithoutADirectoryEndsAfterSevenAttempts()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        f.startWithClick(f.identifier());
        f.fake.runLoop->advance(60);
        QCOMPARE(f.searches(), 7);
        QVERIFY(f.terminated());
        QVERIFY(f.fake.workspace->opened.isEmpty());
    }

    void aSecondClickReachesTheProcessStartedByTheFirst()
    {
        EnrollFixture f;
        f.startWithClick(f.identifier());
        UserNotification again;
        again.identifier = f.identifier();
        f.fake.notificationCenter->activate(again);
        f.fake.runLoop->runPending();
        QCOMPARE(f.fake.workspace->opened.size(), 2);
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollClicks)
#include "tst_SSEnrollClicks.moc"
