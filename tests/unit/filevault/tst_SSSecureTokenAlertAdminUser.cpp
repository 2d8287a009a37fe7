#include "filevault/SSSecureTokenAlertAdminUser.h"

#include "filevault/SSElidedLabel.h"
#include "tests/unit/filevault/DialogCases.h"

using namespace Dialog;

namespace {

using Change = void (*)(Fixture &);

std::shared_ptr<SSSecureTokenAlertAdminUser> dialogWith(const Texts &given = {})
{
    return SSSecureTokenAlertAdminUser::initWithSettings(given.isEmpty() ? nullptr : texts(given));
}

const QString informative =
    u"If you skip this step, you will not be able to log in with the new password when the computer starts up until your administrator resolves this issue."_s;

} // namespace

class tst_SSSecureTokenAlertAdminUser : public QObject
{
    Q_OBJECT

    /// Rows "change", "alert" and "asked": what keeps boss from being taken, what the user is told,
    /// and what the tools were asked before.
    static void addRefusals()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("alert");
        QTest::addColumn<QStringList>("asked");
        const auto row = [](const char *name, Change change, const QString &alert,
                            const QStringList &asked) {
            QTest::newRow(name) << change << alert << asked;
        };
        row("no administrator", [](Fixture &f) { f.fake.identity->memberships.clear(); },
            refusedText, {});
        row("a wrong password", [](Fixture &f) { f.setPasswords({u"other"_s}); }, refusedText, {});
        row("no SecureToken", [](Fixture &f) { f.tools.holdsSecureToken = false; }, refusedText,
            {u"token boss"_s});
        row("another disk password", [](Fixture &f) { f.tools.diskPasswordValid = false; },
            notInSyncText, {u"token boss"_s, u"disk boss s3cret"_s});
        row("the logged-in user himself, without the volume check",
            [](Fixture &f) { f.fake.identity->name = u"BOSS"_s; }, notInSyncText,
            {u"token boss"_s});
        row("the logged-in user by another name",
            [](Fixture &f) { f.fake.identity->userId = 2000; }, notInSyncText, {u"token boss"_s});
    }

private Q_SLOTS:
    void theTexts_data()
    {
        QTest::addColumn<Texts>("given");
        QTest::addColumn<QString>("message");
        QTest::addColumn<std::optional<QString>>("information");
        const std::optional<QString> none;
        QTest::newRow("nothing given") << Texts{} << adminText << std::optional(informative);
        QTest::newRow("both empty")
            << Texts{{u"Dialog.Text1"_s, QString()}, {u"Dialog.Text2"_s, QString()}} << adminText
            << std::optional(informative);
        QTest::newRow("the first alone")
            << Texts{{u"Dialog.Text1"_s, u"Who?"_s}} << u"Who?"_s << none;
        QTest::newRow("the second alone")
            << Texts{{u"Dialog.Text2"_s, u"Why."_s}} << QString() << std::optional(u"Why."_s);
        QTest::newRow("both") << Texts{{u"Dialog.Text1"_s, u"Who?"_s},
                                       {u"Dialog.Text2"_s, u"Why."_s}}
                              << u"Who?"_s << std::optional(u"Why."_s);
        QTest::newRow("placeholders are text")
            << Texts{{u"Dialog.Text1"_s, u"%@ <b>100 %</b>"_s}} << u"%@ <b>100 %</b>"_s << none;
    }
    void theTexts()
    {
        QFETCH(Texts, given);
        QFETCH(QString, message);
        QFETCH(std::optional<QString>, information);
        Fixture f;
        f.then([&](FakeAlertWindow &window) {
            QCOMPARE(window.messageText, message);
            QCOMPARE(window.informativeText, information);
            window.press(confirm);
        });
        static_cast<void>(dialogWith(given)->doModal());
        QCOMPARE(f.windows().size(), 2); // and the error alert, for nobody's name
    }

    void theButtons_data()
    {
        QTest::addColumn<Texts>("given");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QList<qint64>>("tags");
        const QString continueKey = u"Dialog.ContinueButtonText"_s;
        const QString skipKey = u"Dialog.SkipButtonText"_s;
        const QString cancelKey = u"Dialog.CancelButtonText"_s;
        using Tags = QList<qint64>;
        QTest::newRow("all three empty: Continue, Skip, Cancel")
            << Texts{{continueKey, QString()}, {skipKey, QString()}, {cancelKey, QString()}}
            << QStringList{u"Continue"_s, u"Skip"_s, u"Cancel"_s} << Tags{1001, 1003, 1002};
        QTest::newRow("none given") << Texts{} << QStringList{u"Continue"_s, u"Skip"_s, u"Cancel"_s}
                                    << Tags{1001, 1003, 1002};
        QTest::newRow("only a Continue text: only that button")
            << Texts{{continueKey, u"Go"_s}} << QStringList{u"Go"_s} << Tags{1001};
        QTest::newRow("only a Skip text")
            << Texts{{skipKey, u"Later"_s}} << QStringList{u"Continue"_s, u"Later"_s}
            << Tags{1001, 1003};
        QTest::newRow("only a Cancel text")
            << Texts{{cancelKey, u"No"_s}} << QStringList{u"Continue"_s, u"No"_s}
            << Tags{1001, 1002};
        QTest::newRow("Skip and Cancel")
            << Texts{{skipKey, u"Later"_s}, {cancelKey, u"No"_s}}
            << QStringList{u"Continue"_s, u"Later"_s, u"No"_s} << Tags{1001, 1003, 1002};
        QTest::newRow("Continue and Cancel") << Texts{{continueKey, u"Go"_s}, {cancelKey, u"No"_s}}
                                             << QStringList{u"Go"_s, u"No"_s} << Tags{1001, 1002};
        QTest::newRow("Continue and Skip") << Texts{{continueKey, u"Go"_s}, {skipKey, u"Later"_s}}
                                           << QStringList{u"Go"_s, u"Later"_s} << Tags{1001, 1003};
        QTest::newRow("all three")
            << Texts{{continueKey, u"Go"_s}, {skipKey, u"Later"_s}, {cancelKey, u"No"_s}}
            << QStringList{u"Go"_s, u"Later"_s, u"No"_s} << Tags{1001, 1003, 1002};
    }
    void theButtons()
    {
        QFETCH(Texts, given);
        QFETCH(QStringList, titles);
        QFETCH(QList<qint64>, tags);
        Fixture f;
        f.then([&](FakeAlertWindow &window) {
            QCOMPARE(window.titles(), titles);
            QCOMPARE(window.tags(), tags);
            // Also without such a button a close by the window manager is a cancellation.
            QCOMPARE(window.cancelTag, std::optional(cancel));
            window.closeByWindowManager();
        });
        QCOMPARE(dialogWith(given)->doModal(), 2);
    }

    void theLabelsFallBackOneByOne_data()
    {
        QTest::addColumn<Texts>("given");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("password");
        const QString nameKey = u"Dialog.UsernameLabel"_s;
        const QString passwordKey = u"Dialog.PasswordLabel"_s;
        QTest::newRow("none") << Texts{} << u"Username:"_s << u"Password:"_s;
        QTest::newRow("empty") << Texts{{nameKey, QString()}, {passwordKey, QString()}}
                               << u"Username:"_s << u"Password:"_s;
        QTest::newRow("name") << Texts{{nameKey, u"Wer:"_s}} << u"Wer:"_s << u"Password:"_s;
        QTest::newRow("password") << Texts{{passwordKey, u"Was:"_s}} << u"Username:"_s << u"Was:"_s;
        QTest::newRow("both") << Texts{{nameKey, u"Wer:"_s}, {passwordKey, u"Was:"_s}} << u"Wer:"_s
                              << u"Was:"_s;
    }
    void theLabelsFallBackOneByOne()
    {
        QFETCH(Texts, given);
        QFETCH(QString, name);
        QFETCH(QString, password);
        Fixture f;
        f.then([&](FakeAlertWindow &window) {
            QVERIFY(panel(window).userName());
            QCOMPARE(panel(window).userNameLabel()->plainText(), name);
            QCOMPARE(panel(window).passwordLabel()->plainText(), password);
            window.press(cancel);
        });
        QCOMPARE(dialogWith(given)->doModal(), 2);
    }

    void theWindowIsLaidOutWithThePanelAndTheIcon()
    {
        Fixture f;
        QImage icon(4, 4, QImage::Format_RGB32);
        icon.fill(Qt::red);
        f.fake.workspace->images.insert(
            u"/Library/ZevrikSelfService/Self-Service Password Reset.app:AppIcon"_s, icon);
        f.then([&](FakeAlertWindow &window) {
            QCOMPARE(window.icon, std::optional(icon));
            QVERIFY(window.laidOut);
            QVERIFY(panel(window).userNameEdit()->text().isEmpty());
            QVERIFY(entered(window).isEmpty());
            QCOMPARE(window.firstResponder, panel(window).userNameEdit());
            window.press(skip);
        });
        QCOMPARE(dialogWith()->doModal(), 3);
    }

    void aValidAdministratorEndsTheDialog()
    {
        Fixture f;
        f.thenEnter(u"boss"_s, u"s3crét\U0001F511"_s);
        f.setPasswords({u"s3crét\U0001F511"_s});
        const auto dialog = dialogWith();
        QCOMPARE(dialog->doModal(), 1);
        QCOMPARE(dialog->adminUserName(), u"boss"_s);
        QCOMPARE(utf16(*dialog->adminPassword()), u"s3crét\U0001F511"_s);
        QCOMPARE(f.tools.asked, (QStringList{u"token boss"_s, u"disk boss s3crét\U0001F511"_s}));
        QCOMPARE(f.directory->calls.last().query.value, u"boss"_s);
        QVERIFY(!dialog->view());
    }

    void nothingIsKeptUnlessConfirmed()
    {
        Fixture f;
        f.then([](FakeAlertWindow &window) {
            enter(window, u"boss"_s, u"s3cret"_s);
            window.press(cancel);
        });
        const auto dialog = dialogWith();
        QCOMPARE(dialog->doModal(), 2);
        QVERIFY(dialog->adminUserName().isEmpty());
        QVERIFY(!dialog->adminPassword());
    }

    void eachRefusal_data() { addRefusals(); }
    void eachRefusal()
    {
        QFETCH(Change, change);
        QFETCH(QString, alert);
        QFETCH(QStringList, asked);
        Fixture f;
        change(f);
        const auto dialog = dialogWith();
        f.then([&](FakeAlertWindow &window) {
            enter(window, u"boss"_s, u"s3cret"_s);
            window.press(confirm);
            window.press(cancel);
        });
        f.then([](FakeAlertWindow &window) {
            QCOMPARE(window.style, AlertStyle::Critical);
            QVERIFY(window.buttons.isEmpty());
            QVERIFY(!window.accessoryView);
            window.press(ok);
        });
        QCOMPARE(dialog->doModal(), 2);
        QCOMPARE(f.windows(), (QStringList{adminText, alert}));
        QCOMPARE(f.tools.asked, asked);
        QVERIFY(!dialog->adminPassword());
    }

    void aWrongPasswordClearsThePasswordFieldButKeepsTheUserName_data() { addRefusals(); }
    void aWrongPasswordClearsThePasswordFieldButKeepsTheUserName()
    {
        QFETCH(Change, change);
        Fixture f;
        change(f);
        f.then([&](FakeAlertWindow &window) {
            enter(window, u"boss"_s, u"s3cret"_s);
            window.firstResponder = nullptr;
            window.press(confirm);
            QCOMPARE(panel(window).userNameEdit()->text(), u"boss"_s);
            QVERIFY(entered(window).isEmpty());
            QCOMPARE(window.firstResponder, panel(window).passwordEdit());
            window.press(cancel);
        });
        f.thenPress(ok);
        QCOMPARE(dialogWith()->doModal(), 2);
    }

    void anEmptyNameGetsTheFocusAgain()
    {
        Fixture f;
        f.then([](FakeAlertWindow &window) {
            enter(window, QString(), u"s3cret"_s);
            window.firstResponder = nullptr;
            window.press(confirm);
            QCOMPARE(window.firstResponder, panel(window).userNameEdit());
            QVERIFY(entered(window).isEmpty());
            window.press(cancel);
        });
        f.thenPress(ok);
        QCOMPARE(dialogWith()->doModal(), 2);
    }

    void anAbortOfTheErrorAlertEndsTheDialog()
    {
        Fixture f;
        const auto dialog = dialogWith();
        f.thenEnter(u"boss"_s, u"wrong"_s).then([&](FakeAlertWindow &) { dialog->abort(); });
        QCOMPARE(dialog->doModal(), -1001);
    }

    void theDialogIsStillThereAfterAnAnsweredErrorAlert()
    {
        Fixture f;
        f.then([](FakeAlertWindow &window) {
            enter(window, u"boss"_s, u"wrong"_s);
            window.press(confirm);
            enter(window, std::nullopt, u"s3cret"_s);
            window.press(confirm);
        });
        f.thenPress(ok);
        const auto dialog = dialogWith();
        QCOMPARE(dialog->doModal(), 1);
        QCOMPARE(utf16(*dialog->adminPassword()), u"s3cret"_s);
    }

    void reopeningShowsTheConfirmedNameAndPassword()
    {
        Fixture f;
        f.thenEnter(u"boss"_s, u"s3cret"_s);
        const auto dialog = dialogWith();
        QCOMPARE(dialog->doModal(), 1);
        f.then([](FakeAlertWindow &window) {
            QCOMPARE(panel(window).userNameEdit()->text(), u"boss"_s);
            QCOMPARE(entered(window), u"s3cret"_s);
            QCOMPARE(window.firstResponder, panel(window).passwordEdit());
            window.press(cancel);
        });
        QCOMPARE(dialog->doModal(), 2);
        QCOMPARE(utf16(*dialog->adminPassword()), u"s3cret"_s);
    }

    void theErrorAlertsTexts_data()
    {
        QTest::addColumn<quint64>("status");
        QTest::addColumn<Texts>("given");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("log");
        const Texts both{{u"Dialog.NotSecureTokenEnabledError"_s, u"Refused."_s},
                         {u"Dialog.PasswordNotInSyncError"_s, u"Old."_s}};
        const QString line = u"[Error]: Incorrect check password status: %1"_s;
        QTest::newRow("1") << 1ULL << Texts{} << refusedText << QStringList{};
        QTest::newRow("2") << 2ULL << Texts{} << notInSyncText << QStringList{};
        QTest::newRow("3") << 3ULL << Texts{} << refusedText << QStringList{line.arg(3)};
        QTest::newRow("the largest")
            << ~0ULL << Texts{} << refusedText << QStringList{line.arg(u"18446744073709551615"_s)};
        QTest::newRow("1, its own text") << 1ULL << both << u"Refused."_s << QStringList{};
        QTest::newRow("2, its own text") << 2ULL << both << u"Old."_s << QStringList{};
    }
    void theErrorAlertsTexts()
    {
        QFETCH(quint64, status);
        QFETCH(Texts, given);
        QFETCH(QString, text);
        QFETCH(QStringList, log);
        Fixture f;
        const auto dialog = dialogWith(given);
        f.then([&](FakeAlertWindow &window) {
            dialog->alertSecureTokenErrorWithStatus(status);
            window.press(skip);
        });
        f.thenPress(ok);
        QCOMPARE(dialog->doModal(), 3);
        QCOMPARE(f.windows(), (QStringList{adminText, text}));
        QCOMPARE(f.errors(), log);
    }

    void aButtonThatCannotDoWhatItDid_data() { addBrokenButtons(u"SSSecureTokenAlertAdminUser"_s); }
    void aButtonThatCannotDoWhatItDid()
    {
        pressBrokenButton([] { return dialogWith(); }, u"boss"_s, u"s3cret"_s);
    }

    void withoutADisplayNoViewIsMade()
    {
        runWithoutADisplay([] { return dialogWith(); }, adminText);
    }

    void noPasswordIsLogged()
    {
        Fixture f;
        f.tools.diskPasswordValid = false;
        f.then([](FakeAlertWindow &window) {
            enter(window, u"boss"_s, u"s3cret"_s);
            window.press(confirm);
            window.press(cancel);
        });
        f.thenPress(ok);
        QCOMPARE(dialogWith()->doModal(), 2);
        QVERIFY(f.fake.log->lines().size() > 4);
        QVERIFY(f.fake.log->lines().filter(u"s3cret"_s).isEmpty());
    }
};

QTEST_MAIN(tst_SSSecureTokenAlertAdminUser)
#include "tst_SSSecureTokenAlertAdminUser.moc"
