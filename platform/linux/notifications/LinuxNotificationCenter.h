#pragma once

#include "platform/Diagnostics.h"
#include "platform/UserNotificationCenter.h"

#include <QString>

#include <memory>
#include <mutex>
#include <thread>

class NotificationState;

/// What a notification server is told of the application, and where notes are kept.
struct NotificationCenterOptions
{
    QString applicationIdentifier; ///< also the name of the desktop file
    QString applicationName;       ///< for the user
    QString iconName;
    /// Folder of the file that tells a later process what is shown; empty keeps nothing.
    QString recordsDirectory;

    /// The folder named after the application below XDG_RUNTIME_DIR, empty without one.
    [[nodiscard]] static QString defaultRecordsDirectory(const QString &applicationIdentifier);
};

/// Notifications through org.freedesktop.Notifications, on a thread and a bus connection of its
/// own, which start with the first call. Every call may come from any thread.
///
/// Without a session bus nothing can ever be shown: a notification is dropped with a log line and
/// is neither delivered nor scheduled, so that it holds up nothing. Without a server it is
/// scheduled, and shown when one comes. What a server showed is gone when the server goes.
///
/// A notification stays when it is activated: one that the server takes down then is shown again,
/// unless it is removed within a second. shouldPresentNotification is not asked, since a process
/// without windows is never frontmost.
///
/// The destructor lets removals that were asked for take place, for a second at most.
class LinuxNotificationCenter final : public UserNotificationCenter
{
public:
    LinuxNotificationCenter(NotificationCenterOptions options, DiagnosticSink diagnostics);
    ~LinuxNotificationCenter() override;
    LinuxNotificationCenter(const LinuxNotificationCenter &) = delete;
    LinuxNotificationCenter &operator=(const LinuxNotificationCenter &) = delete;

    void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) override;
    void deliver(const UserNotification &notification) override;
    [[nodiscard]] QList<UserNotification> scheduledNotifications() override;
    void removeScheduledNotification(const QString &identifier) override;
    [[nodiscard]] QList<UserNotification> deliveredNotifications() override;
    void removeDeliveredNotification(const QString &identifier) override;
    void removeAllDeliveredNotifications() override;

    /// The desktop started or called the application for a click on `notification`, of which the
    /// identifier and the chosen action are given: tells the delegate, on the caller's thread.
    void activateFromDesktop(const UserNotification &notification);

private:
    void ensureStarted();

    NotificationCenterOptions m_options;
    std::shared_ptr<NotificationState> m_state;
    std::once_flag m_started;
    std::thread m_thread;
};
