#include "app/SSSelfService.h"

#include "directory/SSConnectionPointHelper.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSUtils.h"
#include "platform/Platform.h"
#include "platform/Workspace.h"
#include "settings/SSLogonSettings.h"

SSSelfService::SSSelfService() = default;
SSSelfService::~SSSelfService() = default;

void SSSelfService::showSelfService(SSApplicationDelegate *delegate)
{
    const SSFunctionLog scope("+[SSSelfService showSelfService]");
    SSSelfService service;
    if (!service.loadSettings()) {
        SSUtils::alertWithMessage(QStringLiteral("This service is not configured."), delegate);
        return;
    }
    const std::optional<QString> url = service.getSelfServiceURL();
    if (!url) {
        SSUtils::alertWithMessage(QStringLiteral("This service is currently disabled."), delegate);
        return;
    }
    Platform::current().workspace->openUrl(*url);
}

bool SSSelfService::loadSettings()
{
    const SSFunctionLog scope("-[SSSelfService loadSettings]");
    if (const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords()) {
        m_loginSettings = std::make_unique<SSLogonSettings>();
        m_loginSettings->loadFromConnectionPointKeywords(keywords.get());
    } else {
        m_loginSettings = SSLogonSettings::settingsFromCache();
    }
    return m_loginSettings != nullptr;
}

std::optional<QString> SSSelfService::getSelfServiceURL() const
{
    return m_loginSettings ? m_loginSettings->linkURL() : std::nullopt;
}
