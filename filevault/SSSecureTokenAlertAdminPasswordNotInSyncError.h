#pragma once

#include "filevault/SSSecureTokenErrorAlert.h"

#include <memory>

/// Says that the administrator's disk password is not his account's password.
class SSSecureTokenAlertAdminPasswordNotInSyncError final : public SSSecureTokenErrorAlert
{
public:
    explicit SSSecureTokenAlertAdminPasswordNotInSyncError(
        std::shared_ptr<const SSLogonSettings> settings);

private:
    [[nodiscard]] QString message() const override;
};
