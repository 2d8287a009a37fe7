#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

/// A process that a click on a notification has started.
class tst_SSEnrollClicks : public QObject
{
    Q_OBJECT

    static void click(const EnrollFixture &f, const std::optional<QString> &action = std::nullopt)
    {
        UserNotification clicked;
        clicked.identifier = f.identifier();
        clicked.additionalActivationAction = action;
        f.fake.notificationCenter->activate(clicked);
        f.fake.runLoop->runPending();
    }

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
        click(f);
        QCOMPARE(f.fake.workspace->opened.size(), 2);
    }

    void aSecondClickWaitsForTheSettingsLikeTheFirst()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        f.startWithClick(f.identifier());
        click(f);
        click(f, QStringLiteral("another"));
        f.fake.runLoop->advance(10);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        QCOMPARE(f.errors().filter(QStringLiteral("There is no enrollment page")), QStringList());
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(10);
        // One for both clicks that say the same, one for the other.
        QCOMPARE(f.fake.workspace->opened.size(), 2);
        QCOMPARE(f.searches(), 3);
    }

    void aClickAfterTheLastAttemptTriesAgainForItselfAlone()
    {
        EnrollFixture f;
        f.start();
        f.fake.runLoop->advance(10); // leaves a cache, so that the next process lives on
        f.setDirectoryFails(true);
        f.startWithClick(f.identifier());
        f.fake.runLoop->advance(60);
        QVERIFY(!f.terminated());
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(600);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        click(f, QStringLiteral("another"));
        QCOMPARE(f.fake.workspace->opened.size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollClicks)
#include "tst_SSEnrollClicks.moc"
