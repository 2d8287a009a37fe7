// The visible side of the enroll flow: its notification, the status-bar item and its menu, and what
// the user does with them; and where clicks on notifications of every kind arrive.

#include "app/SSEnroll.h"

#include "app/SSEnrollUserInfo.h"
#include "app/SSNotificationIdentifiers.h"
#include "directory/SSUserInfo.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "foundation/SSUtils.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/Workspace.h"
#include "settings/SSTraySettings.h"

#include <algorithm>
#include <utility>

namespace {

const QString enrollImage = QStringLiteral("Enroll");
constexpr qint64 removalPollMilliseconds = 100;

bool isEmpty(const std::optional<QString> &text)
{
    return !text || text->isEmpty();
}

} // namespace

bool SSHelper::addItemWithTitleEx(Menu &menu, const std::optional<QString> &title,
                                  std::function<void()> action, const QString &keyEquivalent)
{
    if (isEmpty(title))
        return false;
    menu.items.append({*title, std::move(action), keyEquivalent});
    return true;
}

bool SSEnroll::showEnrollNotification()
{
    const SSFunctionLog scope("-[SSEnroll showEnrollNotification]");
    removeEnrollNotification();
    if (!needProcessEnroll()) {
        SSLog(1, SSMessageType::Error,
              "Stage: %lu is incorrect while enroll notification initialization.", stageEnroll());
        return false;
    }
    UserNotificationCenter &center = *Platform::current().notificationCenter;
    center.setDelegate(weak_from_this());
    if (isEmpty(m_settingsEnroll->enrollNotificationText())) {
        SSLog(1, SSMessageType::Error, "Notification text is empty for stage: %lu.", stageEnroll());
        return false;
    }
    UserNotification notification;
    notification.identifier = SSNotificationIdentifier::enroll;
    notification.title = m_settingsEnroll->enrollNotificationTitle();
    notification.informativeText = m_settingsEnroll->enrollNotificationText();
    if (!isEmpty(m_settingsEnroll->enrollMenuTextEnroll()))
        notification.actionButtonTitle = m_settingsEnroll->enrollMenuTextEnroll();
    center.deliver(notification);
    showMenuBarExtras();
    return true;
}

void SSEnroll::removeEnrollNotification()
{
    const SSFunctionLog scope("-[SSEnroll removeEnrollNotification]");
    removeNotificationWithIdentifier(SSNotificationIdentifier::enroll);
}

void SSEnroll::removeNotificationWithIdentifier(const std::optional<QString> &identifier)
{
    const SSFunctionLog scope("-[SSEnroll removeNotificationWithIdentifier:]");
    UserNotificationCenter &center = *Platform::current().notificationCenter;
    const auto matches = [&identifier](const UserNotification &notification) {
        return !identifier || notification.identifier == *identifier;
    };
    const QList<UserNotification> scheduled = center.scheduledNotifications();
    for (const UserNotification &notification : scheduled) {
        if (matches(notification))
            center.removeScheduledNotification(notification.identifier);
    }
    QList<UserNotification> delivered = center.deliveredNotifications();
    for (const UserNotification &notification : std::as_const(delivered)) {
        if (matches(notification))
            center.removeDeliveredNotification(notification.identifier);
    }
    // Without a limit of its own: the notification centre gives up on a silent server.
    while (delivered = center.deliveredNotifications(),
           std::any_of(delivered.cbegin(), delivered.cend(), matches)) {
        Platform::current().clock->sleepMilliseconds(removalPollMilliseconds);
    }
}

void SSEnroll::removeAllNotificationsSync()
{
    const SSFunctionLog scope("-[SSEnroll removeAllNotificationsSync]");
    removeNotificationWithIdentifier(std::nullopt);
}

void SSEnroll::removeAllNotificationsAsync()
{
    const SSFunctionLog scope("-[SSEnroll removeAllNotificationsAsync]");
    Platform::current().notificationCenter->removeAllDeliveredNotifications();
}

void SSEnroll::showMenuBarExtras()
{
    const SSFunctionLog scope("-[SSEnroll showMenuBarExtras]");
    removeMenuBarExtras();
    m_statusItem = Platform::current().statusBar->squareStatusItem();
    m_statusItem->setImage(enrollImage);
    m_statusItem->setAction([weak = weak_from_this()](StatusItemEvent event) {
        if (const auto self = weak.lock())
            self->menuExtraClicked(event);
    });
    m_statusItem->setMenuProvider([weak = weak_from_this()] {
        const auto self = weak.lock();
        return self ? self->enrollPopupMenu().value_or(Menu()) : Menu();
    });
}

void SSEnroll::removeMenuBarExtras()
{
    const SSFunctionLog scope("-[SSEnroll removeMenuBarExtras]");
    m_statusItem.reset();
}

std::optional<Menu> SSEnroll::enrollPopupMenu()
{
    const SSFunctionLog scope("-[SSEnroll enrollPopupMenu]");
    if (!m_settingsEnroll)
        return std::nullopt;
    const auto action = [this](void (SSEnroll::*button)()) {
        return [weak = weak_from_this(), button] {
            if (const auto self = weak.lock())
                (self.get()->*button)();
        };
    };
    Menu menu;
    SSHelper::addItemWithTitleEx(menu, m_settingsEnroll->enrollMenuTextEnroll(),
                                 action(&SSEnroll::buttonEnrollClicked), {});
    SSHelper::addItemWithTitleEx(menu, m_settingsEnroll->enrollMenuTextExit(),
                                 action(&SSEnroll::buttonExitClicked), {});
    if (menu.items.isEmpty())
        return std::nullopt;
    return menu;
}

void SSEnroll::menuExtraClicked(StatusItemEvent event)
{
    const SSFunctionLog scope("-[SSEnroll menuExtraClicked:]");
    if (event != StatusItemEvent::LeftMouseUp && m_statusItem) {
        if (const std::optional<Menu> menu = enrollPopupMenu()) {
            m_statusItem->popUpMenu(*menu);
            return;
        }
    }
    buttonEnrollClicked();
}

void SSEnroll::buttonEnrollClicked()
{
    const SSFunctionLog scope("-[SSEnroll buttonEnrollClicked]");
    invokeEnroll();
    updateEnrollStage(SSStage::Reminding);
}

void SSEnroll::buttonExitClicked()
{
    const SSFunctionLog scope("-[SSEnroll buttonExitClicked]");
    removeMenuBarExtras();
    removeEnrollNotification();
    updateEnrollStage(SSStage::Done);
}

void SSEnroll::invokeEnroll()
{
    const SSFunctionLog scope("-[SSEnroll invokeEnroll]");
    removeMenuBarExtras();
    removeEnrollNotification();
    showWebBrowser();
}

void SSEnroll::showWebBrowser()
{
    const SSFunctionLog scope("-[SSEnroll showWebBrowser]");
    const std::optional<QString> url = SSUtils::enrollUrlStringWithBaseUrlString(
        m_settingsEnroll ? m_settingsEnroll->enrollWebUiUrl() : std::nullopt);
    if (!url) {
        SSLog(1, SSMessageType::Error, "There is no enrollment page to open.");
        return;
    }
    Platform::current().workspace->openUrl(*url);
}

void SSEnroll::didActivateNotification(const UserNotification &notification)
{
    const SSFunctionLog scope("-[SSEnroll userNotificationCenter:didActivateNotification:]");
    Platform::current().runLoop->performOnMainThread([weak = weak_from_this(), notification] {
        if (const auto self = weak.lock())
            self->processClick(notification);
    });
}

void SSEnroll::processClick(const UserNotification &notification)
{
    if (!m_notification || m_settingsEnroll) {
        processUserNotification(notification);
        return;
    }
    const auto isSame = [&](const UserNotification &other) {
        return other.identifier == notification.identifier &&
               other.additionalActivationAction == notification.additionalActivationAction;
    };
    if (std::none_of(m_waitingClicks.cbegin(), m_waitingClicks.cend(), isSame))
        m_waitingClicks.append(notification);
    const bool hasGivenUp = !m_loadSettingsTimer;
    if (hasGivenUp) {
        m_tryCount = 0;
        loadSettingsAndProcessNotification();
    }
}

void SSEnroll::processWaitingClicks()
{
    for (const UserNotification &click : std::exchange(m_waitingClicks, {})) {
        // The application may end, and with it all of this object's, in the dialog of the one
        // before.
        if (m_notification)
            processUserNotification(click);
    }
}

bool SSEnroll::shouldPresentNotification(const UserNotification &)
{
    return true;
}

void SSEnroll::processUserNotification(const UserNotification &notification)
{
    const SSFunctionLog scope("-[SSEnroll processUserNotification:]");
    const QString identifier = notification.identifier.toUpper();
    if (identifier == SSNotificationIdentifier::enroll) {
        invokeEnroll();
        updateEnrollStage(SSStage::Reminding);
    } else if (identifier == SSNotificationIdentifier::passwordChanged) {
        processPasswordChangedNotification(notification.additionalActivationAction);
    } else {
        removeNotificationWithIdentifier(notification.identifier);
        SSLog(1, SSMessageType::Error, "Unsupported user notification: %@.",
              notification.identifier);
    }
    checkTerminateApplication();
}
