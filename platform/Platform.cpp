#include "platform/Platform.h"

#include "platform/Alerts.h"
#include "platform/Application.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/Cryptography.h"
#include "platform/Directory.h"
#include "platform/Identity.h"
#include "platform/LogFile.h"
#include "platform/MachineIdentity.h"
#include "platform/MemoryProtection.h"
#include "platform/PublicKeys.h"
#include "platform/RunLoop.h"
#include "platform/SecretInput.h"
#include "platform/SettingsFiles.h"
#include "platform/StatusBar.h"
#include "platform/SystemInformation.h"
#include "platform/UrlSession.h"
#include "platform/UserDefaultsStore.h"
#include "platform/UserNotificationCenter.h"
#include "platform/Workspace.h"

#include <atomic>

namespace {
std::atomic<Platform *> installedPlatform{nullptr};
} // namespace

Platform::Platform() = default;
Platform::Platform(Platform &&) noexcept = default;
Platform &Platform::operator=(Platform &&) noexcept = default;

Platform::~Platform()
{
    // Still installed meanwhile: an adapter's thread may log, and hand over work, until the adapter
    // has ended it. What a log line rests on goes last.
    workspace.reset();
    alerts.reset();
    statusBar.reset();
    notificationCenter.reset();
    urlSessions.reset();
    runLoop.reset();
    application.reset();
    directory.reset();
    childProcesses.reset();
    settingsFiles.reset();
    identity.reset();
    Platform *self = this;
    installedPlatform.compare_exchange_strong(self, nullptr);
}

Platform &Platform::current()
{
    Platform *platform = installedPlatform.load(std::memory_order_acquire);
    Q_ASSERT_X(platform, "Platform::current", "no platform is installed");
    return *platform;
}

bool Platform::isInstalled()
{
    return installedOrNull() != nullptr;
}

Platform *Platform::installedOrNull()
{
    return installedPlatform.load(std::memory_order_acquire);
}

void Platform::install(Platform *platform)
{
    installedPlatform.store(platform, std::memory_order_release);
}
