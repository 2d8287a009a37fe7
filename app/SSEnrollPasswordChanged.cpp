// The password-changed flow of the controller: whether the user is to be asked to bring his disk
// encryption password into line, when, and how often.

#include "app/SSEnroll.h"

#include "directory/SSUserInfo.h"
#include "filevault/SSSecureTokenHelper.h"
#include "foundation/SSFunctionLog.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "settings/SSLogonSettings.h"

namespace {

bool holdsSecureToken()
{
    return SSSecureTokenHelper::secureTokenStatusWithUserName(
        Platform::current().identity->accountName());
}

/// What the user is asked again by, in minutes: 0 without a button that says so.
qint32 remindLaterIntervalMins(const SSLogonSettings *settings)
{
    if (!settings || settings->fileVaultPromptRemindLaterButtonText().value_or(QString()).isEmpty())
        return 0;
    return settings->fileVaultPromptRemindLaterIntervalMins();
}

} // namespace

void SSEnroll::preprocessPasswordChangedNotification()
{
    const SSFunctionLog scope("-[SSEnroll preprocessPasswordChangedNotification]");
    if (!needProcessPasswordChanged())
        return;
    if (!SSSecureTokenHelper::passwordChanged()) {
        updatePasswordChangedStage(SSStage::Done);
        return;
    }
    if (SSSecureTokenHelper::fdeStatus() &&
        (!SSSecureTokenHelper::isSecureTokenSupported() || holdsSecureToken())) {
        return;
    }
    // Nothing to bring into line. A failure is in the log, and the flow is over anyhow.
    (void)SSSecureTokenHelper::resetPasswordChangedFlag();
    updatePasswordChangedStage(SSStage::Done);
}

void SSEnroll::updatePasswordChangedStage(quint64 stage)
{
    const SSFunctionLog scope("-[SSEnroll updatePasswordChangedStage:]");
    // A process launched by a click never changes its stages.
    if (!m_notification)
        m_passwordChangedFlow.updateStage(stage);
}

bool SSEnroll::promptIsEnabled() const
{
    const SSLogonSettings *const settings = loginSettings();
    return settings && settings->fileVaultPromptEnabled();
}

bool SSEnroll::startPasswordChangedInitialTimer()
{
    const SSFunctionLog scope("-[SSEnroll startPasswordChangedInitialTimer]");
    stopPasswordChangedTimer();
    const bool wanted = stagePasswordChanged() == SSStage::Initial &&
                        SSSecureTokenHelper::passwordChanged() && promptIsEnabled();
    return m_passwordChangedFlow.armInitialTimer(
        wanted, timerHandler(&SSEnroll::onPasswordChangedInitialTimer));
}

bool SSEnroll::startPasswordChangedTimer()
{
    const SSFunctionLog scope("-[SSEnroll startPasswordChangedTimer]");
    stopPasswordChangedTimer();
    return m_passwordChangedFlow.armReminderTimer(promptIsEnabled(),
                                                  remindLaterIntervalMins(loginSettings()),
                                                  timerHandler(&SSEnroll::onPasswordChangedTimer));
}

void SSEnroll::stopPasswordChangedTimer()
{
    const SSFunctionLog scope("-[SSEnroll stopPasswordChangedTimer]");
    m_passwordChangedFlow.stopTimer();
}

void SSEnroll::onPasswordChangedInitialTimer(const RunLoopTimer *timer)
{
    const SSFunctionLog scope("-[SSEnroll onPasswordChangedInitialTimer:]");
    if (!m_passwordChangedFlow.isCurrentTimer(timer))
        return;
    if (!promptForPasswordChanged())
        return;
    updatePasswordChangedStage(remindLaterIntervalMins(loginSettings()) > 0 ? SSStage::Reminding
                                                                            : SSStage::Done);
}

void SSEnroll::onPasswordChangedTimer(const RunLoopTimer *timer)
{
    const SSFunctionLog scope("-[SSEnroll onPasswordChangedTimer:]");
    if (!m_passwordChangedFlow.isCurrentTimer(timer))
        return;
    if (promptForPasswordChanged())
        updatePasswordChangedStage(SSStage::Reminding);
}

bool SSEnroll::promptForPasswordChanged()
{
    stopPasswordChangedTimer();
    if (!promptIsEnabled()) {
        updatePasswordChangedStage(SSStage::Done);
        return false;
    }
    preprocessPasswordChangedNotification();
    if (!needProcessPasswordChanged()) {
        checkTerminateApplication();
        return false;
    }
    if (!showPasswordChangedNotificationWithSettings(loginSettings())) {
        updatePasswordChangedStage(SSStage::Done);
        return false;
    }
    return true;
}
