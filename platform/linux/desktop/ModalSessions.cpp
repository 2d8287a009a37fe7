#include "platform/linux/desktop/ModalSessions.h"

#include "platform/Alerts.h"
#include "platform/linux/desktop/AlertDialog.h"

#include <QApplication>
#include <QEvent>

#include <algorithm>

qint64 ModalSessions::run(AlertDialog &dialog)
{
    const bool runs =
        std::any_of(m_sessions.cbegin(), m_sessions.cend(),
                    [&dialog](const Session *session) { return session->dialog == &dialog; });
    if (runs)
        return ModalResponse::Abort;

    Session session(dialog);
    QWidget *below = m_sessions.empty() ? nullptr : m_sessions.back()->dialog;
    if (m_sessions.empty())
        qApp->installEventFilter(this);
    m_sessions.push_back(&session);
    dialog.showAbove(below);
    if (!session.code)
        session.loop.exec(QEventLoop::DialogExec);
    dialog.hide();
    m_sessions.pop_back();
    if (m_sessions.empty())
        qApp->removeEventFilter(this);
    else
        m_sessions.back()->dialog->activateWindow();
    return session.code.value_or(ModalResponse::Abort);
}

void ModalSessions::end(Session &session, qint64 code)
{
    session.code = code;
    // At once, so that nothing more is entered, and no window is left that could refuse a quit.
    session.dialog->hide();
    session.loop.exit();
}

void ModalSessions::stop(qint64 code)
{
    const auto innermost = std::find_if(m_sessions.rbegin(), m_sessions.rend(),
                                        [](const Session *session) { return !session->code; });
    if (innermost != m_sessions.rend())
        end(**innermost, code);
}

void ModalSessions::stop(const AlertDialog &dialog, qint64 code)
{
    if (isInnermost(dialog))
        end(*m_sessions.back(), code);
}

bool ModalSessions::isInnermost(const AlertDialog &dialog) const
{
    return !m_sessions.empty() && m_sessions.back()->dialog == &dialog && !m_sessions.back()->code;
}

void ModalSessions::raise(const AlertDialog &dialog) const
{
    auto session = std::find_if(m_sessions.cbegin(), m_sessions.cend(),
                                [&dialog](const Session *one) { return one->dialog == &dialog; });
    if (session == m_sessions.cend())
        return;
    for (; session != m_sessions.cend(); ++session)
        (*session)->dialog->raise();
    m_sessions.back()->dialog->activateWindow();
}

bool ModalSessions::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::Quit) {
        for (auto session = m_sessions.rbegin(); session != m_sessions.rend(); ++session) {
            if (!(*session)->code)
                end(**session, ModalResponse::Abort);
        }
    }
    return false;
}
