#pragma once

#include <QList>
#include <QString>

#include <memory>
#include <optional>

/// A further button of a notification. Its identifier is told when it is pressed.
struct UserNotificationAction
{
    QString identifier;
    QString title;
};

/// A notification to the user, and what he did with it once it was activated.
struct UserNotification
{
    QString identifier;
    std::optional<QString> title;
    std::optional<QString> informativeText;
    /// Title of the main button. Absent: no button; a click on the notification still activates it.
    std::optional<QString> actionButtonTitle;
    QList<UserNotificationAction> additionalActions;
    /// Of an activated notification: the identifier of the additional action chosen; absent when
    /// the notification itself or its main button was clicked.
    std::optional<QString> additionalActivationAction;
};

/// Hears what the user does with the notifications, and decides about showing them.
class UserNotificationCenterDelegate
{
public:
    virtual ~UserNotificationCenterDelegate() = default;
    /// May come on a thread of the notification centre.
    virtual void didActivateNotification(const UserNotification &notification) = 0;
    /// Whether a notification is shown even while the application is frontmost.
    [[nodiscard]] virtual bool shouldPresentNotification(const UserNotification &notification) = 0;
};

/// The user's notification centre, as far as this application's notifications go. No call waits for
/// the notification server for longer than its limit of 5 s; what is delivered changes by itself,
/// on a thread of the adapter, also while the caller's thread sleeps.
class UserNotificationCenter
{
public:
    virtual ~UserNotificationCenter() = default;

    /// Held weakly; replaces the one before.
    virtual void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) = 0;
    /// Shows it at once; replaces a delivered one of the same identifier. Where no server can show
    /// it, it is scheduled: shown when one comes.
    virtual void deliver(const UserNotification &notification) = 0;

    /// What waits for a server that can show it.
    [[nodiscard]] virtual QList<UserNotification> scheduledNotifications() = 0;
    /// Waits no longer; nothing when there is none of that identifier.
    virtual void removeScheduledNotification(const QString &identifier) = 0;

    /// What the user can still see, notifications of an earlier process included.
    [[nodiscard]] virtual QList<UserNotification> deliveredNotifications() = 0;
    /// Asks for the removal and does not wait for it.
    virtual void removeDeliveredNotification(const QString &identifier) = 0;
    /// The same for every one of deliveredNotifications().
    virtual void removeAllDeliveredNotifications() = 0;
};
