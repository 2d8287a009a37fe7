#pragma once

#include <QImage>
#include <QString>

#include <optional>

/// Results of a modal session.
namespace ModalResponse {
inline constexpr qint64 Abort = -1001;
inline constexpr qint64 FirstButton = 1000;
} // namespace ModalResponse

enum class AlertStyle { Warning = 0, Informational = 1, Critical = 2 };

/// A modal alert with one button, "OK".
struct Alert
{
    QString messageText;
    std::optional<QString> informativeText;
    AlertStyle style = AlertStyle::Warning;
    std::optional<QImage> icon;
    /// The alert may show over a login window.
    bool canBecomeVisibleWithoutLogin = false;
};

/// A window that can be run modally.
class ModalWindow
{
public:
    virtual ~ModalWindow() = default;
    /// Shows the window and runs the event loop until it is answered; its result code.
    [[nodiscard]] virtual qint64 runModal() = 0;
    virtual void close() = 0;
};

/// Shows modal alerts. Main thread only.
class AlertPresenter
{
public:
    virtual ~AlertPresenter() = default;
    /// The button pressed (FirstButton), or Abort when it was taken down from outside or there is
    /// no display to show it on (logged with the alert's text).
    [[nodiscard]] virtual qint64 runModal(const Alert &alert) = 0;
};
