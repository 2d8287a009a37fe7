#pragma once

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>

/// Shows the pointer of a busy program while it lives: the dialogs do not answer as long as their
/// checks run.
class SSBusyCursor
{
public:
    SSBusyCursor() : m_shown(qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
    {
        if (m_shown)
            QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    }
    ~SSBusyCursor()
    {
        if (m_shown)
            QGuiApplication::restoreOverrideCursor();
    }
    SSBusyCursor(const SSBusyCursor &) = delete;
    SSBusyCursor &operator=(const SSBusyCursor &) = delete;

private:
    const bool m_shown;
};
