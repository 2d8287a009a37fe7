#pragma once

#include <QString>

#include <memory>

class AlertWindow;
class SSLogonSettings;

/// A critical alert with the application's icon, one text and one button, "OK": what every report
/// of a failure in the update looks like. Main thread only.
class SSSecureTokenErrorAlert
{
public:
    virtual ~SSSecureTokenErrorAlert();
    SSSecureTokenErrorAlert(const SSSecureTokenErrorAlert &) = delete;
    SSSecureTokenErrorAlert &operator=(const SSSecureTokenErrorAlert &) = delete;

    /// Builds the text and runs the alert; the modal response, Abort where nothing can show it.
    qint64 runModal();
    /// Brings the alert to the front; nothing unless it is on the screen.
    void activate();
    /// Ends the application's innermost modal session with ModalResponse::Abort.
    void abort();

protected:
    /// Null settings: the built-in texts.
    explicit SSSecureTokenErrorAlert(std::shared_ptr<const SSLogonSettings> settings);

    [[nodiscard]] const SSLogonSettings *settings() const { return m_settings.get(); }
    [[nodiscard]] virtual QString message() const = 0;

private:
    std::shared_ptr<const SSLogonSettings> m_settings;
    std::unique_ptr<AlertWindow> m_window;
};
