#pragma once

#include <QObject>
#include <QString>

#include <deque>
#include <functional>

class QWidget;

/// The user at the dialogs: gives one answer after the other, each once the dialog that it is for
/// is on the screen above all others, with the events of a keyboard.
class Answers final : public QObject
{
    Q_OBJECT
public:
    enum class Dialog { Administrator, NewPassword, Alert, None };

    struct Answer
    {
        Dialog dialog = Dialog::None;
        /// For the entries, in their order.
        QStringList texts = {};
        /// Unless there is an action to be done instead.
        Qt::Key key = Qt::Key_Return;
        std::function<void()> action = {};
    };

    void give(std::deque<Answer> answers);

private:
    void look();
    static void answer(QWidget &dialog, const Answer &answer);

    std::deque<Answer> m_answers;
};
