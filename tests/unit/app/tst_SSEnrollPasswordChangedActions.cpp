#include "tests/unit/app/PasswordChangedFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// What the user sees of the password-changed flow, and what his clicks do.
class tst_SSEnrollPasswordChangedActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsDelivered()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        QCOMPARE(f.promptsShown(), 1);
        const UserNotification shown = f.fake.notificationCenter->delivered.first();
        QCOMPARE(shown.identifier, u"{09D26182-CA47-4E97-8B65-DC140A6A715D}"_s);
        QCOMPARE(shown.title, u"Finish"_s);
        QCOMPARE(shown.informativeText, u"Your disk does not know it yet"_s);
        QVERIFY(!shown.actionButtonTitle);
        QCOMPARE(shown.additionalActions.size(), 2);
        QCOMPARE(shown.additionalActions.at(0).identifier,
                 u"{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}"_s);
        QCOMPARE(shown.additionalActions.at(0).title, u"Never mind"_s);
        QCOMPARE(shown.additionalActions.at(1).identifier,
                 u"{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}"_s);
        QCOMPARE(shown.additionalActions.at(1).title, u"Not now"_s);
        QVERIFY(f.enroll->shouldPresentNotification(shown));
    }

    void builtInTexts_data()
    {
        QTest::addColumn<QString>("given"); // t: title, x: text, s: skip, l: later
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("buttons");

        const QString title = u"Complete your password reset"_s;
        const QString text =
            u"It must be done in order to use the new password after reboot or shutdown."_s;
        const QString none = u"(absent)"_s;
        QTest::newRow("nothing") << u""_s << title << text << QStringList{u"Skip"_s, u"Later"_s};
        QTest::newRow("skip") << u"s"_s << title << text << QStringList{u"my s"_s};
        QTest::newRow("later") << u"l"_s << title << text << QStringList{u"my l"_s};
        QTest::newRow("both buttons")
            << u"sl"_s << title << text << QStringList{u"my s"_s, u"my l"_s};
        QTest::newRow("title") << u"t"_s << u"my t"_s << none << QStringList();
        QTest::newRow("text") << u"x"_s << none << u"my x"_s << QStringList();
        QTest::newRow("both texts") << u"tx"_s << u"my t"_s << u"my x"_s << QStringList();
        QTest::newRow("title and skip") << u"ts"_s << u"my t"_s << none << QStringList{u"my s"_s};
        QTest::newRow("text and later") << u"xl"_s << none << u"my x"_s << QStringList{u"my l"_s};
        QTest::newRow("everything")
            << u"txsl"_s << u"my t"_s << u"my x"_s << QStringList{u"my s"_s, u"my l"_s};
    }
    void builtInTexts()
    {
        QFETCH(QString, given);
        QFETCH(QString, title);
        QFETCH(QString, text);
        QFETCH(QStringList, buttons);
        const QMap<QChar, QString> names{{u't', u"FileVaultSyncPrompt.Title"_s},
                                         {u'x', u"FileVaultSyncPrompt.Text"_s},
                                         {u's', u"FileVaultSyncPrompt.SkipButtonText"_s},
                                         {u'l', u"FileVaultSyncPrompt.RemindLaterButtonText"_s}};
        PasswordChangedFixture f;
        for (auto it = names.cbegin(); it != names.cend(); ++it) {
            f.keywords.remove(it.value());
            if (given.contains(it.key()))
                f.keywords.insert(it.value(), u"my "_s + it.key());
        }
        f.startAndPrompt();
        QCOMPARE(f.promptsShown(), 1);
        const UserNotification shown = f.fake.notificationCenter->delivered.first();
        QCOMPARE(shown.title.value_or(u"(absent)"_s), title);
        QCOMPARE(shown.informativeText.value_or(u"(absent)"_s), text);
        QStringList titles;
        for (const UserNotificationAction &action : shown.additionalActions)
            titles.append(action.title);
        QCOMPARE(titles, buttons);
    }

    void emptyTextsCountAsNone()
    {
        PasswordChangedFixture f;
        for (const char16_t *name :
             {u"FileVaultSyncPrompt.Title", u"FileVaultSyncPrompt.Text",
              u"FileVaultSyncPrompt.SkipButtonText", u"FileVaultSyncPrompt.RemindLaterButtonText"})
            f.set(name, QString());
        f.startAndPrompt();
        const UserNotification shown = f.fake.notificationCenter->delivered.first();
        QCOMPARE(shown.title, u"Complete your password reset"_s);
        QCOMPARE(shown.additionalActions.size(), 2);
        // The built-in button is not one of the settings, which alone say how often to remind.
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
    }

    void withoutSettingsTheTextsAreTheBuiltInOnes()
    {
        PasswordChangedFixture f;
        f.setDirectoryFails(true);
        f.start();
        QVERIFY(!f.enroll->loginSettings());
        QVERIFY(f.enroll->showPasswordChangedNotificationWithSettings(nullptr));
        QCOMPARE(f.fake.notificationCenter->delivered.first().title,
                 u"Complete your password reset"_s);
    }

    void aFinishedFlowShowsNothing()
    {
        PasswordChangedFixture f;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s); // that flow is at its first stage
        f.startAndPrompt();
        f.enroll->updatePasswordChangedStage(SSStage::Done);
        QVERIFY(!f.enroll->showPasswordChangedNotificationWithSettings(f.enroll->loginSettings()));
        QCOMPARE(f.promptsShown(), 0);
        QCOMPARE(f.errors(), QStringList{u"[Error]: Stage: 2 is incorrect while password changed "
                                         "notification initialization."_s});
    }

    void removalLeavesTheEnrollNotificationAlone()
    {
        PasswordChangedFixture f;
        f.set(u"EnrollSysNotification.Enabled", u"1"_s);
        f.startAndRemind();
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 2);
        f.enroll->removePasswordChangedNotification();
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
        QCOMPARE(f.fake.notificationCenter->delivered.first().identifier, f.identifier());
    }

    void identifiersAreComparedInUpperCaseButThoseOfActionsAsTheyAre()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        UserNotification clicked;
        clicked.identifier = f.promptIdentifier().toLower();
        clicked.additionalActivationAction = f.skipIdentifier().toLower();
        f.fake.notificationCenter->activate(clicked);
        f.fake.runLoop->runPending();
        QCOMPARE(f.errors(), QStringList{u"[Error]: Unsupported action identifier: "
                                         "{918d2712-ef7d-47b5-9fe7-5a67c97ff9b4}."_s});
    }

    void anUnknownActionRemovesThePromptAndIsLogged()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        f.click(u"{other}"_s);
        QCOMPARE(f.promptsShown(), 0);
        QCOMPARE(f.errors(), QStringList{u"[Error]: Unsupported action identifier: {other}."_s});
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QVERIFY(f.flag());
        QVERIFY(f.fake.alerts->windowsRun.isEmpty());
        QVERIFY(!f.terminated());
    }

    void skipEndsTheFlow()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        f.click(f.skipIdentifier());
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(!f.flag());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.fake.alerts->windowsRun.isEmpty());
        QVERIFY(f.terminated());
    }

    void laterRemindsAfterTheInterval()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        f.fake.runLoop->advance(300);
        f.click(f.laterIdentifier());
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(f.flag());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QVERIFY(!f.terminated());
        // From the click on.
        f.fake.runLoop->advance(1199.9);
        QCOMPARE(f.promptsEverShown(), 1);
        f.fake.runLoop->advance(0.1);
        QCOMPARE(f.promptsEverShown(), 2);
    }

    void laterWithAnIntervalOfZeroEndsTheFlow()
    {
        PasswordChangedFixture f;
        f.set(u"FileVaultSyncPrompt.RemindLaterIntervalMins", u"0"_s);
        f.startAndPrompt();
        f.click(f.laterIdentifier());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
        QVERIFY(f.flag()); // for the next login
        QVERIFY(f.terminated());
    }

    void laterWithANegativeIntervalPromptsAtOnce()
    {
        PasswordChangedFixture f;
        f.set(u"FileVaultSyncPrompt.RemindLaterIntervalMins", u"-5"_s);
        f.startAndPrompt();
        f.click(f.laterIdentifier());
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
        QVERIFY(f.fake.runLoop->armedIntervals().contains(-300.0));
        QCOMPARE(f.promptsEverShown(), 1);
        // Prompting leads to the next prompt; so what ends it here is done before the third.
        f.fake.childProcesses->answer = [&f](const FakeChildProcesses::Run &) {
            f.fileVaultIsOn = f.promptsEverShown() < 2;
            FakeChildProcesses::Answer answer;
            answer.output = f.fileVaultIsOn ? "FileVault is On. ENABLED" : "FileVault is Off.";
            return answer;
        };
        f.fake.runLoop->advance(0);
        QCOMPARE(f.promptsEverShown(), 2);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Done);
    }

    void laterWithBuiltInTextsEndsTheFlow()
    {
        PasswordChangedFixture f;
        for (const char16_t *name :
             {u"FileVaultSyncPrompt.Title", u"FileVaultSyncPrompt.Text",
              u"FileVaultSyncPrompt.SkipButtonText", u"FileVaultSyncPrompt.RemindLaterButtonText"})
            f.remove(name);
        f.startAndPrompt();
        f.click(f.laterIdentifier());
        QCOMPARE(f.promptsShown(), 0);
        QVERIFY(f.flag());
        QVERIFY(f.terminated());
    }

    void aClickWithoutTheFlagDoesNothing()
    {
        PasswordChangedFixture f;
        f.startAndPrompt();
        f.setFlag(false);
        f.click();
        QVERIFY(f.fake.alerts->windowsRun.isEmpty());
        QCOMPARE(f.promptsShown(), 1);
        QCOMPARE(f.enroll->stagePasswordChanged(), SSStage::Reminding);
    }

    void everyUserActionAsksTheRuleForQuitting()
    {
        for (const auto &action :
             {std::optional<QString>(), std::optional(PasswordChangedFixture::skipIdentifier()),
              std::optional(PasswordChangedFixture::laterIdentifier()), std::optional(u"{x}"_s)}) {
            PasswordChangedFixture f;
            f.startAndPrompt();
            f.setFlag(false);
            f.fake.log->clear();
            f.click(action);
            QCOMPARE(f.fake.log->lines().last(2),
                     (QStringList{u"[Debug]: >> -[SSEnroll checkTerminateApplication] ended"_s,
                                  u"[Debug]: >> -[SSEnroll processUserNotification:] ended"_s}));
        }
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollPasswordChangedActions)
#include "tst_SSEnrollPasswordChangedActions.moc"
