#pragma once

#include "filevault/SSSecureTokenErrorAlert.h"

#include <memory>

/// Says that the user's password is not the right one.
class SSSecureTokenAlertUserPasswordError final : public SSSecureTokenErrorAlert
{
public:
    explicit SSSecureTokenAlertUserPasswordError(std::shared_ptr<const SSLogonSettings> settings);

private:
    [[nodiscard]] QString message() const override;
};
