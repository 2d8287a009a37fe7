#include "filevault/SSSecureTokenErrorAlert.h"

#include "foundation/SSLogger.h"
#include "foundation/SSUtils.h"
#include "platform/Alerts.h"
#include "platform/Platform.h"
#include "settings/SSLogonSettings.h"

#include <utility>

SSSecureTokenErrorAlert::SSSecureTokenErrorAlert(std::shared_ptr<const SSLogonSettings> settings)
    : m_settings(std::move(settings))
{
}

SSSecureTokenErrorAlert::~SSSecureTokenErrorAlert() = default;

qint64 SSSecureTokenErrorAlert::runModal()
{
    const auto alerts = Platform::current().alerts;
    if (!alerts || m_window) {
        SSLog(1, SSMessageType::Error, "There is nothing to show the alert with: %@", message());
        return ModalResponse::Abort;
    }
    m_window = alerts->makeWindow();
    m_window->setMessageText(message());
    m_window->setAlertStyle(AlertStyle::Critical);
    m_window->setIcon(SSUtils::appIcon());
    m_window->layout();
    const qint64 response = m_window->runModal();
    m_window.reset();
    return response;
}

void SSSecureTokenErrorAlert::activate()
{
    if (m_window)
        m_window->makeKeyAndOrderFront();
}

void SSSecureTokenErrorAlert::abort()
{
    if (const auto alerts = Platform::current().alerts)
        alerts->stopModal(ModalResponse::Abort);
}
