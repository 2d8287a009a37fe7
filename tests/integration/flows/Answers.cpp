#include "tests/integration/flows/Answers.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace {

constexpr int kLookMilliseconds = 2;

/// In the order from top to bottom.
QList<QLineEdit *> entries(const QWidget &dialog)
{
    QList<QLineEdit *> found = dialog.findChildren<QLineEdit *>();
    std::sort(found.begin(), found.end(),
              [](const QLineEdit *one, const QLineEdit *other) { return one->y() < other->y(); });
    return found;
}

bool isOnScreen(const QWidget &dialog)
{
    return dialog.isVisible() && dialog.windowHandle() && dialog.windowHandle()->isExposed();
}

Answers::Dialog kind(const QWidget *dialog)
{
    if (!dialog)
        return Answers::Dialog::None;
    switch (entries(*dialog).size()) {
    case 2:
        return Answers::Dialog::Administrator;
    case 1:
        return Answers::Dialog::NewPassword;
    default:
        return Answers::Dialog::Alert;
    }
}

void press(QWidget &widget, int key, const QString &text = {})
{
    QCoreApplication::postEvent(&widget,
                                new QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier, text));
    QCoreApplication::postEvent(&widget,
                                new QKeyEvent(QEvent::KeyRelease, key, Qt::NoModifier, text));
}

} // namespace

void Answers::give(std::deque<Answer> answers)
{
    m_answers = std::move(answers);
    look();
}

void Answers::look()
{
    if (m_answers.empty())
        return;
    // Before the answer, which may open a dialog of its own below this call.
    QTimer::singleShot(kLookMilliseconds, this, &Answers::look);
    QWidget *const dialog = QApplication::activeModalWidget();
    if (kind(dialog) != m_answers.front().dialog || (dialog && !isOnScreen(*dialog)))
        return;
    const Answer next = std::exchange(m_answers.front(), {});
    m_answers.pop_front();
    if (next.action)
        next.action();
    else
        answer(*dialog, next);
}

void Answers::answer(QWidget &dialog, const Answer &answer)
{
    const QList<QLineEdit *> edits = entries(dialog);
    for (qsizetype i = 0; i < answer.texts.size(); ++i) {
        edits.at(i)->selectAll();
        for (const QChar letter : answer.texts.at(i))
            press(*edits.at(i), 0, QString(letter));
    }
    press(edits.isEmpty() ? dialog : *edits.last(), answer.key);
}
