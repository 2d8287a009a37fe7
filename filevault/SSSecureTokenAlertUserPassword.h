#pragma once

#include "filevault/SSSecureTokenAlert.h"

#include <QString>

#include <memory>

class SSSecureData;
class SSSecureTextField;
class SSSecureTokenAlertUserPasswordError;

/// Asks a user for his new password, and lets him go on only with the right one. The check blocks.
class SSSecureTokenAlertUserPassword final : public SSSecureTokenAlert
{
    Q_OBJECT
public:
    /// Null settings: the built-in texts.
    [[nodiscard]] static std::shared_ptr<SSSecureTokenAlertUserPassword>
    initWithSettings(std::shared_ptr<const SSLogonSettings> settings, const QString &userName);
    ~SSSecureTokenAlertUserPassword() override;

    /// Runs the dialog; one of SSUpdateResult.
    [[nodiscard]] qint64 doModal();
    [[nodiscard]] const QString &userName() const { return m_userName; }
    /// As confirmed last; null before.
    [[nodiscard]] std::shared_ptr<const SSSecureData> userPassword() const
    {
        return m_userPassword;
    }

    /// Of the confirming button.
    Q_INVOKABLE void buttonOkClicked(QObject *button);

private:
    SSSecureTokenAlertUserPassword(std::shared_ptr<const SSLogonSettings> settings,
                                   const QString &userName);
    void initAlert() override;
    void storeEntries() override;
    [[nodiscard]] bool checkUserPassword();
    void alertUserPasswordError();
    void clearUserPassword();
    void setDefaultResponder();
    [[nodiscard]] SSSecureTextField *userPasswordEdit() const;

    const QString m_userName;
    std::shared_ptr<const SSSecureData> m_userPassword;
    std::unique_ptr<SSSecureTokenAlertUserPasswordError> m_alertError;
};
