// What the user sees of the password-changed flow, and what he does with it.

#include "app/SSEnroll.h"

#include "app/SSNotificationIdentifiers.h"
#include "filevault/SSSecureTokenHelper.h"
#include "filevault/SSSecureTokenUpdate.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "settings/SSLogonSettings.h"

#include <optional>

namespace {

using Text = std::optional<QString>;

struct PromptTexts
{
    Text title;
    Text text;
    Text skipButton;
    Text remindLaterButton;
};

bool isEmpty(const Text &text)
{
    return !text || text->isEmpty();
}

PromptTexts promptTexts(const SSLogonSettings *settings)
{
    PromptTexts texts;
    if (settings) {
        texts = {settings->fileVaultPromptTitle(), settings->fileVaultPromptText(),
                 settings->fileVaultPromptSkipButtonText(),
                 settings->fileVaultPromptRemindLaterButtonText()};
    }
    // All or nothing, on purpose: a title alone leaves the text absent.
    if (!isEmpty(texts.title) || !isEmpty(texts.text))
        return texts;
    texts.title = QStringLiteral("Complete your password reset");
    texts.text = QStringLiteral(
        "It must be done in order to use the new password after reboot or shutdown.");
    if (isEmpty(texts.skipButton) && isEmpty(texts.remindLaterButton)) {
        texts.skipButton = QStringLiteral("Skip");
        texts.remindLaterButton = QStringLiteral("Later");
    }
    return texts;
}

} // namespace

bool SSEnroll::showPasswordChangedNotificationWithSettings(const SSLogonSettings *settings)
{
    const SSFunctionLog scope("-[SSEnroll showPasswordChangedNotificationWithSettings:]");
    removePasswordChangedNotification();
    if (!needProcessPasswordChanged()) {
        SSLog(1, SSMessageType::Error,
              "Stage: %lu is incorrect while password changed notification initialization.",
              stagePasswordChanged());
        return false;
    }
    UserNotificationCenter &center = *Platform::current().notificationCenter;
    center.setDelegate(weak_from_this());
    const PromptTexts texts = promptTexts(settings);
    UserNotification notification;
    notification.identifier = SSNotificationIdentifier::passwordChanged;
    notification.title = texts.title;
    notification.informativeText = texts.text;
    const auto offer = [&notification](const QString &identifier, const Text &title) {
        if (!isEmpty(title))
            notification.additionalActions.append({identifier, *title});
    };
    offer(SSNotificationIdentifier::skipAction, texts.skipButton);
    offer(SSNotificationIdentifier::remindLaterAction, texts.remindLaterButton);
    center.deliver(notification);
    return true;
}

void SSEnroll::removePasswordChangedNotification()
{
    const SSFunctionLog scope("-[SSEnroll removePasswordChangedNotification]");
    removeNotificationWithIdentifier(SSNotificationIdentifier::passwordChanged);
}

void SSEnroll::processPasswordChangedNotification(const Text &action)
{
    if (!action) {
        processPasswordChangedAction();
    } else if (*action == SSNotificationIdentifier::skipAction) {
        processSkipAction();
    } else if (*action == SSNotificationIdentifier::remindLaterAction) {
        processLaterAction();
    } else {
        removePasswordChangedNotification();
        SSLog(1, SSMessageType::Error, "Unsupported action identifier: %@.", *action);
    }
}

void SSEnroll::processPasswordChangedAction()
{
    const SSFunctionLog scope("-[SSEnroll processPasswordChangedAction]");
    if (!m_secureTokenUpdate.expired() || !SSSecureTokenHelper::passwordChanged())
        return;
    // The application may end below the dialogs: this and the update stay until they have unwound.
    const auto self = shared_from_this();
    const auto update = std::make_shared<SSSecureTokenUpdate>(
        loginSettings(), Platform::current().identity->accountName());
    m_secureTokenUpdate = update;
    processUpdateResult(update->update());
    m_secureTokenUpdate.reset();
}

void SSEnroll::processUpdateResult(qint64 result)
{
    switch (result) {
    case SSUpdateResult::Cancelled:
    case SSUpdateResult::Aborted:
        return;
    case SSUpdateResult::Skipped:
        processSkipAction();
        return;
    default:
        // Reported to the user already; the flow is over all the same.
        SSLog(1, SSMessageType::Error, "Invalid secureToken status: %lu",
              static_cast<quint64>(result));
        [[fallthrough]];
    case SSUpdateResult::Done:
        removePasswordChangedNotification();
        (void)SSSecureTokenHelper::resetPasswordChangedFlag();
        updatePasswordChangedStage(SSStage::Done);
    }
}

void SSEnroll::processSkipAction()
{
    const SSFunctionLog scope("-[SSEnroll processSkipAction]");
    removePasswordChangedNotification();
    if (const auto update = m_secureTokenUpdate.lock())
        update->abort();
    (void)SSSecureTokenHelper::resetPasswordChangedFlag();
    updatePasswordChangedStage(SSStage::Done);
}

void SSEnroll::processLaterAction()
{
    const SSFunctionLog scope("-[SSEnroll processLaterAction]");
    removePasswordChangedNotification();
    updatePasswordChangedStage(SSStage::Reminding);
    if (const auto update = m_secureTokenUpdate.lock())
        update->abort();
}
