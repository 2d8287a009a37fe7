#include "platform/linux/desktop/AlertDialog.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QTest>

namespace {

/// What reaches the widget that has the keyboard.
void sendKey(QWidget &widget, Qt::Key key, bool isHeldDown)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(), isHeldDown);
    QApplication::sendEvent(&widget, &press);
}

} // namespace

class tst_AlertDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keysPressTheButtonsThatTheyStandFor_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<QString>("focus");
        QTest::addColumn<bool>("isHeldDown");
        QTest::addColumn<QList<qsizetype>>("pressed");
        const QList<qsizetype> nothing;
        const QList<qsizetype> first{0};
        const QList<qsizetype> cancel{2};
        for (const char *focus : {"Continue", "Skip", "Cancel"}) {
            const QString button = QString::fromLatin1(focus);
            QTest::addRow("Return, %s", focus) << Qt::Key_Return << button << false << first;
            QTest::addRow("Enter, %s", focus) << Qt::Key_Enter << button << false << first;
            QTest::addRow("Escape, %s", focus) << Qt::Key_Escape << button << false << cancel;
            QTest::addRow("Return held down, %s", focus)
                << Qt::Key_Return << button << true << nothing;
            QTest::addRow("Enter held down, %s", focus)
                << Qt::Key_Enter << button << true << nothing;
            QTest::addRow("Escape held down, %s", focus)
                << Qt::Key_Escape << button << true << nothing;
        }
    }
    void keysPressTheButtonsThatTheyStandFor()
    {
        QFETCH(Qt::Key, key);
        QFETCH(QString, focus);
        QFETCH(bool, isHeldDown);
        QFETCH(QList<qsizetype>, pressed);
        AlertDialog dialog;
        AlertDialog::Contents contents;
        contents.message = QStringLiteral("message");
        contents.buttons = {QStringLiteral("Continue"), QStringLiteral("Skip"),
                            QStringLiteral("Cancel")};
        contents.escapeButton = 2;
        dialog.setContents(contents);
        QList<qsizetype> seen;
        dialog.onButton = [&seen](qsizetype index) { seen.append(index); };
        QPushButton *button = nullptr;
        for (QPushButton *each : dialog.findChildren<QPushButton *>()) {
            if (each->text() == focus)
                button = each;
        }
        QVERIFY(button);
        sendKey(*button, key, isHeldDown);
        QCOMPARE(seen, pressed);
    }
};

QTEST_MAIN(tst_AlertDialog)
#include "tst_AlertDialog.moc"
