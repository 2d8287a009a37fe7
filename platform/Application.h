#pragma once

#include "platform/UserNotificationCenter.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

/// What the application is told when its launch has finished.
struct LaunchNotice
{
    /// The notification whose click made the system start the application.
    std::optional<UserNotification> userNotification;
};

/// Hears of the beginning and the end of the application's main loop. Main thread only.
class ApplicationLifecycleDelegate
{
public:
    virtual ~ApplicationLifecycleDelegate() = default;
    /// Once, from the running loop.
    virtual void applicationDidFinishLaunching(const LaunchNotice &notice) = 0;
    /// Once, as the loop ends.
    virtual void applicationWillTerminate() = 0;
};

/// The one application object of the process.
class Application
{
public:
    virtual ~Application() = default;

    /// The desktop's session manager does not start the application anew at the next login.
    virtual void disableRelaunchOnLogin() = 0;
    virtual void setDelegate(std::weak_ptr<ApplicationLifecycleDelegate> delegate) = 0;
    /// Calls `handler` on the main thread when the process is asked to end by SIGTERM.
    virtual void setTerminationSignalHandler(std::function<void()> handler) = 0;

    /// Whether this process is to stay: it claims the session's one place for the tray process.
    /// Call before run().
    virtual void setResident(bool resident) = 0;

    /// Runs the main event loop: applicationDidFinishLaunching first, applicationWillTerminate
    /// last. Returns when the loop has ended; at once, without either call, when a resident process
    /// of this session has the place already.
    virtual void run() = 0;

    /// Ends the main loop in order. Calls after the first do nothing.
    virtual void terminate() = 0;
};
