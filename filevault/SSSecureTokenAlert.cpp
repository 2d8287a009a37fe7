#include "filevault/SSSecureTokenAlert.h"

#include "filevault/SSCredentialsView.h"
#include "filevault/SSSecureTextField.h"
#include "filevault/SSSecureTokenUpdate.h"
#include "foundation/SSLogger.h"
#include "foundation/SSTargetAction.h"
#include "foundation/SSUtils.h"
#include "platform/Alerts.h"
#include "platform/Platform.h"
#include "settings/SSLogonSettings.h"

#include <utility>

namespace {

qint64 resultOfResponse(qint64 response)
{
    switch (response) {
    case SSButtonTag::Confirm:
        return SSUpdateResult::Done;
    case SSButtonTag::Cancel:
        return SSUpdateResult::Cancelled;
    case SSButtonTag::Skip:
        return SSUpdateResult::Skipped;
    case ModalResponse::Abort:
        return SSUpdateResult::Aborted;
    default:
        return SSUpdateResult::Failed;
    }
}

} // namespace

SSSecureTokenAlert::SSSecureTokenAlert(std::shared_ptr<const SSLogonSettings> settings,
                                       const Messages &messages)
    : m_settings(std::move(settings)), m_messages(messages)
{
}

SSSecureTokenAlert::~SSSecureTokenAlert() = default;

qint64 SSSecureTokenAlert::runDialog()
{
    const auto alerts = Platform::current().alerts;
    if (!alerts || m_window) {
        SSLog(1, SSMessageType::Error, "There is nothing to show the credentials dialog with.");
        return SSUpdateResult::Aborted;
    }
    m_window = alerts->makeWindow();
    m_window->setIcon(SSUtils::appIcon());
    // A close by the window manager is no failure, which would have the flag cleared.
    m_window->setCancelTag(SSButtonTag::Cancel);
    initAlert();
    const qint64 result = resultOfResponse(m_window->runModal());
    if (result == SSUpdateResult::Done && m_view)
        storeEntries();
    if (m_view)
        m_view->passwordEdit()->wipe();
    m_window.reset();
    m_view.reset();
    return result;
}

void SSSecureTokenAlert::activate()
{
    if (m_window)
        m_window->makeKeyAndOrderFront();
}

void SSSecureTokenAlert::abort()
{
    if (const auto alerts = Platform::current().alerts)
        alerts->stopModal(ModalResponse::Abort);
}

void SSSecureTokenAlert::setMessage(const QString &message)
{
    m_window->setMessageText(message);
}

void SSSecureTokenAlert::setView(const std::optional<QString> &userNameString,
                                 const QString &passwordString)
{
    if (!Platform::current().alerts->canShow())
        return;
    m_view = SSCredentialsView::initWithUserNameString(userNameString, passwordString);
    m_window->setAccessoryView(m_view.get());
}

void SSSecureTokenAlert::addButton(const QString &title, qint64 tag)
{
    m_window->addButton(title, tag);
}

void SSSecureTokenAlert::addConfirmButton(const QString &title, const QByteArray &action)
{
    const auto button = m_window->addButton(title, SSButtonTag::Confirm);
    m_buttonTarget = button->target();
    m_buttonAction = button->action();
    button->setTarget(weak_from_this());
    button->setAction(action);
}

void SSSecureTokenAlert::performContinueButtonAction(QObject *button)
{
    const SSTargetAction action(m_buttonTarget, m_buttonAction);
    switch (action.perform(button)) {
    case SSTargetAction::Outcome::Called:
        break;
    case SSTargetAction::Outcome::NothingSet:
    case SSTargetAction::Outcome::TargetMissing:
        SSLog(1, SSMessageType::Error, m_messages.targetMissing);
        break;
    case SSTargetAction::Outcome::ActionMissing:
        SSLog(1, SSMessageType::Error, m_messages.actionMissing);
        break;
    case SSTargetAction::Outcome::OperationMissing:
        SSLog(1, SSMessageType::Error, m_messages.operationMissing, action.action());
        break;
    }
}

void SSSecureTokenAlert::finishError(qint64 response)
{
    if (response == ModalResponse::Abort)
        Platform::current().alerts->stopModal(ModalResponse::Abort);
}
