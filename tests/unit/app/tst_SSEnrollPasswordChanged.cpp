#include "tests/unit/app/PasswordChangedFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString askFileVault = u"/usr/bin/fdesetup status"_s;
const QString askToken = u"/usr/sbin/sysadminctl -secureTokenStatus jdoe"_s;

QString started(const QString &operation)
{
    return u"[Debug]: >> -[SSEnroll "_s + operation + u"] started"_s;
}

QString ended(const QString &operation)
{
    return u"[Debug]: >> -[SSEnroll "_s + operation + u"] ended"_s;
}

} // namespace

/// When the user is asked to bring his disk encryption password into line.
class tst_SSEnrollPasswordChanged : public QObject
{
    Q_OBJECT

    /// Lines of the controller itself, without what it calls on other classes.
    static QStringList ownLines(const QStringList &lines)
    {
        QStringList own;
        for (const QString &line : lines) {
            if (line.startsWith(u"[Debug]: >> -[SSEnroll "_s) || line.startsWith(u"[Error]"_s))
                own.append(line);
        }
        return own;
    }

private Q_SLOTS:

    void fromTheStartToThePrompt()
    {
        PasswordChangedFixture f;
        f.start();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Initial);
        // The initial timer and the watchdog.
        QCOMPARE(f.fake.runLoop->armedIntervals(), (QList<double>{10.0, 60.0}));
        f.fake.runLoop->advance(9.9);
        QCOMPARE(f.promptsEverShown(), 0);
        f.fake.runLoop->advance(0.1);
        QCOMPARE(f.promptsShown(), 1);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QCOMPARE(f.fake.runLoop->armedIntervals(), (QList<double>{60.0, 1200.0}));
        QVERIFY(f.flag());
        QVERIFY(f.fake.notificationCenter->delegate.lock());
        QVERIFY(!f.terminated());
        // Asked at the start and again before the prompt.
        QCOMPARE(f.commands(), (QStringList{askFileVault, askToken, askFileVault, askToken}));
    }

    void whoIsPrompted_data()
    {
        QTest::addColumn<bool>("flag");
        QTest::addColumn<bool>("fileVault");
        QTest::addColumn<bool>("supported");
        QTest::addColumn<bool>("token");
        QTest::addColumn<bool>("prompted");
        QTest::addColumn<QStringList>("asked"); // at the start

        const QStringList nothing;
        const QStringList disk{askFileVault};
        const QStringList both{askFileVault, askToken};
        QTest::newRow("everything") << true << true << true << true << true << both;
        QTest::newRow("no token") << true << true << true << false << false << both;
        QTest::newRow("not supported, token") << true << true << false << true << true << disk;
        QTest::newRow("not supported, no token") << true << true << false << false << true << disk;
        QTest::newRow("disk off, token") << true << false << true << true << false << disk;
        QTest::newRow("disk off, no token") << true << false << true << false << false << disk;
        QTest::newRow("disk off, not supported, token")
            << true << false << false << true << false << disk;
        QTest::newRow("disk off, not supported, no token")
            << true << false << false << false << false << disk;
        QTest::newRow("no flag") << false << true << true << true << false << nothing;
        QTest::newRow("no flag, no token") << false << true << true << false << false << nothing;
        QTest::newRow("no flag, not supported, token")
            << false << true << false << true << false << nothing;
        QTest::newRow("no flag, not supported, no token")
            << false << true << false << false << false << nothing;
        QTest::newRow("no flag, disk off, token")
            << false << false << true << true << false << nothing;
        QTest::newRow("no flag, disk off, no token")
            << false << false << true << false << false << nothing;
        QTest::newRow("nothing but a token") << false << false << false << true << false << nothing;
        QTest::newRow("nothing") << false << false << false << false << false << nothing;
    }
    void whoIsPrompted()
    {
        QFETCH(bool, flag);
        QFETCH(bool, fileVault);
        QFETCH(bool, supported);
        QFETCH(bool, token);
        QFETCH(bool, prompted);
        QFETCH(QStringList, asked);
        PasswordChangedFixture f;
        f.setFlag(flag);
        f.fileVaultIsOn = fileVault;
        f.fake.system->secureTokenSupported = supported;
        f.userHoldsToken = token;
        f.start();
        QCOMPARE(f.commands(), asked);
        QCOMPARE(f.enroll->stagePasswordChanged(), prompted ? SSStage::Initial : SSStage::Done);
        QCOMPARE(f.terminated(), !prompted);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.promptsShown(), prompted ? 1 : 0);
        QCOMPARE(f.flag(), prompted); // what needs no prompt is settled
    }

    void whoIsPromptedIsAskedAgainBeforeThePrompt_data()
    {
        QTest::addColumn<bool>("fileVault");
        QTest::addColumn<bool>("token");
        QTest::addColumn<bool>("flag");
        QTest::newRow("disk encryption was switched off") << false << true << true;
        QTest::newRow("the token was taken away") << true << false << true;
        QTest::newRow("the flag was cleared") << true << true << false;
    }
    void whoIsPromptedIsAskedAgainBeforeThePrompt()
    {
        QFETCH(bool, fileVault);
        QFETCH(bool, token);
        QFETCH(bool, flag);
        PasswordChangedFixture f;
        f.start();
        f.fileVaultIsOn = fileVault;
        f.userHoldsToken = token;
        f.setFlag(flag);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.promptsEverShown(), 0);
        QVERIFY(!f.flag());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.terminated());
    }

    void aUserWithoutATokenIsNotPromptedAndTheFlagIsCleared()
    {
        PasswordChangedFixture f;
        f.userHoldsToken = false;
        f.start();
        QVERIFY(!f.flag());
        QVERIFY(f.terminated());
        QCOMPARE(f.promptsEverShown(), 0);
        QCOMPARE(f.errors(), QStringList());
    }

    void theCacheStartsTheFlowBeforeTheDirectoryAnswers()
    {
        PasswordChangedFixture f;
        f.cacheSettings();
        f.setDirectoryFails(true);
        f.start();
        // The prompt, the next attempt and the watchdog.
        QCOMPARE(f.fake.runLoop->armedIntervals(), (QList<double>{10.0, 10.0, 60.0}));
        f.fake.runLoop->advance(10);
        QCOMPARE(f.promptsShown(), 1);
        QCOMPARE(f.fake.notificationCenter->delivered.first().title, u"Finish"_s);
        // And goes on when it never answers.
        f.fake.runLoop->advance(50);
        QCOMPARE(f.searches(), 7);
        QVERIFY(!f.terminated());
        f.fake.runLoop->advance(1160);
        QCOMPARE(f.promptsEverShown(), 2);
    }

    void aFlowThatTheCacheStartedIsNotStartedAnew()
    {
        PasswordChangedFixture f;
        f.cacheSettings();
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(10);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.searches(), 3);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        f.fake.runLoop->advance(600);
        QCOMPARE(f.promptsEverShown(), 1);
    }

    void withoutTheFlagTheCacheStartsNothing()
    {
        PasswordChangedFixture f;
        f.setFlag(false);
        f.cacheSettings();
        f.start();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.terminated());
    }

    void theDirectorysSettingsTakeThePlaceOfTheCachedOnes()
    {
        PasswordChangedFixture f;
        f.cacheSettings({{u"FileVaultSyncPrompt.Title"_s, u"Old"_s}});
        f.start();
        f.fake.runLoop->advance(10);
        QCOMPARE(f.promptsEverShown(), 1);
        QCOMPARE(f.fake.notificationCenter->delivered.first().title, u"Finish"_s);
    }

    void aPromptThatTheDirectoryHasSwitchedOffIsNotShown()
    {
        PasswordChangedFixture f;
        f.cacheSettings();
        f.set(u"FileVaultSyncPrompt.Enabled", u"0"_s);
        f.start();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Initial);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.promptsEverShown(), 0);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.terminated());
        QVERIFY(f.flag()); // another day
    }

    void withoutACacheTheFlowWaitsForTheDirectory()
    {
        PasswordChangedFixture f;
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(25);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Initial);
        QCOMPARE(f.promptsEverShown(), 0);
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(5);
        QCOMPARE(f.promptsEverShown(), 0);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.promptsShown(), 1);
    }

    void withoutACacheADirectoryThatStaysAwayEndsTheProcess()
    {
        PasswordChangedFixture f;
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(60);
        QCOMPARE(f.searches(), 7);
        QVERIFY(f.terminated());
        QVERIFY(f.flag());
    }

    void switchedOffTheFlowEndsWithoutAPrompt()
    {
        PasswordChangedFixture f;
        f.set(u"FileVaultSyncPrompt.Enabled", u"0"_s);
        f.start();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.terminated());
        QVERIFY(f.flag());
    }

    void aUserOfNoDomainIsPromptedAllTheSame()
    {
        PasswordChangedFixture f;
        f.userIsOfADomain = false;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s);
        f.startAndPrompt();
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Done);
        QCOMPARE(f.promptsShown(), 1);
    }

    void rootIsNeverPrompted()
    {
        PasswordChangedFixture f;
        f.fake.identity->userId = 0;
        f.start();
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.errors().contains(u"[Error]: only ordinary user can read from user defaults."_s));
        QVERIFY(f.flag());
        QVERIFY(f.terminated());
    }

    void aFlagThatCannotBeClearedEndsTheFlowAllTheSame()
    {
        PasswordChangedFixture f;
        f.fileVaultIsOn = false;
        f.fake.settingsFiles->errors.insert(u"writeAtomically"_s, u"full"_s);
        f.start();
        QVERIFY(f.flag());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.errors().contains(u"[Error]: Unable write user 'jdoe' defaults to file."_s));
    }

    void toolsThatFailAreNoReasonToPrompt()
    {
        PasswordChangedFixture f;
        f.fake.childProcesses->answer = [](const FakeChildProcesses::Run &run) {
            FakeChildProcesses::Answer answer;
            answer.launchError =
                ChildProcessError{ChildProcessError::Code::NotFound, u"no "_s + run.executable};
            return answer;
        };
        f.start();
        QVERIFY(!f.flag());
        QVERIFY(f.terminated());
        QCOMPARE(f.errors(), (QStringList{u"[Error]: Execute error: no /usr/bin/fdesetup"_s,
                                          u"[Error]: unable check FileVault status. Error: "
                                          "no /usr/bin/fdesetup"_s}));
    }

    void theLogOfTheStart()
    {
        PasswordChangedFixture f;
        f.cacheSettings();
        f.setDirectoryFails(true);
        f.start();
        const QStringList lines = ownLines(f.fake.log->lines());
        const qsizetype from = lines.indexOf(started(u"preprocessPasswordChangedNotification"_s));
        QVERIFY(from >= 0);
        // After the old notifications have gone.
        QCOMPARE(lines.at(from - 1), ended(u"removeAllNotificationsSync"_s));
        QCOMPARE(
            lines.mid(from, 12),
            (QStringList{
                started(u"preprocessPasswordChangedNotification"_s),
                ended(u"preprocessPasswordChangedNotification"_s),
                started(u"preprocessEnrollNotification"_s),
                ended(u"preprocessEnrollNotification"_s), started(u"updatePasswordChangedStage:"_s),
                started(u"startPasswordChangedInitialTimer"_s),
                started(u"stopPasswordChangedTimer"_s), ended(u"stopPasswordChangedTimer"_s),
                ended(u"startPasswordChangedInitialTimer"_s),
                ended(u"updatePasswordChangedStage:"_s), started(u"checkTerminateApplication"_s),
                ended(u"checkTerminateApplication"_s)}));
        QCOMPARE(lines.at(from + 12), started(u"loadSettingsAndProcessNotification"_s));
    }

    void theLogOfAPromptThatIsRepeated()
    {
        PasswordChangedFixture f;
        f.start();
        f.fake.log->clear();
        f.fake.runLoop->advance(10);
        const QStringList prompt{
            started(u"stopPasswordChangedTimer"_s),
            ended(u"stopPasswordChangedTimer"_s),
            started(u"preprocessPasswordChangedNotification"_s),
            ended(u"preprocessPasswordChangedNotification"_s),
            started(u"showPasswordChangedNotificationWithSettings:"_s),
            started(u"removePasswordChangedNotification"_s),
            started(u"removeNotificationWithIdentifier:"_s),
            ended(u"removeNotificationWithIdentifier:"_s),
            ended(u"removePasswordChangedNotification"_s),
            ended(u"showPasswordChangedNotificationWithSettings:"_s),
            started(u"updatePasswordChangedStage:"_s),
            started(u"startPasswordChangedTimer"_s),
            started(u"stopPasswordChangedTimer"_s),
            ended(u"stopPasswordChangedTimer"_s),
            ended(u"startPasswordChangedTimer"_s),
            ended(u"updatePasswordChangedStage:"_s),
        };
        QCOMPARE(ownLines(f.fake.log->lines()),
                 QStringList(started(u"onPasswordChangedInitialTimer:"_s)) + prompt +
                     QStringList(ended(u"onPasswordChangedInitialTimer:"_s)));
        f.fake.runLoop->advance(1190); // the watchdog's lines, but not the timer's
        f.fake.log->clear();
        f.fake.runLoop->advance(10);
        QStringList lines = ownLines(f.fake.log->lines());
        const qsizetype from = lines.indexOf(started(u"onPasswordChangedTimer:"_s));
        QVERIFY(from >= 0);
        QCOMPARE(lines.mid(from, prompt.size() + 2),
                 QStringList(started(u"onPasswordChangedTimer:"_s)) + prompt +
                     QStringList(ended(u"onPasswordChangedTimer:"_s)));
    }

    void theLogOfAFlowThatEndsAtItsTimer()
    {
        PasswordChangedFixture f;
        f.start();
        f.setFlag(false);
        f.fake.log->clear();
        f.fake.runLoop->advance(10);
        const QStringList lines = ownLines(f.fake.log->lines());
        // The rule for quitting is asked by the stage, and again by the timer.
        QCOMPARE(lines.filter(u"checkTerminateApplication] started"_s).size(), 2);
        QCOMPARE(lines.mid(0, 6), (QStringList{started(u"onPasswordChangedInitialTimer:"_s),
                                               started(u"stopPasswordChangedTimer"_s),
                                               ended(u"stopPasswordChangedTimer"_s),
                                               started(u"preprocessPasswordChangedNotification"_s),
                                               started(u"updatePasswordChangedStage:"_s),
                                               started(u"checkTerminateApplication"_s)}));
        QVERIFY(!lines.contains(started(u"showPasswordChangedNotificationWithSettings:"_s)));
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollPasswordChanged)
#include "tst_SSEnrollPasswordChanged.moc"
