#pragma once

#include "tests/unit/filevault/DialogFixture.h"

#include <QTest>

/// What the administrator's dialog and the new password's have in common.
namespace Dialog {

using Texts = QMap<QString, QString>;

/// Rows "action", "targetLives" and "line": a button of a dialog of that class that has lost what
/// it did, and what the log says when it is pressed.
inline void addBrokenButtons(const QString &className)
{
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<bool>("targetLives");
    QTest::addColumn<QString>("line");
    const QString noTarget = className + u" target is not assigned."_s;
    QTest::newRow("no target") << QByteArray("endWithTag") << false << noTarget;
    QTest::newRow("no action") << QByteArray() << true << className + u" action is not assigned."_s;
    QTest::newRow("no such operation")
        << QByteArray("vanish") << true
        << u"selctor vanish is not found in %1 target class."_s.arg(className);
    QTest::newRow("neither") << QByteArray() << false << noTarget;
}

/// Confirms with such a button, to which nothing happens, and cancels.
template<typename MakeDialog>
void pressBrokenButton(const MakeDialog &makeDialog, const std::optional<QString> &name,
                       const QString &password)
{
    QFETCH(QByteArray, action);
    QFETCH(bool, targetLives);
    QFETCH(QString, line);
    Fixture f;
    f.fake.alerts->buttonAction = action;
    f.fake.alerts->buttonsHaveTarget = targetLives;
    f.then([&](FakeAlertWindow &window) {
        enter(window, name, password);
        window.press(confirm);
        f.fake.alerts->stopModal(cancel);
    });
    QCOMPARE(makeDialog()->doModal(), 2);
    QCOMPARE(f.errors(), QStringList{Flag::error(line)});
}

/// A dialog that asks for that without a display.
template<typename MakeDialog>
void runWithoutADisplay(const MakeDialog &makeDialog, const QString &text)
{
    Fixture f;
    f.fake.alerts->display = false;
    const auto dialog = makeDialog();
    QCOMPARE(dialog->doModal(), -1001);
    QVERIFY(!dialog->view());
    QCOMPARE(f.windows(), QStringList{text});
}

} // namespace Dialog
