#include "filevault/SSSecureTokenAlertAdminPasswordNotInSyncError.h"

#include "filevault/SSDialogText.h"

#include <utility>

SSSecureTokenAlertAdminPasswordNotInSyncError::SSSecureTokenAlertAdminPasswordNotInSyncError(
    std::shared_ptr<const SSLogonSettings> settings)
    : SSSecureTokenErrorAlert(std::move(settings))
{
}

QString SSSecureTokenAlertAdminPasswordNotInSyncError::message() const
{
    return SSDialogText::text(
        settings(), &SSLogonSettings::fileVaultDialogPasswordNotInSyncError,
        "There is a mismatch between the password of the specified account and FileVault password. "
        "Probably, the account password was recently reset. This account can't access FileVault to "
        "sync your new password. Enter the credentials of another SecureToken administrator "
        "account.");
}
