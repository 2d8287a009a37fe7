#include "filevault/SSSecureTokenAlertUserPassword.h"

#include "filevault/SSElidedLabel.h"
#include "tests/unit/filevault/DialogCases.h"

using namespace Dialog;

namespace {

std::shared_ptr<SSSecureTokenAlertUserPassword> dialogWith(const Texts &given = {})
{
    return SSSecureTokenAlertUserPassword::initWithSettings(
        given.isEmpty() ? nullptr : texts(given), u"jdoe"_s);
}

} // namespace

class tst_SSSecureTokenAlertUserPassword : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theTexts_data()
    {
        QTest::addColumn<Texts>("given");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QList<qint64>>("tags");
        using Tags = QList<qint64>;
        const QString textKey = u"NewPasswordDialog.Text"_s;
        const QString labelKey = u"NewPasswordDialog.PasswordLabel"_s;
        const QString okKey = u"NewPasswordDialog.OkButtonText"_s;
        const QString cancelKey = u"NewPasswordDialog.CancelButtonText"_s;
        const QString label = u"Your password:"_s;
        const QStringList both{u"OK"_s, u"Cancel"_s};
        const Tags bothTags{1001, 1002};
        QTest::newRow("none") << Texts{} << userText << label << both << bothTags;
        QTest::newRow("all empty") << Texts{{textKey, QString()},
                                            {labelKey, QString()},
                                            {okKey, QString()},
                                            {cancelKey, QString()}}
                                   << userText << label << both << bothTags;
        QTest::newRow("message") << Texts{{textKey, u"Neu?"_s}} << u"Neu?"_s << label << both
                                 << bothTags;
        QTest::newRow("label") << Texts{{labelKey, u"Neu:"_s}} << userText << u"Neu:"_s << both
                               << bothTags;
        QTest::newRow("an OK text alone: no Cancel")
            << Texts{{okKey, u"Gut"_s}} << userText << label << QStringList{u"Gut"_s} << Tags{1001};
        QTest::newRow("a Cancel text alone") << Texts{{cancelKey, u"Nein"_s}} << userText << label
                                             << QStringList{u"OK"_s, u"Nein"_s} << bothTags;
        QTest::newRow("both buttons")
            << Texts{{okKey, u"Gut"_s}, {cancelKey, u"Nein"_s}} << userText << label
            << QStringList{u"Gut"_s, u"Nein"_s} << bothTags;
    }
    void theTexts()
    {
        QFETCH(Texts, given);
        QFETCH(QString, message);
        QFETCH(QString, label);
        QFETCH(QStringList, titles);
        QFETCH(QList<qint64>, tags);
        Fixture f;
        f.then([&](FakeAlertWindow &window) {
            QCOMPARE(window.messageText, message);
            QVERIFY(!window.informativeText);
            QVERIFY(!panel(window).userName());
            QVERIFY(!panel(window).userNameEdit());
            QVERIFY(!panel(window).userNameLabel());
            QCOMPARE(panel(window).passwordLabel()->plainText(), label);
            QCOMPARE(window.titles(), titles);
            QCOMPARE(window.tags(), tags);
            QCOMPARE(window.cancelTag, std::optional(cancel));
            QCOMPARE(window.firstResponder, panel(window).passwordEdit());
            QVERIFY(window.laidOut);
            window.closeByWindowManager();
        });
        QCOMPARE(dialogWith(given)->doModal(), 2);
    }

    void theRightPasswordEndsTheDialog()
    {
        Fixture f;
        f.thenEnter(std::nullopt, u"new-pass"_s);
        const auto dialog = dialogWith();
        QVERIFY(!dialog->userPassword());
        QCOMPARE(dialog->doModal(), 1);
        QCOMPARE(utf16(*dialog->userPassword()), u"new-pass"_s);
        QCOMPARE(f.directory->calls.last().query.value, u"jdoe"_s);
        QVERIFY(f.tools.asked.isEmpty());
    }

    void aWrongPasswordIsClearedAndAskedForAgain()
    {
        Fixture f;
        f.then([](FakeAlertWindow &window) {
            enter(window, std::nullopt, u"wrong"_s);
            window.firstResponder = nullptr;
            window.press(confirm);
            QVERIFY(entered(window).isEmpty());
            QCOMPARE(window.firstResponder, panel(window).passwordEdit());
            enter(window, std::nullopt, u"new-pass"_s);
            window.press(confirm);
        });
        f.then([](FakeAlertWindow &window) {
            QCOMPARE(window.style, AlertStyle::Critical);
            window.press(ok);
        });
        const auto dialog = dialogWith();
        QCOMPARE(dialog->doModal(), 1);
        QCOMPARE(f.windows(), (QStringList{userText, wrongPasswordText}));
        QCOMPARE(utf16(*dialog->userPassword()), u"new-pass"_s);
    }

    void theErrorAlertHasItsOwnText()
    {
        Fixture f;
        f.then([](FakeAlertWindow &window) {
            window.press(confirm);
            window.press(cancel);
        });
        f.thenPress(ok);
        const auto dialog =
            dialogWith({{u"NewPasswordDialog.InvalidPasswordError"_s, u"Falsch."_s}});
        QCOMPARE(dialog->doModal(), 2);
        QCOMPARE(f.windows(), (QStringList{userText, u"Falsch."_s}));
        QVERIFY(!dialog->userPassword());
    }

    void anAbortOfTheErrorAlertEndsTheDialog()
    {
        Fixture f;
        const auto dialog = dialogWith();
        f.thenEnter(std::nullopt, u"wrong"_s).then([&](FakeAlertWindow &) { dialog->abort(); });
        QCOMPARE(dialog->doModal(), -1001);
        QVERIFY(!dialog->userPassword());
    }

    void aButtonThatCannotDoWhatItDid_data()
    {
        addBrokenButtons(u"SSSecureTokenAlertUserPassword"_s);
    }
    void aButtonThatCannotDoWhatItDid()
    {
        pressBrokenButton([] { return dialogWith(); }, std::nullopt, u"new-pass"_s);
    }

    void withoutADisplayNoViewIsMade()
    {
        runWithoutADisplay([] { return dialogWith(); }, userText);
    }
};

QTEST_MAIN(tst_SSSecureTokenAlertUserPassword)
#include "tst_SSSecureTokenAlertUserPassword.moc"
