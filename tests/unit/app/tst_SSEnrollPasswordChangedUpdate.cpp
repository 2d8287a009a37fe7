#include "tests/unit/app/PasswordChangedDialogs.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

using Dialogs = PasswordChangedDialogs;
using Scenario = PasswordChangedScenario;

namespace {

QStringList scopeOf(const QString &operation, const QStringList &inner = {})
{
    const QString scope = u"[Debug]: >> -[SSEnroll "_s + operation + u"] "_s;
    return QStringList(scope + u"started"_s) + inner + QStringList(scope + u"ended"_s);
}

} // namespace

/// The update that a click starts, and what its results lead to.
class tst_SSEnrollPasswordChangedUpdate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void results_data()
    {
        QTest::addColumn<Scenario>("scenario");
        QTest::addColumn<bool>("goesOn");
        QTest::addColumn<qsizetype>("grants");
        QTest::addColumn<QStringList>("errors");

        const auto row = [](const char *name, std::function<void(Dialogs &)> script, bool goesOn,
                            qsizetype grants, const QStringList &errors = {}) {
            QTest::newRow(name) << Scenario{std::move(script)} << goesOn << grants << errors;
        };
        const QString invalid = u"[Error]: Invalid secureToken status: 4"_s;

        row(
            "1, updated",
            [](Dialogs &f) {
                f.answerWith(Dialogs::enterAdministrator);
                f.answerWith(Dialogs::enterPassword);
            },
            false, 1);
        row(
            "2, cancelled at once",
            [](Dialogs &f) { f.answerWith(Dialogs::press(Dialogs::cancelTag)); }, true, 0);
        row(
            "2, closed by the window manager",
            [](Dialogs &f) {
                f.answerWith([](FakeAlertWindow &window) { window.closeByWindowManager(); });
            },
            true, 0);
        row(
            "2, cancelled in the second dialog",
            [](Dialogs &f) {
                f.answerWith(Dialogs::enterAdministrator);
                f.answerWith(Dialogs::press(Dialogs::cancelTag));
            },
            true, 0);
        row(
            "3, skipped", [](Dialogs &f) { f.answerWith(Dialogs::press(Dialogs::skipTag)); }, false,
            0);
        row(
            "-1001, taken down",
            [](Dialogs &f) {
                f.answerWith(
                    [&f](FakeAlertWindow &) { f.fake.alerts->stopModal(ModalResponse::Abort); });
            },
            true, 0);
        row(
            "-1001, taken down in the second dialog",
            [](Dialogs &f) {
                f.answerWith(Dialogs::enterAdministrator);
                f.answerWith(
                    [&f](FakeAlertWindow &) { f.fake.alerts->stopModal(ModalResponse::Abort); });
            },
            true, 0);
        row("4, refused by the tool",
            [](Dialogs &f) {
                f.answerUpToTheFailureAlert();
                f.answerWith(Dialogs::press(ModalResponse::FirstButton));
            },
            false, 1, {u"[Error]: Unable update secure token for user: jdoe"_s, invalid});
        row("4, a code that there is not",
            [](Dialogs &f) {
                f.answerWith([&f](FakeAlertWindow &) { f.fake.alerts->stopModal(77); });
            },
            false, 0, {invalid});
    }
    void results()
    {
        QFETCH(Scenario, scenario);
        QFETCH(bool, goesOn);
        QFETCH(qsizetype, grants);
        QFETCH(QStringList, errors);
        Dialogs f;
        f.startAndPrompt();
        scenario.script(f);
        f.click();
        QCOMPARE(f.errors(), errors);
        QCOMPARE(f.flag(), goesOn);
        QCOMPARE(f.promptsShown(), goesOn ? 1 : 0);
        QCOMPARE(f.enroll->stagePasswordChanged(), goesOn ? SSStage::Reminding : SSStage::Done);
        QCOMPARE(f.grants(), grants);
        QVERIFY(f.fake.alerts->answers.isEmpty());
        QCOMPARE(f.terminated(), !goesOn);
        QCOMPARE(f.fake.runLoop->armedIntervals().contains(1200.0), goesOn);
    }

    void anUpdateForNobodyFails()
    {
        Dialogs f;
        f.startAndPrompt();
        f.fake.identity->name.clear();
        f.click();
        QVERIFY(f.fake.alerts->windowsRun.isEmpty());
        QCOMPARE(f.errors().first(2),
                 (QStringList{u"[Error]: updateSecureToken. user name is empty."_s,
                              u"[Error]: Invalid secureToken status: 4"_s}));
        QCOMPARE(f.promptsShown(), 0);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
    }

    void withoutSecureTokenTheUserIsAddedToFileVaultAnew()
    {
        Dialogs f;
        f.fake.system->secureTokenSupported = false;
        f.userHoldsToken = false;
        const auto tools = f.fake.childProcesses->answer;
        f.fake.childProcesses->answer = [tools](const FakeChildProcesses::Run &run) {
            FakeChildProcesses::Answer answer = tools(run);
            const QString script = run.arguments.value_or(QStringList()).value(1);
            if (script.contains(u"fdesetup list"_s))
                answer.output = "\r\nboss,11111111-2222-3333-4444-555555555555\r\n";
            else if (script.contains(u"fdesetup add"_s))
                answer.output = "\r\n";
            return answer;
        };
        f.startAndPrompt();
        f.answerWith(Dialogs::enterAdministrator);
        f.answerWith(Dialogs::enterPassword);
        f.click();
        QCOMPARE(f.errors(), QStringList());
        QCOMPARE(f.grants(), 0);
        QCOMPARE(f.commands().filter(u"fdesetup add"_s).size(), 1);
        QVERIFY(!f.flag());
        QVERIFY(f.terminated());
    }

    void aCancelledUpdateCanBeStartedAgain()
    {
        Dialogs f;
        f.startAndPrompt();
        for (int i = 0; i < 3; ++i) {
            f.answerWith(Dialogs::press(Dialogs::cancelTag));
            f.click();
        }
        QCOMPARE(f.fake.alerts->windowsRun, QStringList(3, Dialogs::adminDialog()));
        f.answerWith(Dialogs::enterAdministrator);
        f.answerWith(Dialogs::enterPassword);
        f.click();
        QVERIFY(!f.flag());
    }

    void theReminderGoesOnAfterACancelledUpdate()
    {
        Dialogs f;
        f.startAndPrompt();
        f.answerWith(Dialogs::press(Dialogs::cancelTag));
        f.click();
        f.fake.runLoop->advance(1200);
        QCOMPARE(f.promptsEverShown(), 2);
    }

    void aClickThatLaunchesTheProcessRunsTheUpdate()
    {
        Dialogs f;
        f.answerWith(Dialogs::enterAdministrator);
        f.answerWith(Dialogs::enterPassword);
        f.startWithClick(f.promptIdentifier());
        QCOMPARE(f.grants(), 1);
        QVERIFY(!f.flag());
        // Its stages stay, so that the process lives on with its watchdog.
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Initial);
        QCOMPARE(f.fake.runLoop->armedIntervals(), QList<double>{60.0});
        f.fake.runLoop->advance(3600);
        QVERIFY(!f.terminated());
        QCOMPARE(f.promptsEverShown(), 0);
    }

    void aLaterThatLaunchesTheProcessOnlyRemovesThePrompt()
    {
        Dialogs f;
        UserNotification clicked;
        clicked.identifier = f.promptIdentifier();
        f.fake.notificationCenter->delivered = {clicked};
        clicked.additionalActivationAction = f.laterIdentifier();
        f.fillDirectory();
        f.enroll = SSEnroll::initWithNotification(clicked);
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(f.flag());
        QCOMPARE(f.fake.runLoop->armedIntervals(), QList<double>{60.0});
    }

    void theLogOfASkippedUpdate()
    {
        Dialogs f;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s); // so that the process goes on
        f.startAndPrompt();
        f.answerWith(Dialogs::press(Dialogs::skipTag));
        f.fake.log->clear();
        f.click();
        const QStringList removal = scopeOf(u"removePasswordChangedNotification"_s,
                                            scopeOf(u"removeNotificationWithIdentifier:"_s));
        const QStringList quitRule = scopeOf(u"checkTerminateApplication"_s);
        QCOMPARE(f.fake.log->lines().filter(u"-[SSEnroll "_s),
                 scopeOf(u"userNotificationCenter:didActivateNotification:"_s) +
                     scopeOf(u"processUserNotification:"_s,
                             scopeOf(u"processPasswordChangedAction"_s,
                                     scopeOf(u"processSkipAction"_s,
                                             removal + scopeOf(u"updatePasswordChangedStage:"_s,
                                                               quitRule))) +
                                 quitRule));
    }

    void theLogOfAFailedUpdate()
    {
        Dialogs f;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s);
        f.startAndPrompt();
        f.answerUpToTheFailureAlert();
        f.answerWith(Dialogs::press(ModalResponse::FirstButton));
        f.fake.log->clear();
        f.click();
        const QStringList lines = f.fake.log->lines();
        const qsizetype from =
            lines.indexOf(u"[Error]: Unable update secure token for user: jdoe"_s);
        const QStringList own = lines.mid(from).filter(
            QRegularExpression(u"^\\[Error\\]|-\\[SSEnroll |resetPasswordChangedFlag"_s));
        const QString reset = u"[Debug]: >> +[SSSecureTokenHelper resetPasswordChangedFlag] "_s;
        QCOMPARE(
            own.mid(0, 12),
            QStringList({u"[Error]: Unable update secure token for user: jdoe"_s,
                         u"[Error]: Invalid secureToken status: 4"_s}) +
                scopeOf(u"removePasswordChangedNotification"_s,
                        scopeOf(u"removeNotificationWithIdentifier:"_s)) +
                QStringList({reset + u"started"_s, reset + u"ended"_s}) +
                scopeOf(u"updatePasswordChangedStage:"_s, scopeOf(u"checkTerminateApplication"_s)));
    }
};

QTEST_MAIN(tst_SSEnrollPasswordChangedUpdate)
#include "tst_SSEnrollPasswordChangedUpdate.moc"
