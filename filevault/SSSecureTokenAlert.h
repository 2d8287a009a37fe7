#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class AlertButton;
class AlertWindow;
class SSCredentialsView;
class SSLogonSettings;

/// The tags of the dialogs' buttons.
namespace SSButtonTag {
inline constexpr qint64 Confirm = 1001;
inline constexpr qint64 Cancel = 1002;
inline constexpr qint64 Skip = 1003;
} // namespace SSButtonTag

/// What the two dialogs of the update share: an alert window with a panel for credentials, whose
/// confirming button calls the dialog, which checks what was entered before it lets the button end
/// the window. Held by a shared pointer while it runs. Main thread only.
class SSSecureTokenAlert : public QObject, public std::enable_shared_from_this<SSSecureTokenAlert>
{
    Q_OBJECT
public:
    ~SSSecureTokenAlert() override;

    /// Brings the dialog to the front; nothing unless it is on the screen.
    void activate();
    /// Ends the application's innermost modal session with ModalResponse::Abort: the dialog's own,
    /// or that of the error alert that it shows, which then ends the dialog's.
    void abort();

    /// The panel of the dialog on the screen; null otherwise, and without a display.
    [[nodiscard]] SSCredentialsView *view() const { return m_view.get(); }

protected:
    /// What is logged when the confirming button cannot do what it did before. The last has a
    /// placeholder for the action's name.
    struct Messages
    {
        const char *targetMissing;
        const char *actionMissing;
        const char *operationMissing;
    };

    SSSecureTokenAlert(std::shared_ptr<const SSLogonSettings> settings, const Messages &messages);

    /// Null: the built-in texts.
    [[nodiscard]] const SSLogonSettings *settings() const { return m_settings.get(); }
    [[nodiscard]] std::shared_ptr<const SSLogonSettings> sharedSettings() const
    {
        return m_settings;
    }
    /// The window being set up or on the screen.
    [[nodiscard]] AlertWindow &window() const { return *m_window; }

    /// Makes the window and sets it up, runs it and takes it down; one of SSUpdateResult.
    [[nodiscard]] qint64 runDialog();
    /// Sets up texts, buttons and panel.
    virtual void initAlert() = 0;
    /// Keeps what the user confirmed.
    virtual void storeEntries() = 0;

    void setMessage(const QString &message);
    void setView(const std::optional<QString> &userNameString, const QString &passwordString);
    void addButton(const QString &title, qint64 tag);
    /// Adds the confirming button, which calls `action` of this dialog, an invokable, and keeps
    /// what it would have called.
    void addConfirmButton(const QString &title, const QByteArray &action);
    /// Does what the confirming button did before.
    void performContinueButtonAction(QObject *button);
    /// Ends the dialog when the error alert that it has shown was aborted.
    static void finishError(qint64 response);

private:
    std::shared_ptr<const SSLogonSettings> m_settings;
    const Messages m_messages;
    std::unique_ptr<SSCredentialsView> m_view;
    std::unique_ptr<AlertWindow> m_window; // goes before the view in it
    std::weak_ptr<QObject> m_buttonTarget;
    QByteArray m_buttonAction;
};
