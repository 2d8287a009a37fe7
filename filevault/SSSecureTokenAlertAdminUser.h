#pragma once

#include "filevault/SSSecureTokenAlert.h"

#include <QString>

#include <memory>

class QLineEdit;
class SSSecureData;
class SSSecureTextField;
class SSSecureTokenAlertAdminPasswordNotInSyncError;
class SSSecureTokenAlertAdminUserError;

/// Asks for a SecureToken administrator and his password, and lets the user go on only with one
/// whose password unlocks the disk. The checks block.
class SSSecureTokenAlertAdminUser final : public SSSecureTokenAlert
{
    Q_OBJECT
public:
    /// What checkAdminSecureTokenStatus() finds. Any other value counts as Refused.
    enum Status : quint64 {
        Valid = 0,
        Refused = 1,  ///< no administrator, a wrong password, or no SecureToken
        NotInSync = 2 ///< his disk password is an old one
    };

    /// Null settings: the built-in texts.
    [[nodiscard]] static std::shared_ptr<SSSecureTokenAlertAdminUser>
    initWithSettings(std::shared_ptr<const SSLogonSettings> settings);
    ~SSSecureTokenAlertAdminUser() override;

    /// Runs the dialog; one of SSUpdateResult. It starts with what was confirmed last.
    [[nodiscard]] qint64 doModal();
    /// As confirmed last; empty and null before.
    [[nodiscard]] const QString &adminUserName() const { return m_adminUserName; }
    [[nodiscard]] std::shared_ptr<const SSSecureData> adminPassword() const
    {
        return m_adminPassword;
    }

    /// Of the confirming button.
    Q_INVOKABLE void buttonContinueClicked(QObject *button);
    /// Tells the user why he cannot go on, then empties the password. The dialog is on the screen.
    void alertSecureTokenErrorWithStatus(quint64 status);

private:
    explicit SSSecureTokenAlertAdminUser(std::shared_ptr<const SSLogonSettings> settings);
    void initAlert() override;
    void storeEntries() override;
    [[nodiscard]] quint64 checkAdminSecureTokenStatus();
    void clearAdminPassword();
    void setDefaultResponder();
    [[nodiscard]] QLineEdit *adminUserNameEdit() const;
    [[nodiscard]] SSSecureTextField *adminPasswordEdit() const;

    QString m_adminUserName;
    std::shared_ptr<const SSSecureData> m_adminPassword;
    std::unique_ptr<SSSecureTokenAlertAdminUserError> m_alertError;
    std::unique_ptr<SSSecureTokenAlertAdminPasswordNotInSyncError> m_alertNotInSyncError;
};
