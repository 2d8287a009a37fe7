#pragma once

#include "platform/Application.h"
#include "platform/Diagnostics.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class ApplicationBusObject;
class QCoreApplication;
class SessionPlace;
class TerminationSignals;

struct LinuxApplicationOptions
{
    QString applicationIdentifier; ///< D-Bus name and name of the desktop file
    /// Program that a call of Activate starts while this process runs; empty: this one.
    QString executable;
};

/// The application object on Qt. With a display it owns a QApplication, without one a
/// QCoreApplication and a log line. Made and used on the main thread, before any other object that
/// needs Qt's event loop, and destroyed after them: other processes find this one on the session
/// bus until then.
///
/// Started by the bus (the argument "--dbus-activated"), run() waits for the call that the process
/// was started for before it reports the launch: the action "notification" launches with that
/// notification, Activate launches as if started by hand. Without a call it ends after 10 s.
class LinuxApplication final : public QObject, public Application
{
    Q_OBJECT
public:
    LinuxApplication(int &argc, char **argv, LinuxApplicationOptions options,
                     DiagnosticSink diagnostics);
    ~LinuxApplication() override;

    void disableRelaunchOnLogin() override;
    void setDelegate(std::weak_ptr<ApplicationLifecycleDelegate> delegate) override;
    void setTerminationSignalHandler(std::function<void()> handler) override;
    void setResident(bool resident) override { m_resident = resident; }
    void run() override;
    /// applicationWillTerminate follows at the next turn of the loop that runs, a modal one
    /// included, and then every loop ends.
    void terminate() override;

    [[nodiscard]] bool hasDisplay() const { return m_hasDisplay; }

    /// `handler` is told, on the main thread, of a click on a notification that the desktop reports
    /// to the running process: its identifier and the chosen action.
    void setNotificationActivationHandler(std::function<void(const UserNotification &)> handler);

private:
    enum class Role { Plain, Starting, Tray, Notification };

    void makeQtApplication(int argc, char **argv);
    [[nodiscard]] bool takePlace();
    void launch(const LaunchNotice &notice);
    void finish();
    void activateFromBus();
    void activateNotificationFromBus(const UserNotification &notification);
    void terminationSignal();
    [[nodiscard]] QString roleName() const;

    LinuxApplicationOptions m_options;
    DiagnosticSink m_diagnostics;
    std::vector<char *> m_arguments;
    int m_argumentCount = 0;
    std::unique_ptr<QCoreApplication> m_application;
    std::unique_ptr<ApplicationBusObject> m_busObject;
    std::unique_ptr<SessionPlace> m_place;
    std::unique_ptr<TerminationSignals> m_signals;
    std::weak_ptr<ApplicationLifecycleDelegate> m_delegate;
    std::function<void()> m_terminationHandler;
    std::function<void(const UserNotification &)> m_activationHandler;
    QByteArray m_displayPlugin;
    Role m_role = Role::Plain;
    bool m_hasDisplay = false;
    bool m_resident = false;
    bool m_startedByBus = false;
    bool m_launched = false;
    bool m_terminating = false;
    bool m_finished = false;
};
