#pragma once

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>
#include <utility>

class QWidget;

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
    /// Takes the window off the screen; nothing when it is not on it.
    virtual void close() = 0;
};

/// A button of an alert window. Pressed, it calls its action, an invokable that takes the button as
/// its one argument, on its target. As the window makes it, that ends the window's session with the
/// button's tag.
class AlertButton final : public QObject
{
    Q_OBJECT
public:
    AlertButton(QString title, qint64 tag) : m_title(std::move(title)), m_tag(tag) {}

    [[nodiscard]] const QString &title() const { return m_title; }
    [[nodiscard]] qint64 tag() const { return m_tag; }
    [[nodiscard]] std::weak_ptr<QObject> target() const { return m_target; }
    [[nodiscard]] const QByteArray &action() const { return m_action; }
    void setTarget(std::weak_ptr<QObject> target) { m_target = std::move(target); }
    void setAction(const QByteArray &action) { m_action = action; }

private:
    const QString m_title;
    const qint64 m_tag;
    std::weak_ptr<QObject> m_target;
    QByteArray m_action;
};

/// An alert with buttons of the caller's choice and a view of his own, set up before it is run. The
/// default key presses the first button, Escape the cancel button and nothing where there is none.
/// Main thread only.
class AlertWindow
{
public:
    virtual ~AlertWindow() = default;

    /// The first text. Empty without a call.
    virtual void setMessageText(const QString &text) = 0;
    /// The text below it, which scrolls when it is long. Empty without a call.
    virtual void setInformativeText(const QString &text) = 0;
    /// Chooses the icon where setIcon() gave none.
    virtual void setAlertStyle(AlertStyle style) = 0;
    /// Absent: the icon of the style.
    virtual void setIcon(const std::optional<QImage> &icon) = 0;

    /// In the order in which they are added. A window without any gets one, "OK", with the tag
    /// FirstButton, which Escape presses as well.
    virtual std::shared_ptr<AlertButton> addButton(const QString &title, qint64 tag) = 0;
    /// Which button Escape presses, and what a close by the window manager ends the session with,
    /// whether there is a button of that tag or not.
    virtual void setCancelTag(qint64 tag) = 0;

    /// Shown between the texts and the buttons. Stays the caller's, who lets it live as long as the
    /// window.
    virtual void setAccessoryView(QWidget *view) = 0;
    /// Puts the texts, the view and the buttons in their places and their keyboard order.
    virtual void layout() = 0;
    /// The view has the keyboard when the window is shown.
    virtual void makeFirstResponder(QWidget *view) = 0;

    /// Shows the window and runs a nested event loop until the session ends: the pressed button's
    /// tag or the code of AlertPresenter::stopModal(). Abort, with a log line, when there is no
    /// display. Ends with Abort when the application quits.
    [[nodiscard]] virtual qint64 runModal() = 0;
    /// Brings the window on the screen before the others and gives it the keyboard.
    virtual void makeKeyAndOrderFront() = 0;
};

/// Shows modal alerts. Main thread only.
class AlertPresenter
{
public:
    virtual ~AlertPresenter() = default;

    /// Whether there is a display. Without one a view must not even be made.
    [[nodiscard]] virtual bool canShow() = 0;
    /// Never null.
    [[nodiscard]] virtual std::unique_ptr<AlertWindow> makeWindow() = 0;
    /// Ends the innermost modal session, of a window or an alert, with that code; nothing when none
    /// runs. A second call before that session has unwound ends the next one.
    virtual void stopModal(qint64 code) = 0;

    /// The button pressed (FirstButton), or Abort when it was taken down from outside or there is
    /// no display to show it on (logged with the alert's text).
    [[nodiscard]] virtual qint64 runModal(const Alert &alert) = 0;
};
