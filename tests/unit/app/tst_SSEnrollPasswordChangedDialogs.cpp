#include "app/SSEnrollAppDelegate.h"
#include "tests/unit/app/PasswordChangedDialogs.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

using Dialogs = PasswordChangedDialogs;
using Scenario = PasswordChangedScenario;

/// What may happen while a dialog of the update is open.
class tst_SSEnrollPasswordChangedDialogs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondClickWhileADialogIsOpenDoesNothing()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &window) {
            f.click();
            QCOMPARE(f.fake.alerts->windowsRun, QStringList{Dialogs::adminDialog()});
            QVERIFY(f.fake.alerts->broughtToFront.isEmpty());
            QCOMPARE(f.promptsShown(), 1);
            window.press(Dialogs::cancelTag);
        });
        f.click();
        QCOMPARE(f.fake.alerts->windowsRun, QStringList{Dialogs::adminDialog()});
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QVERIFY(f.flag());
    }

    void laterWhileADialogIsOpenTakesItDown()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &) {
            f.fake.log->clear();
            f.click(f.laterIdentifier());
        });
        f.click();
        QVERIFY(f.fake.alerts->answers.isEmpty());
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(f.flag());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QCOMPARE(f.errors(), QStringList());
        QVERIFY(!f.terminated());
        // It may be started again.
        f.fake.runLoop->advance(1200);
        QCOMPARE(f.promptsShown(), 1);
        f.answerWith(Dialogs::press(Dialogs::cancelTag));
        f.click();
        QCOMPARE(f.fake.alerts->windowsRun.size(), 2);
    }

    void laterWhileTheSecondDialogIsOpenTakesItDown()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith(Dialogs::enterAdministrator);
        f.answerWith([&f](FakeAlertWindow &) { f.click(f.laterIdentifier()); });
        f.click();
        QCOMPARE(f.fake.alerts->windowsRun,
                 (QStringList{Dialogs::adminDialog(), Dialogs::passwordDialog()}));
        QVERIFY(f.flag());
        QCOMPARE(f.grants(), 0);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
    }

    void skipWhileADialogIsOpenTakesItDownAndEndsTheFlow()
    {
        Dialogs f;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s); // so that the process goes on
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &) { f.click(f.skipIdentifier()); });
        f.click();
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(!f.flag());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QCOMPARE(f.errors(), QStringList());
        QVERIFY(!f.terminated());
    }

    void laterAndSkipTakeDownAnAlertToo_data()
    {
        QTest::addColumn<Scenario>("upToTheAlert");
        QTest::addColumn<bool>("later");
        QTest::addColumn<bool>("goesOn");
        QTest::addColumn<QStringList>("errors");

        const Scenario firstError{
            [](Dialogs &f) { f.answerWith(Dialogs::enterWrongAdministrator); }};
        const Scenario secondError{[](Dialogs &f) {
            f.answerWith(Dialogs::enterAdministrator);
            f.answerWith(Dialogs::enterWrongPassword);
        }};
        const Scenario failure{[](Dialogs &f) { f.answerUpToTheFailureAlert(); }};
        const QStringList failed{u"[Error]: Unable update secure token for user: jdoe"_s,
                                 u"[Error]: Invalid secureToken status: 4"_s};
        QTest::newRow("later, first dialog's error") << firstError << true << true << QStringList();
        QTest::newRow("skip, first dialog's error")
            << firstError << false << false << QStringList();
        QTest::newRow("later, second dialog's error")
            << secondError << true << true << QStringList();
        QTest::newRow("skip, second dialog's error")
            << secondError << false << false << QStringList();
        // The tools were asked: there is nothing to be put off any more.
        QTest::newRow("later, failure") << failure << true << false << failed;
        QTest::newRow("skip, failure") << failure << false << false << failed;
    }
    void laterAndSkipTakeDownAnAlertToo()
    {
        QFETCH(Scenario, upToTheAlert);
        QFETCH(bool, later);
        QFETCH(bool, goesOn);
        QFETCH(QStringList, errors);
        Dialogs f;
        f.startAndPrompt();
        upToTheAlert.script(f);
        f.answerWith([&f, later](FakeAlertWindow &) {
            f.click(later ? f.laterIdentifier() : f.skipIdentifier());
        });
        f.click();
        QVERIFY(f.fake.alerts->answers.isEmpty());
        QCOMPARE(f.errors(), errors);
        QCOMPARE(f.flag(), goesOn);
        QCOMPARE(f.promptsShown(), 0);
        QCOMPARE(f.enroll->stagePasswordChanged(), goesOn ? SSStage::Reminding : SSStage::Done);
        QCOMPARE(f.fake.runLoop->armedIntervals().contains(1200.0), goesOn);
        QCOMPARE(f.terminated(), !goesOn);
    }

    void aReminderWhileADialogIsOpenShowsThePromptAnew()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &window) {
            f.fake.runLoop->advance(1200);
            QCOMPARE(f.promptsEverShown(), 2);
            QCOMPARE(f.promptsShown(), 1);
            window.press(Dialogs::cancelTag);
        });
        f.click();
        QCOMPARE(f.fake.alerts->windowsRun.size(), 1);
        QCOMPARE(f.promptsShown(), 1);
    }

    void thePromptThatTheUserRemovesStopsNoUpdate()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &window) {
            f.dismiss();
            f.fake.runLoop->advance(60); // the watchdog
            Dialogs::enterAdministrator(window);
        });
        f.answerWith(Dialogs::enterPassword);
        f.click();
        QCOMPARE(f.grants(), 1);
        QVERIFY(!f.flag());
        QVERIFY(f.terminated());
    }

    void promptedOnceAndRemovedTheWatchdogTakesTheDialogDown()
    {
        // Nothing is left to do and nothing to be seen in the notification centre.
        Dialogs f;
        f.set(u"FileVaultSyncPrompt.RemindLaterIntervalMins", u"0"_s);
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &) {
            f.fake.runLoop->advance(60);
            QVERIFY(!f.terminated());
            f.dismiss();
            f.fake.runLoop->advance(60);
            QVERIFY(f.terminated());
        });
        f.click();
        QVERIFY(f.flag());
        QCOMPARE(f.grants(), 0);
    }

    void terminateTakesDownWhateverIsOpen_data()
    {
        QTest::addColumn<Scenario>("scenario");
        QTest::addColumn<bool>("flag");
        QTest::addColumn<QStringList>("errors");

        QTest::newRow("the administrator's dialog") << Scenario{[](Dialogs &f) {
            f.answerWith([&f](FakeAlertWindow &) { f.enroll->terminate(); });
        }} << true << QStringList();
        QTest::newRow("its error alert") << Scenario{[](Dialogs &f) {
            f.answerWith(Dialogs::enterWrongAdministrator);
            f.answerWith([&f](FakeAlertWindow &) { f.enroll->terminate(); });
        }} << true << QStringList();
        QTest::newRow("the password dialog") << Scenario{[](Dialogs &f) {
            f.answerWith(Dialogs::enterAdministrator);
            f.answerWith([&f](FakeAlertWindow &) { f.enroll->terminate(); });
        }} << true << QStringList();
        QTest::newRow("the failure alert")
            << Scenario{[](Dialogs &f) {
                   f.answerUpToTheFailureAlert();
                   f.answerWith([&f](FakeAlertWindow &) { f.enroll->terminate(); });
               }}
            << false
            << QStringList{u"[Error]: Unable update secure token for user: jdoe"_s,
                           u"[Error]: Invalid secureToken status: 4"_s};
    }
    void terminateTakesDownWhateverIsOpen()
    {
        QFETCH(Scenario, scenario);
        QFETCH(bool, flag);
        QFETCH(QStringList, errors);
        Dialogs f;
        f.startAndPrompt();
        scenario.script(f);
        f.click();
        QVERIFY(f.fake.alerts->answers.isEmpty());
        QCOMPARE(f.flag(), flag);
        QCOMPARE(f.errors(), errors);
        QCOMPARE(f.promptsShown(), 0);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.fake.runLoop->armedIntervals().isEmpty());
        QVERIFY(!f.enroll->loginSettings());
    }

    void theUpdateOutlivesItsController_data()
    {
        QTest::addColumn<bool>("inTheFailureAlert");
        QTest::newRow("in a dialog") << false;
        QTest::newRow("in the failure alert") << true;
    }
    void theUpdateOutlivesItsController()
    {
        QFETCH(bool, inTheFailureAlert);
        Dialogs f;
        f.startAndPrompt();
        const std::weak_ptr<SSEnroll> watched = f.enroll;
        // As the delegate does when the application terminates.
        const auto end = [&f](FakeAlertWindow &window) {
            f.enroll->terminate();
            f.enroll.reset();
            QVERIFY(!window.messageText.isEmpty()); // the window is still there
        };
        if (inTheFailureAlert)
            f.answerUpToTheFailureAlert();
        f.answerWith(end);
        f.click();
        QVERIFY(watched.expired());
        QVERIFY(f.fake.runLoop->armedIntervals().isEmpty());
    }

    void aClickThatComesWhileTheControllerEndsOpensNothing()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith([&f](FakeAlertWindow &) {
            f.enroll->terminate();
            f.click();
        });
        f.click();
        QCOMPARE(f.fake.alerts->windowsRun, QStringList{Dialogs::adminDialog()});
        QVERIFY(f.flag());
    }

    void terminationReachesADialogOfTheClickThatLaunchedTheProcess()
    {
        Dialogs f;
        f.fillDirectory();
        const auto delegate = SSEnrollAppDelegate::initWithShowExtras(false);
        LaunchNotice notice;
        notice.userNotification.emplace().identifier = f.promptIdentifier();
        f.fake.notificationCenter->delivered = {*notice.userNotification};
        f.answerWith([&](FakeAlertWindow &) {
            QVERIFY(delegate->enroll());
            delegate->applicationWillTerminate();
        });
        delegate->applicationDidFinishLaunching(notice);
        QVERIFY(f.fake.alerts->answers.isEmpty());
        QVERIFY(!delegate->enroll());
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(f.flag());
        QCOMPARE(f.errors(), QStringList());
    }
};

QTEST_MAIN(tst_SSEnrollPasswordChangedDialogs)
#include "tst_SSEnrollPasswordChangedDialogs.moc"
