#include "platform/linux/desktop/AlertDialog.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTest>

namespace {

/// What reaches the widget that has the keyboard.
void sendKey(QWidget &widget, Qt::Key key, bool isHeldDown)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(), isHeldDown);
    QApplication::sendEvent(&widget, &press);
}

AlertDialog::Contents alertWithIcon(AlertStyle style)
{
    AlertDialog::Contents contents;
    contents.message = QStringLiteral("message");
    contents.buttons = {QStringLiteral("OK")};
    contents.style = style;
    contents.icon = QImage(128, 128, QImage::Format_ARGB32);
    contents.icon->fill(Qt::blue);
    return contents;
}

QImage shownIcon(const AlertDialog &dialog)
{
    for (const QLabel *label : dialog.findChildren<QLabel *>()) {
        if (!label->pixmap().isNull())
            return label->pixmap().toImage();
    }
    return {};
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

    void anIconCarriesTheBadgeOfACriticalAlert_data()
    {
        QTest::addColumn<AlertStyle>("style");
        QTest::addColumn<Qt::LayoutDirection>("direction");
        QTest::addColumn<QRect>("corner");
        QTest::newRow("warning") << AlertStyle::Warning << Qt::LeftToRight << QRect();
        QTest::newRow("informational") << AlertStyle::Informational << Qt::LeftToRight << QRect();
        QTest::newRow("critical") << AlertStyle::Critical << Qt::LeftToRight
                                  << QRect(32, 32, 32, 32);
        QTest::newRow("critical, from right to left")
            << AlertStyle::Critical << Qt::RightToLeft << QRect(0, 32, 32, 32);
    }
    void anIconCarriesTheBadgeOfACriticalAlert()
    {
        QFETCH(AlertStyle, style);
        QFETCH(Qt::LayoutDirection, direction);
        QFETCH(QRect, corner);
        AlertDialog dialog;
        dialog.setLayoutDirection(direction);
        dialog.setContents(alertWithIcon(style));
        dialog.fit();
        const QImage picture = shownIcon(dialog);
        QCOMPARE(picture.size(), QSize(64, 64));
        QRect changed;
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x) {
                if (picture.pixelColor(x, y) != QColor(Qt::blue))
                    changed |= QRect(x, y, 1, 1);
            }
        }
        QCOMPARE(changed, corner);
        if (!corner.isNull()) {
            // Something is drawn there, and not in the icon's own colour.
            int marks = 0;
            for (int y = corner.top(); y <= corner.bottom(); ++y) {
                for (int x = corner.left(); x <= corner.right(); ++x) {
                    const QColor color = picture.pixelColor(x, y);
                    marks += color.alpha() == 255 && color != QColor(Qt::blue) ? 1 : 0;
                }
            }
            QVERIFY2(marks > 250, qPrintable(QString::number(marks)));
        }
    }

    void theBadgeGoesToTheOtherCornerWithTheDirection()
    {
        AlertDialog dialog;
        dialog.setContents(alertWithIcon(AlertStyle::Critical));
        dialog.fit();
        dialog.show();
        QVERIFY(shownIcon(dialog).pixelColor(8, 56) == QColor(Qt::blue));
        dialog.setLayoutDirection(Qt::RightToLeft);
        QTRY_VERIFY(shownIcon(dialog).pixelColor(56, 56) == QColor(Qt::blue));
        QVERIFY(shownIcon(dialog).pixelColor(8, 56) != QColor(Qt::blue));
    }

    void withoutAnIconTheStyleHasItsOwn()
    {
        QList<QImage> pictures;
        for (const AlertStyle style :
             {AlertStyle::Warning, AlertStyle::Informational, AlertStyle::Critical}) {
            for (const std::optional<QImage> &icon : {std::optional<QImage>(), {QImage()}}) {
                AlertDialog dialog;
                auto contents = alertWithIcon(style);
                contents.icon = icon;
                dialog.setContents(contents);
                dialog.fit();
                pictures.append(shownIcon(dialog));
            }
        }
        for (qsizetype i = 0; i < pictures.size(); i += 2) {
            QVERIFY(!pictures[i].isNull());
            QCOMPARE(pictures[i], pictures[i + 1]);
            QVERIFY(pictures[i] != pictures[(i + 2) % pictures.size()]);
        }
    }
};

QTEST_MAIN(tst_AlertDialog)
#include "tst_AlertDialog.moc"
