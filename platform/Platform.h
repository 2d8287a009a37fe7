#pragma once

#include <memory>

class AlertPresenter;
class Application;
class ChildProcessFactory;
class Clock;
class Cryptography;
class DirectoryService;
class IdentityService;
class LogFile;
class MachineIdentity;
class MemoryProtection;
class PublicKeyService;
class RunLoop;
class SecretInput;
class SettingsFiles;
class StatusBar;
class SystemInformation;
class UrlSessionFactory;
class UserDefaultsStore;
class UserNotificationCenter;
class Workspace;

/// Every service of the outside world, made in one place and handed over as one. A member is null
/// only where the process has no use for it.
struct Platform
{
    Platform();
    ~Platform();
    Platform(Platform &&) noexcept;
    Platform &operator=(Platform &&) noexcept;
    Platform(const Platform &) = delete;
    Platform &operator=(const Platform &) = delete;

    // In the order in which they may rest on each other; destroyed in the reverse one.
    std::shared_ptr<Clock> clock;
    std::shared_ptr<LogFile> logFile;
    std::shared_ptr<SystemInformation> system;
    std::shared_ptr<UserDefaultsStore> defaults;
    std::shared_ptr<MemoryProtection> memory;
    std::shared_ptr<Cryptography> cryptography;
    std::shared_ptr<PublicKeyService> publicKeys;
    std::shared_ptr<MachineIdentity> machineIdentity;
    std::shared_ptr<IdentityService> identity;
    std::shared_ptr<SettingsFiles> settingsFiles;
    std::shared_ptr<ChildProcessFactory> childProcesses;
    std::shared_ptr<DirectoryService> directory;
    std::shared_ptr<SecretInput> secretInput;
    std::shared_ptr<Application> application;
    std::shared_ptr<RunLoop> runLoop;
    std::shared_ptr<UrlSessionFactory> urlSessions;
    std::shared_ptr<UserNotificationCenter> notificationCenter;
    std::shared_ptr<StatusBar> statusBar;
    std::shared_ptr<AlertPresenter> alerts;
    std::shared_ptr<Workspace> workspace;

    /// The installed platform. One must be installed.
    [[nodiscard]] static Platform &current();
    [[nodiscard]] static bool isInstalled();
    /// The installed platform, null when there is none: asked and got in one step, for what may run
    /// while another thread uninstalls it.
    [[nodiscard]] static Platform *installedOrNull();
    /// Makes `platform` the current one, or none for null. The caller keeps it alive meanwhile and
    /// installs it before other threads start.
    static void install(Platform *platform);
};
