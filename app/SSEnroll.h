#pragma once

#include "app/SSReminderFlow.h"
#include "platform/StatusBar.h"
#include "platform/UserNotificationCenter.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class SSEnrollUserInfo;
class SSLogonSettings;
class SSSecureTokenUpdate;
class SSTraySettings;
class SSUserInfo;

/// The heart of the tray process: loads the settings and runs two flows. The enroll flow asks
/// whether the user must enroll and reminds him by a notification and a status-bar item. The
/// password-changed flow offers, by a notification, to bring the disk encryption password into line
/// with the user's new one, and runs the update. Ends the application when nothing is left to do
/// and nothing of it is visible. Main thread only, but for the two query callbacks and
/// didActivateNotification, which hand over to it.
class SSEnroll : public QObject,
                 public UserNotificationCenterDelegate,
                 public std::enable_shared_from_this<SSEnroll>
{
    Q_OBJECT
public:
    /// Creates the controller and starts it: with the notification whose click launched the
    /// process, or none in the tray process. Never null. `keeper`, if any, is given the controller
    /// before it starts: a click may open a dialog, and the application end below it.
    [[nodiscard]] static std::shared_ptr<SSEnroll>
    initWithNotification(const std::optional<UserNotification> &notification,
                         std::shared_ptr<SSEnroll> *keeper = nullptr);
    ~SSEnroll() override;

    /// Orderly stop: the update and its dialogs, timers, status item, notifications and query.
    void terminate();
    /// Ends the application when nothing is left to do; whether it has.
    bool checkTerminateApplication();
    void terminateApplication();

    void updateEnrollStage(quint64 stage);
    [[nodiscard]] quint64 stageEnroll() const { return m_enrollFlow.stage(); }
    [[nodiscard]] bool needProcessEnroll() const { return m_enrollFlow.needProcess(); }
    void updatePasswordChangedStage(quint64 stage);
    [[nodiscard]] quint64 stagePasswordChanged() const { return m_passwordChangedFlow.stage(); }
    [[nodiscard]] bool needProcessPasswordChanged() const
    {
        return m_passwordChangedFlow.needProcess();
    }
    [[nodiscard]] qint32 tryCount() const { return m_tryCount; }
    /// The logon settings: the directory's, or before it has answered the cached ones; null when
    /// there are neither.
    [[nodiscard]] const SSLogonSettings *loginSettings() const;

    // Notifications and the status-bar item.
    bool showEnrollNotification();
    void removeEnrollNotification();
    /// Whether it was delivered. Null settings give the built-in texts.
    bool showPasswordChangedNotificationWithSettings(const SSLogonSettings *settings);
    void removePasswordChangedNotification();
    void removeNotificationWithIdentifier(const std::optional<QString> &identifier);
    void removeAllNotificationsSync();
    void removeAllNotificationsAsync();
    void showMenuBarExtras();
    void removeMenuBarExtras();
    [[nodiscard]] std::optional<Menu> enrollPopupMenu();
    void menuExtraClicked(StatusItemEvent event);
    void buttonEnrollClicked();
    void buttonExitClicked();
    void invokeEnroll();
    void showWebBrowser();
    void processUserNotification(const UserNotification &notification);
    /// Runs the update, in nested event loops, and acts on its result. Nothing while one runs.
    void processPasswordChangedAction();
    void processSkipAction();
    void processLaterAction();

    void didActivateNotification(const UserNotification &notification) override;
    [[nodiscard]] bool shouldPresentNotification(const UserNotification &notification) override;

    Q_INVOKABLE void onUserEnrollmentInitialInfo(QObject *query);
    Q_INVOKABLE void onUserEnrollmentInfo(QObject *query);

private:
    template<typename T, typename... Arguments>
    friend std::shared_ptr<T> makeSharedObject(Arguments &&...arguments);
    explicit SSEnroll(const std::optional<UserNotification> &notification);

    void processNotification();
    void preprocessPasswordChangedNotification();
    void preprocessEnrollNotification();
    [[nodiscard]] bool loadSettings();
    void keepKeys();
    void loadSettingsAndProcessNotification();
    /// Handles a click, or keeps it until a process launched by one has its settings; such a
    /// process that has given up looks for them again.
    void processClick(const UserNotification &notification);
    void processWaitingClicks();

    void startLoadSettingsTimer();
    void stopLoadSettingsTimer();
    void onLoadSettingsTimer(const RunLoopTimer *timer);
    bool startEnrollInitialTimer();
    bool startEnrollTimer();
    void stopEnrollTimer();
    void onEnrollInitialTimer(const RunLoopTimer *timer);
    void onEnrollTimer(const RunLoopTimer *timer);
    bool startPasswordChangedInitialTimer();
    bool startPasswordChangedTimer();
    void stopPasswordChangedTimer();
    void onPasswordChangedInitialTimer(const RunLoopTimer *timer);
    void onPasswordChangedTimer(const RunLoopTimer *timer);
    bool startWatchDogTimer();
    void stopWatchdogTimer();
    void onWatchdogTimer(const RunLoopTimer *timer);

    [[nodiscard]] bool promptIsEnabled() const;
    /// Whether the prompt is on the screen; the flow has come to its end otherwise.
    bool promptForPasswordChanged();
    void processPasswordChangedNotification(const std::optional<QString> &action);
    void processUpdateResult(qint64 result);
    void startQuery(const char *action);
    void onUserEnrollmentInitialInfoImpl();
    void onUserEnrollmentInfoImpl();
    void handOverQuery(QObject *query, void (SSEnroll::*operation)());
    [[nodiscard]] RunLoop::TimerHandler
    timerHandler(void (SSEnroll::*operation)(const RunLoopTimer *));

    qint32 m_tryCount = 0;
    SSReminderFlow m_enrollFlow;
    SSReminderFlow m_passwordChangedFlow;
    std::unique_ptr<SSUserInfo> m_userInfo;
    std::unique_ptr<SSTraySettings> m_settingsEnroll;
    std::unique_ptr<SSLogonSettings> m_settingsPasswordChanged;
    std::unique_ptr<SSLogonSettings> m_settingsPasswordChangedCached;
    std::unique_ptr<StatusItem> m_statusItem;
    std::shared_ptr<SSEnrollUserInfo> m_userEnrolmentInfo;
    /// While it runs; its caller's stack owns it, so that it outlives an abort.
    std::weak_ptr<SSSecureTokenUpdate> m_secureTokenUpdate;
    std::optional<UserNotification> m_notification;
    QList<UserNotification> m_waitingClicks;
    std::shared_ptr<RunLoopTimer> m_watchdogTimer;
    std::shared_ptr<RunLoopTimer> m_loadSettingsTimer;
};

/// Adds an item and returns true, or adds nothing for an empty title and returns false.
namespace SSHelper {
bool addItemWithTitleEx(Menu &menu, const std::optional<QString> &title,
                        std::function<void()> action, const QString &keyEquivalent);
} // namespace SSHelper
