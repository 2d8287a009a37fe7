#include "filevault/SSSecureTokenAlertUserPasswordError.h"

#include "filevault/SSDialogText.h"

#include <utility>

SSSecureTokenAlertUserPasswordError::SSSecureTokenAlertUserPasswordError(
    std::shared_ptr<const SSLogonSettings> settings)
    : SSSecureTokenErrorAlert(std::move(settings))
{
}

QString SSSecureTokenAlertUserPasswordError::message() const
{
    return SSDialogText::text(settings(),
                              &SSLogonSettings::fileVaultNewPasswordDialogInvalidPasswordError,
                              "The password is incorrect.");
}
