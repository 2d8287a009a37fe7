#include "app/SSEnrollAppDelegate.h"

#include "app/SSEnroll.h"
#include "app/SSSelfService.h"
#include "foundation/SSFunctionLog.h"
#include "platform/Alerts.h"
#include "platform/Platform.h"

#include <utility>

std::shared_ptr<SSEnrollAppDelegate> SSEnrollAppDelegate::initWithShowExtras(bool showExtras)
{
    return std::shared_ptr<SSEnrollAppDelegate>(new SSEnrollAppDelegate(showExtras));
}

SSEnrollAppDelegate::SSEnrollAppDelegate(bool showExtras) : m_showExtras(showExtras) {}

SSEnrollAppDelegate::~SSEnrollAppDelegate() = default;

void SSEnrollAppDelegate::setEnroll(std::shared_ptr<SSEnroll> enroll)
{
    m_enroll = std::move(enroll);
}

void SSEnrollAppDelegate::applicationDidFinishLaunching(const LaunchNotice &notice)
{
    const SSFunctionLog scope("-[SSEnrollAppDelegate applicationDidFinishLaunching:]");
    if (notice.userNotification || m_showExtras) {
        if (SSEnroll::initWithNotification(notice.userNotification, &m_enroll))
            return;
    } else {
        SSSelfService::showSelfService(this);
    }
    Platform::current().application->terminate();
}

void SSEnrollAppDelegate::applicationWillTerminate()
{
    const SSFunctionLog scope("-[SSEnrollAppDelegate applicationWillTerminate:]");
    if (m_enroll)
        m_enroll->terminate();
    m_enroll.reset();
}

qint64 SSEnrollAppDelegate::alertWithAlert(const Alert &alert)
{
    return Platform::current().alerts->runModal(alert);
}

qint64 SSEnrollAppDelegate::showModalWindow(ModalWindow &window)
{
    const qint64 response = window.runModal();
    window.close();
    return response;
}
