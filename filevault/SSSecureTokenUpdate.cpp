#include "filevault/SSSecureTokenUpdate.h"

#include "filevault/SSBusyCursor.h"
#include "filevault/SSSecureTokenAlertAdminUser.h"
#include "filevault/SSSecureTokenAlertUserPassword.h"
#include "filevault/SSSecureTokenErrorAlert.h"
#include "filevault/SSSecureTokenHelper.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/Alerts.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"

#include <optional>

namespace {

/// Shows what the tools said, as they said it.
class FailureAlert final : public SSSecureTokenErrorAlert
{
public:
    explicit FailureAlert(const QString &message)
        : SSSecureTokenErrorAlert(nullptr), m_message(message)
    {
    }

private:
    [[nodiscard]] QString message() const override { return m_message; }

    const QString m_message;
};

} // namespace

SSSecureTokenUpdate::SSSecureTokenUpdate(const SSLogonSettings *settings, const QString &userName)
    // A copy: new settings may be loaded while a dialog is on the screen.
    : m_settings(settings ? std::make_shared<const SSLogonSettings>(*settings) : nullptr)
    , m_userName(userName)
{
}

SSSecureTokenUpdate::~SSSecureTokenUpdate() = default;

qint64 SSSecureTokenUpdate::update()
{
    const SSFunctionLog scope("-[SSSecureTokenUpdate update]");
    if (m_userName.isEmpty()) {
        SSLog(1, SSMessageType::Error, "updateSecureToken. user name is empty.");
        return SSUpdateResult::Failed;
    }

    const auto adminUser = SSSecureTokenAlertAdminUser::initWithSettings(m_settings);
    m_alertAdminUser = adminUser;
    qint64 result = adminUser->doModal();
    m_alertAdminUser.reset();
    if (result != SSUpdateResult::Done)
        return result;

    const auto user = SSSecureTokenAlertUserPassword::initWithSettings(m_settings, m_userName);
    m_alertUserPassword = user;
    result = user->doModal();
    m_alertUserPassword.reset();
    if (result != SSUpdateResult::Done)
        return result;

    // Before the tools run: the flow is not offered again after a failure.
    static_cast<void>(SSSecureTokenHelper::resetPasswordChangedFlag());
    std::optional<QString> message;
    bool updated = false;
    {
        const SSBusyCursor busy;
        updated = SSSecureTokenHelper::updateSecureTokenUserWithUserName(
            m_userName, *user->userPassword(), adminUser->adminUserName(),
            *adminUser->adminPassword(), message);
    }
    if (updated)
        return SSUpdateResult::Done;
    SSLog(1, SSMessageType::Error, "Unable update secure token for user: %@", m_userName);
    alertWithMessage(message.value_or(QString()));
    return SSUpdateResult::Failed;
}

void SSSecureTokenUpdate::alertWithMessage(const QString &message)
{
    m_alertError = std::make_unique<FailureAlert>(message);
    m_alertError->runModal();
    m_alertError.reset();
}

void SSSecureTokenUpdate::activate()
{
    if (m_alertError)
        m_alertError->activate();
    else if (m_alertUserPassword)
        m_alertUserPassword->activate();
    else if (m_alertAdminUser)
        m_alertAdminUser->activate();
}

void SSSecureTokenUpdate::abort()
{
    if (m_alertError)
        m_alertError->abort();
    if (m_alertUserPassword)
        m_alertUserPassword->abort();
    if (m_alertAdminUser)
        m_alertAdminUser->abort();
}
