#include "filevault/SSSecureTextField.h"

#include "security/SSSecureData.h"
#include "tests/support/FakePlatform.h"
#include "tests/unit/filevault/PlayedTools.h"

#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QMimeData>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

QString text(const SSSecureTextField &field)
{
    const auto data = field.secureText();
    return utf16(*data);
}

using Edit = void (*)(SSSecureTextField &);

const QString key = u"\U0001F511"_s; ///< two UTF-16 units

} // namespace

class tst_SSSecureTextField : public QObject
{
    Q_OBJECT

    FakePlatform m_platform;

private Q_SLOTS:
    void whatIsTypedIsKeptAndTheLineEditHasNoneOfIt()
    {
        SSSecureTextField field;
        QTest::keyClicks(&field, u"Pass w0rd!"_s);
        QCOMPARE(text(field), u"Pass w0rd!"_s);
        QCOMPARE(field.text().size(), 10);
        const QString shown = field.text();
        for (const QChar character : u"Pass w0rd!"_s)
            QVERIFY(!shown.contains(character));
        QCOMPARE(field.displayText().count(field.displayText().at(0)), 10);
    }

    void edits_data()
    {
        QTest::addColumn<Edit>("edit");
        QTest::addColumn<QString>("left");
        const auto row = [](const char *name, Edit edit, const QString &left) {
            QTest::newRow(name) << edit << left;
        };
        using Field = SSSecureTextField;
        row(
            "Backspace", [](Field &f) { QTest::keyClick(&f, Qt::Key_Backspace); }, u"abcde"_s);
        row(
            "Delete at the start",
            [](Field &f) {
                f.home(false);
                QTest::keyClick(&f, Qt::Key_Delete);
            },
            u"bcdef"_s);
        row(
            "Delete at the end", [](Field &f) { QTest::keyClick(&f, Qt::Key_Delete); },
            u"abcdef"_s);
        row(
            "Backspace in the middle",
            [](Field &f) {
                f.setCursorPosition(3);
                QTest::keyClick(&f, Qt::Key_Backspace);
            },
            u"abdef"_s);
        row(
            "Backspace over a selection",
            [](Field &f) {
                f.setSelection(1, 3);
                QTest::keyClick(&f, Qt::Key_Backspace);
            },
            u"aef"_s);
        row(
            "a character over a selection made backwards",
            [](Field &f) {
                f.setSelection(4, -3);
                QTest::keyClick(&f, 'X');
            },
            u"aXef"_s);
        row(
            "a character in the middle",
            [](Field &f) {
                f.setCursorPosition(2);
                QTest::keyClick(&f, 'X');
                QTest::keyClick(&f, 'Y');
            },
            u"abXYcdef"_s);
        row(
            "a character at the start",
            [](Field &f) {
                f.home(false);
                QTest::keyClick(&f, 'X');
            },
            u"Xabcdef"_s);
        row(
            "everything replaced",
            [](Field &f) {
                f.selectAll();
                QTest::keyClicks(&f, u"xyz"_s);
            },
            u"xyz"_s);
        row(
            "a word forward: the whole rest",
            [](Field &f) {
                f.setCursorPosition(2);
                QTest::keyClick(&f, Qt::Key_Delete, Qt::ControlModifier);
            },
            u"ab"_s);
        row(
            "a word back: the whole, whose words are not shown",
            [](Field &f) { QTest::keyClick(&f, Qt::Key_Backspace, Qt::ControlModifier); },
            QString());
        row(
            "undo has nothing to bring back",
            [](Field &f) {
                QTest::keyClick(&f, Qt::Key_Backspace);
                QTest::keyClick(&f, Qt::Key_Z, Qt::ControlModifier);
                QTest::keyClick(&f, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
            },
            u"abcde"_s);
        row(
            "a shortcut is no text",
            [](Field &f) { QTest::keyClick(&f, Qt::Key_B, Qt::ControlModifier); }, u"abcdef"_s);
        row(
            "a text set from outside", [](Field &f) { f.setText(u"other"_s); }, u"other"_s);
        row(
            "a text inserted from outside",
            [](Field &f) {
                f.setCursorPosition(3);
                f.insert(u"--"_s);
            },
            u"abc--def"_s);
        row(
            "an outside text over a selection",
            [](Field &f) {
                f.setSelection(1, 2);
                f.insert(u"-"_s);
            },
            u"a-def"_s);
        row(
            "cleared from outside", [](Field &f) { f.clear(); }, QString());
        row(
            "wiped", [](Field &f) { f.wipe(); }, QString());
        row(
            "an input method's commit",
            [](Field &f) {
                QInputMethodEvent event;
                event.setCommitString(u"é"_s);
                QCoreApplication::sendEvent(&f, &event);
            },
            u"abcdefé"_s);
        row(
            "an input method's replacement",
            [](Field &f) {
                QInputMethodEvent event;
                event.setCommitString(u"é"_s, -2, 2);
                QCoreApplication::sendEvent(&f, &event);
            },
            u"abcdé"_s);
        row(
            "an input method's composition",
            [](Field &f) {
                QInputMethodEvent event(u"half"_s, {});
                QCoreApplication::sendEvent(&f, &event);
            },
            u"abcdef"_s);
        row(
            "read only",
            [](Field &f) {
                f.setReadOnly(true);
                QTest::keyClick(&f, 'X');
            },
            u"abcdef"_s);
    }
    void edits()
    {
        QFETCH(Edit, edit);
        QFETCH(QString, left);
        SSSecureTextField field;
        QTest::keyClicks(&field, u"abcdef"_s);
        edit(field);
        QCOMPARE(text(field), left);
        QCOMPARE(field.text().size(), left.size());
        for (const QChar character : left)
            QVERIFY(!field.text().contains(character));
        // And goes on as if nothing had happened.
        field.end(false);
        QTest::keyClick(&field, '!');
        QCOMPARE(text(field), field.isReadOnly() ? left : left + u'!');
    }

    void aCharacterOfTwoUnitsGoesAsAWhole()
    {
        SSSecureTextField field;
        field.setText(u"a"_s + key + u"b"_s);
        QCOMPARE(text(field), u"a"_s + key + u"b"_s);
        field.setCursorPosition(3);
        QTest::keyClick(&field, Qt::Key_Backspace);
        QCOMPARE(text(field), u"ab"_s);
        field.setText(key);
        field.setCursorPosition(1); // in its middle
        QTest::keyClick(&field, 'x');
        QCOMPARE(text(field), key + u'x');
    }

    void aTextAmongCharactersOfTwoUnits()
    {
        SSSecureTextField field;
        field.setText(key + key);
        field.setCursorPosition(2);
        field.insert(u"x\U0001FFF0y"_s); // shares a half with a place holder
        QCOMPARE(text(field), key + u"x\U0001FFF0y"_s + key);
    }

    void pasteTakesTheTextWithoutLineEnds()
    {
        SSSecureTextField field;
        QTest::keyClicks(&field, u"ab"_s);
        field.setCursorPosition(1);
        QGuiApplication::clipboard()->setText(u"s3\r\ncret\n\u2028"_s);
        QTest::keySequence(&field, QKeySequence::Paste);
        QCOMPARE(text(field), u"as3cretb"_s);
        // What this program has put there itself stays.
        QCOMPARE(QGuiApplication::clipboard()->text(), u"s3\r\ncret\n\u2028"_s);
    }

    void nothingCanBeCopiedOrCut()
    {
        SSSecureTextField field;
        QTest::keyClicks(&field, u"s3cret"_s);
        QGuiApplication::clipboard()->setText(u"before"_s);
        field.selectAll();
        QTest::keySequence(&field, QKeySequence::Copy);
        field.copy();
        QTest::keySequence(&field, QKeySequence::Cut);
        QCOMPARE(text(field), u"s3cret"_s);
        field.cut();
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
        QVERIFY(!field.dragEnabled());
        QVERIFY(!field.acceptDrops());
    }

    void theInputMethodIsToldOfASecret()
    {
        const SSSecureTextField field;
        QCOMPARE(field.echoMode(), QLineEdit::Password);
        const auto hints = field.inputMethodHints();
        QVERIFY(hints.testFlag(Qt::ImhHiddenText));
        QVERIFY(hints.testFlag(Qt::ImhSensitiveData));
        QVERIFY(hints.testFlag(Qt::ImhNoPredictiveText));
        QVERIFY(!field.inputMethodQuery(Qt::ImSurroundingText).toString().contains(u's'));
    }

    void aTextThatIsTakenOverIsWipedWhereItWas()
    {
        SSSecureTextField field;
        QString given = u"s3cr"_s + QString::number(37); // storage of its own
        field.setText(given);
        QCOMPARE(text(field), u"s3cr37"_s);
        QCOMPARE(given, QString(6, QChar(0)));
    }

    void aLimitOfTheLengthHolds()
    {
        SSSecureTextField field;
        field.setMaxLength(4);
        QTest::keyClicks(&field, u"abcdef"_s);
        QCOMPARE(text(field), u"abcd"_s);
    }

    void theUndoHistoryIsEmpty()
    {
        SSSecureTextField field;
        QTest::keyClicks(&field, u"abc"_s);
        QVERIFY(!field.isUndoAvailable());
        QVERIFY(!field.isRedoAvailable());
    }

    void secureTextGoesInAndOutUnchanged()
    {
        SSSecureTextField field;
        QVERIFY(field.secureText()->length() == 0);
        const std::array bytes{std::byte{0x61}, std::byte{0x00}, std::byte{0xE9}, std::byte{0x00},
                               std::byte{0x3D}, std::byte{0xD8}, std::byte{0x11}, std::byte{0xDD}};
        const auto data = SSSecureData::dataWithData(bytes);
        field.setSecureText(data.get());
        QCOMPARE(text(field), u"aé\U0001F511"_s);
        QVERIFY(field.secureText()->isEqualToSecureData(data.get()));
        // Half a character is no text, rather than a shorter one.
        field.setSecureText(SSSecureData::dataWithBytes(bytes.data(), 3).get());
        QVERIFY(field.secureText()->length() == 0);
        field.setSecureText(data.get());
        field.setSecureText(nullptr);
        QVERIFY(field.secureText()->length() == 0);
        QVERIFY(field.text().isEmpty());
    }
};

QTEST_MAIN(tst_SSSecureTextField)
#include "tst_SSSecureTextField.moc"
