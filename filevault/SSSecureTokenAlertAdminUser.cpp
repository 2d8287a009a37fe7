#include "filevault/SSSecureTokenAlertAdminUser.h"

#include "directory/SSMobileUsersInfo.h"
#include "directory/SSUserInfoHelper.h"
#include "filevault/SSBusyCursor.h"
#include "filevault/SSCredentialsView.h"
#include "filevault/SSDialogText.h"
#include "filevault/SSSecureTextField.h"
#include "filevault/SSSecureTokenAlertAdminPasswordNotInSyncError.h"
#include "filevault/SSSecureTokenAlertAdminUserError.h"
#include "filevault/SSSecureTokenHelper.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/Alerts.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "security/SSSecureData.h"

#include <algorithm>
#include <utility>

namespace {

/// By name without regard to case, and by number, since one person may have two names here.
bool isLoggedInUser(const QString &name)
{
    const auto identity = Platform::current().identity;
    if (name.compare(identity->accountName(), Qt::CaseInsensitive) == 0)
        return true;
    const auto users = identity->usersWithName(name);
    return users && std::any_of(users.value().cbegin(), users.value().cend(),
                                [id = identity->effectiveUserId()](const IdentityRecord &user) {
                                    return user.id == id;
                                });
}

} // namespace

std::shared_ptr<SSSecureTokenAlertAdminUser>
SSSecureTokenAlertAdminUser::initWithSettings(std::shared_ptr<const SSLogonSettings> settings)
{
    return std::shared_ptr<SSSecureTokenAlertAdminUser>(
        new SSSecureTokenAlertAdminUser(std::move(settings)));
}

SSSecureTokenAlertAdminUser::SSSecureTokenAlertAdminUser(
    std::shared_ptr<const SSLogonSettings> settings)
    : SSSecureTokenAlert(std::move(settings),
                         {"SSSecureTokenAlertAdminUser target is not assigned.",
                          "SSSecureTokenAlertAdminUser action is not assigned.",
                          "selctor %@ is not found in SSSecureTokenAlertAdminUser target class."})
{
}

SSSecureTokenAlertAdminUser::~SSSecureTokenAlertAdminUser() = default;

qint64 SSSecureTokenAlertAdminUser::doModal()
{
    const SSFunctionLog scope("-[SSSecureTokenAlertAdminUser doModal]");
    return runDialog();
}

void SSSecureTokenAlertAdminUser::initAlert()
{
    const auto given = [this](SSDialogText::Property text) {
        return SSDialogText::text(settings(), text);
    };
    QString message = given(&SSLogonSettings::fileVaultDialogText1);
    QString informative = given(&SSLogonSettings::fileVaultDialogText2);
    if (message.isEmpty() && informative.isEmpty()) {
        message = QStringLiteral("Enter the username and password of a SecureToken administrator.");
        informative = QStringLiteral(
            "If you skip this step, you will not be able to log in with the new password when the "
            "computer starts up until your administrator resolves this issue.");
    }
    setMessage(message);
    if (!informative.isEmpty())
        window().setInformativeText(informative);

    QString continueText = given(&SSLogonSettings::fileVaultDialogContinueButtonText);
    QString skipText = given(&SSLogonSettings::fileVaultDialogSkipButtonText);
    QString cancelText = given(&SSLogonSettings::fileVaultDialogCancelButtonText);
    if (continueText.isEmpty() && skipText.isEmpty() && cancelText.isEmpty()) {
        skipText = QStringLiteral("Skip");
        cancelText = QStringLiteral("Cancel");
    }
    if (continueText.isEmpty())
        continueText = QStringLiteral("Continue");
    addConfirmButton(continueText, "buttonContinueClicked");
    if (!skipText.isEmpty())
        addButton(skipText, SSButtonTag::Skip);
    if (!cancelText.isEmpty())
        addButton(cancelText, SSButtonTag::Cancel);

    setView(
        SSDialogText::text(settings(), &SSLogonSettings::fileVaultDialogUsernameLabel, "Username:"),
        SSDialogText::text(settings(), &SSLogonSettings::fileVaultDialogPasswordLabel,
                           "Password:"));
    if (view()) {
        adminUserNameEdit()->setText(m_adminUserName);
        adminPasswordEdit()->setSecureText(m_adminPassword.get());
    }
    window().layout();
    setDefaultResponder();
}

void SSSecureTokenAlertAdminUser::storeEntries()
{
    m_adminUserName = adminUserNameEdit()->text();
    m_adminPassword = adminPasswordEdit()->secureText();
}

void SSSecureTokenAlertAdminUser::buttonContinueClicked(QObject *button)
{
    const SSFunctionLog scope("-[SSSecureTokenAlertAdminUser buttonContinueClicked:]");
    const quint64 status = checkAdminSecureTokenStatus();
    if (status == Valid)
        performContinueButtonAction(button);
    else
        alertSecureTokenErrorWithStatus(status);
}

quint64 SSSecureTokenAlertAdminUser::checkAdminSecureTokenStatus()
{
    const SSFunctionLog scope("-[SSSecureTokenAlertAdminUser checkAdminSecureTokenStatus]");
    const SSBusyCursor busy;
    const QString name = adminUserNameEdit()->text();
    const std::shared_ptr<const SSSecureData> password = adminPasswordEdit()->secureText();
    if (!SSMobileUsersInfo::isAdminUser(name))
        return Refused;
    if (!SSUserInfoHelper::verifyPasswordWithUserName(name, *password))
        return Refused;
    if (!SSSecureTokenHelper::isSecureTokenUserWithUserName(name, name, *password))
        return Refused;
    // His own disk password is the one from before the change, so it authorises nothing.
    if (isLoggedInUser(name))
        return NotInSync;
    return SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(name, *password) ? Valid
                                                                                     : NotInSync;
}

void SSSecureTokenAlertAdminUser::alertSecureTokenErrorWithStatus(quint64 status)
{
    qint64 response = 0;
    if (status == NotInSync) {
        m_alertNotInSyncError =
            std::make_unique<SSSecureTokenAlertAdminPasswordNotInSyncError>(sharedSettings());
        response = m_alertNotInSyncError->runModal();
        m_alertNotInSyncError.reset();
    } else {
        if (status != Refused)
            SSLog(1, SSMessageType::Error, "Incorrect check password status: %lu", status);
        m_alertError = std::make_unique<SSSecureTokenAlertAdminUserError>(sharedSettings());
        response = m_alertError->runModal();
        m_alertError.reset();
    }
    finishError(response);
    clearAdminPassword();
    setDefaultResponder();
}

void SSSecureTokenAlertAdminUser::clearAdminPassword()
{
    adminPasswordEdit()->wipe();
}

void SSSecureTokenAlertAdminUser::setDefaultResponder()
{
    if (!view())
        return;
    if (adminUserNameEdit()->text().isEmpty())
        window().makeFirstResponder(adminUserNameEdit());
    else
        window().makeFirstResponder(adminPasswordEdit());
}

QLineEdit *SSSecureTokenAlertAdminUser::adminUserNameEdit() const
{
    return view()->userNameEdit();
}

SSSecureTextField *SSSecureTokenAlertAdminUser::adminPasswordEdit() const
{
    return view()->passwordEdit();
}
