#include "tests/unit/app/PasswordChangedFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// How often the user is asked again, and when the password-changed flow is over.
class tst_SSEnrollPasswordChangedReminder : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void aFlagClearedWhileTheDirectoryIsAwayLeadsStraightToTheReminder()
    {
        PasswordChangedFixture f;
        f.setDirectoryFails(true);
        f.start();
        f.setFlag(false);
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QVERIFY(f.fake.runLoop->armedIntervals().contains(1200.0));
        // Which finds that nothing is left to do.
        f.fake.runLoop->advance(1200);
        QCOMPARE(f.promptsEverShown(), 0);
        QVERIFY(f.terminated());
    }

    void switchedOffWhileItRemindsTheFlowEnds()
    {
        PasswordChangedFixture f;
        f.cacheSettings();
        f.set(u"FileVaultSyncPrompt.Enabled", u"0"_s);
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(15);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(5);
        f.dismiss();
        f.fake.runLoop->advance(1190);
        QCOMPARE(f.promptsEverShown(), 1);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.terminated());
        QVERIFY(f.flag());
    }

    void theReminderRepeatsAsLongAsThereIsNeed()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        for (int shown = 2; shown <= 4; ++shown) {
            f.fake.runLoop->advance(1199.9);
            QCOMPARE(f.promptsEverShown(), shown - 1);
            f.fake.runLoop->advance(0.1);
            QCOMPARE(f.promptsEverShown(), shown);
            QCOMPARE(f.promptsShown(), 1);
            QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        }
        f.userHoldsToken = false;
        f.fake.runLoop->advance(1200);
        QCOMPARE(f.promptsEverShown(), 4);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        // The last one stays until the user has acted on it.
        QVERIFY(!f.terminated());
    }

    void aPromptThatTheUserRemovedComesAgainAtTheReminder()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        f.dismiss();
        f.fake.runLoop->advance(600);
        QVERIFY(!f.terminated());
        QCOMPARE(f.promptsShown(), 0);
        f.fake.runLoop->advance(600);
        QCOMPARE(f.promptsShown(), 1);
    }

    void howOftenThePromptIsRepeated_data()
    {
        QTest::addColumn<QString>("minutes");
        QTest::addColumn<bool>("hasButton");
        QTest::addColumn<quint64>("stage");
        QTest::newRow("each minute") << u"1"_s << true << quint64{SSStage::Reminding};
        QTest::newRow("interval of zero") << u"0"_s << true << quint64{SSStage::Done};
        QTest::newRow("negative interval") << u"-5"_s << true << quint64{SSStage::Done};
        QTest::newRow("no button for it") << u"20"_s << false << quint64{SSStage::Done};
    }
    void howOftenThePromptIsRepeated()
    {
        QFETCH(QString, minutes);
        QFETCH(bool, hasButton);
        QFETCH(quint64, stage);
        PasswordChangedFixture f;
        f.set(u"FileVaultSyncPrompt.RemindLaterIntervalMins", minutes);
        if (!hasButton)
            f.remove(u"FileVaultSyncPrompt.RemindLaterButtonText");
        f.startAndPrompt();
        QCOMPARE(f.promptsShown(), 1);
        QCOMPARE(f.enroll->stagePasswordChanged(), stage);
        QCOMPARE(f.fake.runLoop->armedIntervals(),
                 stage == SSStage::Done ? QList<double>{60.0} : (QList<double>{60.0, 60.0}));
    }

    void promptedOnceTheProcessEndsWhenTheUserHasRemovedThePrompt()
    {
        PasswordChangedFixture f;
        f.set(u"FileVaultSyncPrompt.RemindLaterIntervalMins", u"0"_s);
        f.startAndPrompt();
        f.fake.runLoop->advance(3600);
        QVERIFY(!f.terminated());
        QCOMPARE(f.promptsEverShown(), 1);
        f.dismiss();
        f.fake.runLoop->advance(60);
        QVERIFY(f.terminated());
        QVERIFY(f.flag());
    }

    void quitRuleWaitsForTheFlow()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        f.dismiss();
        QVERIFY(!f.enroll->checkTerminateApplication());
        f.enroll->updatePasswordChangedStage(9); // no stage, but not the last one either
        QVERIFY(!f.enroll->checkTerminateApplication());
        f.enroll->updatePasswordChangedStage(SSStage::Done);
        QVERIFY(f.terminated());
    }

    void quitRuleWaitsForTheEnrollFlowToo()
    {
        PasswordChangedFixture f;
        f.setFlag(false);
        f.set(u"EnrollSysNotification.Enabled", u"1"_s);
        f.startAndAsk();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(!f.terminated());
        f.answer("NeedPssEnroll=false");
        QVERIFY(f.terminated());
    }

    void bothFlowsRunBesideEachOther()
    {
        PasswordChangedFixture f;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s);
        f.startAndRemind();
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 2);
        QCOMPARE(f.fake.runLoop->armedIntervals(), (QList<double>{60.0, 1200.0, 1800.0}));
        f.enroll->buttonExitClicked();
        QCOMPARE(f.promptsShown(), 1);
        QVERIFY(!f.terminated());
    }

    void aTimerThatWasReplacedDoesNothing()
    {
        PasswordChangedFixture f;
        f.start();
        f.fake.runLoop->advance(5);
        f.enroll->updatePasswordChangedStage(SSStage::Initial); // arms anew
        f.fake.runLoop->advance(5);
        QCOMPARE(f.promptsEverShown(), 0);
        f.fake.runLoop->advance(5);
        QCOMPARE(f.promptsEverShown(), 1);
        const QList<double> armed = f.fake.runLoop->armedIntervals();
        f.fake.runLoop->fireReplacedTimers();
        QCOMPARE(f.promptsEverShown(), 1);
        QCOMPARE(f.fake.runLoop->armedIntervals(), armed);
    }

    void aStageThatThereIsNotIsLoggedWithTheOtherFlowsStage()
    {
        PasswordChangedFixture f;
        f.start();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        f.enroll->updatePasswordChangedStage(5);
        QCOMPARE(f.enroll->stagePasswordChanged(), 5ULL);
        QCOMPARE(f.errors(), QStringList{u"[Error]: Something wrong with enrollment stage: 2"_s});
    }

    void terminateStopsTheFlow()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        f.enroll->terminate();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.fake.runLoop->armedIntervals().isEmpty());
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(f.flag());
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollPasswordChangedReminder)
#include "tst_SSEnrollPasswordChangedReminder.moc"
