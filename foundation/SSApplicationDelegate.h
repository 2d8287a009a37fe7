#pragma once

#include <QtGlobal>

class ModalWindow;
struct Alert;

/// What shows the program's dialogs: every alert and modal window goes through it. Main thread
/// only.
class SSApplicationDelegate
{
public:
    virtual ~SSApplicationDelegate() = default;
    /// Shows the alert modally; its modal response.
    [[nodiscard]] virtual qint64 alertWithAlert(const Alert &alert) = 0;
    /// Runs the window modally and closes it; its modal response.
    [[nodiscard]] virtual qint64 showModalWindow(ModalWindow &window) = 0;
};
