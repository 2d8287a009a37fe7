#include "filevault/SSSecureTokenUpdate.h"

#include "tests/unit/filevault/DialogFixture.h"
#include "tests/unit/filevault/SeeingProtection.h"

#include <QTest>

using namespace Dialog;

namespace {

const QString toolOutput = u"sysadminctl: line one\nline two"_s;

/// What the user, the tools and the controller do in one run of the flow.
struct Course
{
    void (*play)(Fixture &f, SSSecureTokenUpdate &update);
    qint64 result;
    bool flagStays;
    QStringList windows;
};

} // namespace
Q_DECLARE_METATYPE(Course)

class tst_SSSecureTokenUpdate : public QObject
{
    Q_OBJECT

    static void confirmBoth(Fixture &f)
    {
        f.thenEnter(u"boss"_s, u"s3cret"_s).thenEnter(std::nullopt, u"new-pass"_s);
    }

private Q_SLOTS:
    void resultOfEveryCourse_data()
    {
        using Update = SSSecureTokenUpdate;
        QTest::addColumn<Course>("course");
        const auto row = [](const char *name, const Course &course) {
            QTest::newRow(name) << course;
        };
        row("both confirmed, the tools succeed",
            {[](Fixture &f, Update &) { confirmBoth(f); }, 1, false, {adminText, userText}});
        row("cancel in the administrator dialog",
            {[](Fixture &f, Update &) { f.thenPress(cancel); }, 2, true, {adminText}});
        row("cancel in the password dialog",
            {[](Fixture &f, Update &) { f.thenEnter(u"boss"_s, u"s3cret"_s).thenPress(cancel); },
             2,
             true,
             {adminText, userText}});
        row("the window manager closes the administrator dialog",
            {[](Fixture &f, Update &) {
                 f.then([](FakeAlertWindow &window) { window.closeByWindowManager(); });
             },
             2,
             true,
             {adminText}});
        row("the window manager closes the password dialog",
            {[](Fixture &f, Update &) {
                 f.thenEnter(u"boss"_s, u"s3cret"_s).then([](FakeAlertWindow &window) {
                     window.closeByWindowManager();
                 });
             },
             2,
             true,
             {adminText, userText}});
        row("skip", {[](Fixture &f, Update &) { f.thenPress(skip); }, 3, true, {adminText}});
        row("the password dialog ends with the skip code",
            {[](Fixture &f, Update &) {
                 f.thenEnter(u"boss"_s, u"s3cret"_s).then([&f](FakeAlertWindow &) {
                     f.fake.alerts->stopModal(skip);
                 });
             },
             3,
             true,
             {adminText, userText}});
        row("abort of the administrator dialog",
            {[](Fixture &f, Update &update) {
                 f.then([&update](FakeAlertWindow &) { update.abort(); });
             },
             -1001,
             true,
             {adminText}});
        row("abort of the password dialog",
            {[](Fixture &f, Update &update) {
                 f.thenEnter(u"boss"_s, u"s3cret"_s).then([&update](FakeAlertWindow &) {
                     update.abort();
                 });
             },
             -1001,
             true,
             {adminText, userText}});
        row("abort of the administrator dialog's error alert",
            {[](Fixture &f, Update &update) {
                 f.thenEnter(u"boss"_s, u"wrong"_s).then([&update](FakeAlertWindow &) {
                     update.abort();
                 });
             },
             -1001,
             true,
             {adminText, refusedText}});
        row("abort of the not-in-sync alert",
            {[](Fixture &f, Update &update) {
                 f.tools.diskPasswordValid = false;
                 f.thenEnter(u"boss"_s, u"s3cret"_s).then([&update](FakeAlertWindow &) {
                     update.abort();
                 });
             },
             -1001,
             true,
             {adminText, notInSyncText}});
        row("abort of the password dialog's error alert",
            {[](Fixture &f, Update &update) {
                 f.thenEnter(u"boss"_s, u"s3cret"_s)
                     .thenEnter(std::nullopt, u"wrong"_s)
                     .then([&update](FakeAlertWindow &) { update.abort(); });
             },
             -1001,
             true,
             {adminText, userText, wrongPasswordText}});
        row("the administrator dialog ends with an unknown code",
            {[](Fixture &f, Update &) {
                 f.then([&f](FakeAlertWindow &) { f.fake.alerts->stopModal(77); });
             },
             4,
             true,
             {adminText}});
        row("the password dialog ends with an unknown code",
            {[](Fixture &f, Update &) {
                 f.thenEnter(u"boss"_s, u"s3cret"_s).then([&f](FakeAlertWindow &) {
                     f.fake.alerts->stopModal(77);
                 });
             },
             4,
             true,
             {adminText, userText}});
        row("the tools fail", {[](Fixture &f, Update &) {
                                   f.tools.updates = false;
                                   f.tools.failure = toolOutput;
                                   confirmBoth(f);
                                   f.thenPress(ok);
                               },
                               4,
                               false,
                               {adminText, userText, toolOutput}});
        row("the tools fail without a word", {[](Fixture &f, Update &) {
                                                  f.tools.updates = false;
                                                  confirmBoth(f);
                                                  f.thenPress(ok);
                                              },
                                              4,
                                              false,
                                              {adminText, userText, QString()}});
        row("abort of the failure alert",
            {[](Fixture &f, Update &update) {
                 f.tools.updates = false;
                 f.tools.failure = toolOutput;
                 confirmBoth(f);
                 f.then([&update](FakeAlertWindow &) { update.abort(); });
             },
             4,
             false,
             {adminText, userText, toolOutput}});
        row("there is no display", {[](Fixture &f, Update &) { f.fake.alerts->display = false; },
                                    -1001,
                                    true,
                                    {adminText}});
    }
    void resultOfEveryCourse()
    {
        QFETCH(Course, course);
        Fixture f;
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        course.play(f, update);
        QCOMPARE(update.update(), course.result);
        QCOMPARE(f.flag(), course.flagStays);
        QCOMPARE(f.windows(), course.windows);
        QVERIFY(f.fake.alerts->answers.isEmpty());
    }

    void anEmptyUserNameFailsWithALogLineAlone()
    {
        const Fixture f;
        SSSecureTokenUpdate update(nullptr, QString());
        QCOMPARE(update.update(), 4);
        QCOMPARE(f.errors(), QStringList{u"[Error]: updateSecureToken. user name is empty."_s});
        QVERIFY(f.windows().isEmpty());
        QVERIFY(f.flag());
    }

    void cancelReturnsTwoAndTheFlagStaysSet()
    {
        Fixture f;
        f.thenPress(cancel);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 2);
        QVERIFY(f.flag());
        QVERIFY(f.tools.asked.isEmpty());
    }

    void skipReturnsThreeAndLeavesTheFlagToTheController()
    {
        Fixture f;
        f.thenPress(skip);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 3);
        QVERIFY(f.flag());
    }

    void theToolsGetBothCredentials()
    {
        Fixture f;
        confirmBoth(f);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 1);
        QCOMPARE(f.tools.asked.last(), u"update jdoe new-pass boss s3cret"_s);
        QVERIFY(f.errors().isEmpty());
    }

    void aFailedUpdateShowsItsMessageAndReturnsFourWithTheFlagCleared()
    {
        Fixture f;
        f.tools.updates = false;
        f.tools.failure = toolOutput;
        std::optional<bool> flagDuringUpdate;
        f.tools.duringUpdate = [&] { flagDuringUpdate = f.flag(); };
        f.fake.workspace->images.insert(
            u"/Library/ZevrikSelfService/Self-Service Password Reset.app:AppIcon"_s,
            QImage(4, 4, QImage::Format_RGB32));
        confirmBoth(f);
        f.then([](FakeAlertWindow &window) {
            QCOMPARE(window.messageText, toolOutput);
            QCOMPARE(window.style, AlertStyle::Critical);
            QVERIFY(window.icon.has_value());
            QVERIFY(window.buttons.isEmpty());
            QVERIFY(!window.informativeText);
            window.press(ok);
        });
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 4);
        QCOMPARE(flagDuringUpdate, std::optional(false));
        QVERIFY(!f.flag());
        QCOMPARE(f.errors(), QStringList{u"[Error]: Unable update secure token for user: jdoe"_s});
    }

    void abortOfTheFailureAlertStillReturnsFour()
    {
        Fixture f;
        f.tools.updates = false;
        f.tools.failure = toolOutput;
        confirmBoth(f);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        bool aborted = false;
        f.then([&](FakeAlertWindow &) {
            update.abort();
            aborted = true;
        });
        QCOMPARE(update.update(), 4);
        QVERIFY(aborted);
    }

    void aFailureWithoutAMessageIsShownAsSuch()
    {
        Fixture f;
        const auto played = f.fake.childProcesses->answer;
        f.fake.childProcesses->answer = [&](const FakeChildProcesses::Run &run) {
            auto answer = played(run);
            if (f.tools.asked.last().startsWith(u"update "))
                answer.output = "\xFF is no UTF-8";
            return answer;
        };
        confirmBoth(f);
        f.thenPress(ok);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 4);
        QCOMPARE(f.windows().last(), u"(null)"_s);
    }

    void noPasswordIsKeptWhileTheFailureAlertIsOnTheScreen()
    {
        Fixture f;
        const auto memory = std::make_shared<SeeingProtection>();
        f.fake.platform.memory = memory;
        f.tools.updates = false;
        f.tools.failure = toolOutput;
        const auto both = [&] {
            return memory->holds(u"s3cret"_s) && memory->holds(u"new-pass"_s);
        };
        const auto any = [&] { return memory->holds(u"s3cret"_s) || memory->holds(u"new-pass"_s); };
        bool duringUpdate = false;
        f.tools.duringUpdate = [&] { duringUpdate = both(); };
        confirmBoth(f);
        f.then([&](FakeAlertWindow &window) {
            QVERIFY(!any());
            window.press(ok);
        });
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 4);
        QVERIFY(duringUpdate);
    }

    void aFlagThatCannotBeClearedDoesNotHoldTheUpdateUp()
    {
        Fixture f;
        f.fails(u"writeAtomically"_s);
        confirmBoth(f);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 1);
        QVERIFY(f.flag());
        QVERIFY(!f.errors().isEmpty());
    }

    void activateBringsTheTopmostDialogToTheFront()
    {
        Fixture f;
        f.tools.updates = false;
        f.tools.failure = toolOutput;
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        f.then([&update](FakeAlertWindow &window) {
            update.activate();
            enter(window, u"boss"_s, u"s3cret"_s);
            window.press(confirm);
        });
        f.then([&update](FakeAlertWindow &window) {
            update.activate();
            enter(window, std::nullopt, u"new-pass"_s);
            window.press(confirm);
        });
        f.then([&update](FakeAlertWindow &window) {
            update.activate();
            window.press(ok);
        });
        QCOMPARE(update.update(), 4);
        QCOMPARE(f.fake.alerts->broughtToFront, (QStringList{adminText, userText, toolOutput}));
    }

    void activateAndAbortWithoutADialogDoNothing()
    {
        const Fixture f;
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        update.activate();
        update.abort();
        QVERIFY(f.fake.alerts->broughtToFront.isEmpty());
        QVERIFY(f.windows().isEmpty());
    }

    void activateAfterTheFlowDoesNothing()
    {
        Fixture f;
        f.thenPress(cancel);
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), 2);
        update.activate();
        QVERIFY(f.fake.alerts->broughtToFront.isEmpty());
    }

    void theTextsAreThoseOfTheSettingsWhenTheUpdateWasMade()
    {
        Fixture f;
        auto settings = std::make_unique<SSLogonSettings>(*texts({{u"Dialog.Text1"_s, u"Who?"_s}}));
        SSSecureTokenUpdate update(settings.get(), u"jdoe"_s);
        settings.reset();
        f.thenPress(cancel);
        QCOMPARE(update.update(), 2);
        QCOMPARE(f.windows(), QStringList{u"Who?"_s});
    }

    void withoutAnAlertServiceTheFlowIsAborted()
    {
        Fixture f;
        f.fake.platform.alerts.reset();
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        QCOMPARE(update.update(), -1001);
        QVERIFY(f.flag());
        QCOMPARE(f.errors().size(), 1);
    }
};

QTEST_MAIN(tst_SSSecureTokenUpdate)
#include "tst_SSSecureTokenUpdate.moc"
