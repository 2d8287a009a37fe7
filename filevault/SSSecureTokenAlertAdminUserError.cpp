#include "filevault/SSSecureTokenAlertAdminUserError.h"

#include "filevault/SSDialogText.h"

#include <utility>

SSSecureTokenAlertAdminUserError::SSSecureTokenAlertAdminUserError(
    std::shared_ptr<const SSLogonSettings> settings)
    : SSSecureTokenErrorAlert(std::move(settings))
{
}

QString SSSecureTokenAlertAdminUserError::message() const
{
    return SSDialogText::text(settings(), &SSLogonSettings::fileVaultDialogNotSecureTokenError,
                              "The username/password is incorrect or the specified account is not "
                              "a SecureToken administrator.");
}
