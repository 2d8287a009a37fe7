#pragma once

#include "filevault/SSSecureTokenErrorAlert.h"

#include <memory>

/// Says that the administrator's credentials were refused.
class SSSecureTokenAlertAdminUserError final : public SSSecureTokenErrorAlert
{
public:
    explicit SSSecureTokenAlertAdminUserError(std::shared_ptr<const SSLogonSettings> settings);

private:
    [[nodiscard]] QString message() const override;
};
