#include "filevault/SSSecureTokenUpdate.h"

#include "filevault/SSBusyCursor.h"
#include "filevault/SSSecureTokenAlertAdminUser.h"
#include "filevault/SSSecureTokenAlertUserPassword.h"
#include "filevault/SSSecureTokenErrorAlert.h"
#include "filevault/SSSecureTokenHelper.h"
#include "foundation/SSFormat.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/Alerts.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"

#include <utility>

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

    Credentials credentials;
    const qint64 result = askForCredentials(credentials);
    if (result != SSUpdateResult::Done)
        return result;

    // Before the tools run: the flow is not offered again after a failure.
    static_cast<void>(SSSecureTokenHelper::resetPasswordChangedFlag());
    std::optional<QString> message;
    // Given away: the alert below may be on the screen for hours.
    if (runTools(std::move(credentials), message))
        return SSUpdateResult::Done;
    SSLog(1, SSMessageType::Error, "Unable update secure token for user: %@", m_userName);
    alertWithMessage(message);
    return SSUpdateResult::Failed;
}

qint64 SSSecureTokenUpdate::askForCredentials(Credentials &credentials)
{
    m_alertAdminUser = SSSecureTokenAlertAdminUser::initWithSettings(m_settings);
    // Kept here as well: whatever the dialog's event loop calls may drop the property.
    const auto adminUser = m_alertAdminUser;
    qint64 result = adminUser->doModal();
    m_alertAdminUser.reset();
    if (result != SSUpdateResult::Done)
        return result;
    credentials.adminUserName = adminUser->adminUserName();
    credentials.adminPassword = adminUser->adminPassword();

    m_alertUserPassword = SSSecureTokenAlertUserPassword::initWithSettings(m_settings, m_userName);
    const auto user = m_alertUserPassword;
    result = user->doModal();
    m_alertUserPassword.reset();
    credentials.userPassword = user->userPassword();
    return result;
}

bool SSSecureTokenUpdate::runTools(Credentials &&credentials, std::optional<QString> &message) const
{
    const Credentials mine = std::move(credentials); // and gone with this function
    const SSBusyCursor busy;
    return SSSecureTokenHelper::updateSecureTokenUserWithUserName(
        m_userName, *mine.userPassword, mine.adminUserName, *mine.adminPassword, message);
}

void SSSecureTokenUpdate::alertWithMessage(const std::optional<QString> &message)
{
    m_alertError = std::make_unique<FailureAlert>(SSFormat::format("%@", message));
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
