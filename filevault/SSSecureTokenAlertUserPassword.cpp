#include "filevault/SSSecureTokenAlertUserPassword.h"

#include "directory/SSUserInfoHelper.h"
#include "filevault/SSBusyCursor.h"
#include "filevault/SSCredentialsView.h"
#include "filevault/SSDialogText.h"
#include "filevault/SSSecureTextField.h"
#include "filevault/SSSecureTokenAlertUserPasswordError.h"
#include "foundation/SSFunctionLog.h"
#include "platform/Alerts.h"
#include "security/SSSecureData.h"

#include <utility>

std::shared_ptr<SSSecureTokenAlertUserPassword>
SSSecureTokenAlertUserPassword::initWithSettings(std::shared_ptr<const SSLogonSettings> settings,
                                                 const QString &userName)
{
    return std::shared_ptr<SSSecureTokenAlertUserPassword>(
        new SSSecureTokenAlertUserPassword(std::move(settings), userName));
}

SSSecureTokenAlertUserPassword::SSSecureTokenAlertUserPassword(
    std::shared_ptr<const SSLogonSettings> settings, const QString &userName)
    : SSSecureTokenAlert(
          std::move(settings),
          {"SSSecureTokenAlertUserPassword target is not assigned.",
           "SSSecureTokenAlertUserPassword action is not assigned.",
           "selctor %@ is not found in SSSecureTokenAlertUserPassword target class."})
    , m_userName(userName)
{
}

SSSecureTokenAlertUserPassword::~SSSecureTokenAlertUserPassword() = default;

qint64 SSSecureTokenAlertUserPassword::doModal()
{
    const SSFunctionLog scope("-[SSSecureTokenAlertUserPassword doModal]");
    return runDialog();
}

void SSSecureTokenAlertUserPassword::initAlert()
{
    setMessage(SSDialogText::text(settings(), &SSLogonSettings::fileVaultNewPasswordDialogText,
                                  "Enter the password for your account."));

    QString okText =
        SSDialogText::text(settings(), &SSLogonSettings::fileVaultNewPasswordDialogOkButtonText);
    QString cancelText = SSDialogText::text(
        settings(), &SSLogonSettings::fileVaultNewPasswordDialogCancelButtonText);
    if (okText.isEmpty() && cancelText.isEmpty())
        cancelText = QStringLiteral("Cancel");
    if (okText.isEmpty())
        okText = QStringLiteral("OK");
    addConfirmButton(okText, "buttonOkClicked");
    if (!cancelText.isEmpty())
        addButton(cancelText, SSButtonTag::Cancel);

    setView(std::nullopt, SSDialogText::text(
                              settings(), &SSLogonSettings::fileVaultNewPasswordDialogPasswordLabel,
                              "Your password:"));
    window().layout();
    setDefaultResponder();
}

void SSSecureTokenAlertUserPassword::storeEntries()
{
    m_userPassword = userPasswordEdit()->secureText();
}

void SSSecureTokenAlertUserPassword::buttonOkClicked(QObject *button)
{
    const SSFunctionLog scope("-[SSSecureTokenAlertUserPassword buttonOkClicked:]");
    if (checkUserPassword())
        performContinueButtonAction(button);
    else
        alertUserPasswordError();
}

bool SSSecureTokenAlertUserPassword::checkUserPassword()
{
    const SSBusyCursor busy;
    return SSUserInfoHelper::verifyPasswordWithUserName(m_userName,
                                                        *userPasswordEdit()->secureText());
}

void SSSecureTokenAlertUserPassword::alertUserPasswordError()
{
    m_alertError = std::make_unique<SSSecureTokenAlertUserPasswordError>(sharedSettings());
    const qint64 response = m_alertError->runModal();
    m_alertError.reset();
    finishError(response);
    clearUserPassword();
    setDefaultResponder();
}

void SSSecureTokenAlertUserPassword::clearUserPassword()
{
    userPasswordEdit()->wipe();
}

void SSSecureTokenAlertUserPassword::setDefaultResponder()
{
    if (view())
        window().makeFirstResponder(userPasswordEdit());
}

SSSecureTextField *SSSecureTokenAlertUserPassword::userPasswordEdit() const
{
    return view()->passwordEdit();
}
