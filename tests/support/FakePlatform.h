#pragma once

#include "foundation/SSLogger.h"
#include "platform/Directory.h"
#include "platform/MemoryProtection.h"
#include "platform/Platform.h"
#include "platform/PublicKeys.h"
#include "platform/UrlSession.h"
#include "tests/support/FakeAlerts.h"
#include "tests/support/FakeChildProcesses.h"
#include "tests/support/FakeCryptography.h"
#include "tests/support/FakeRunLoop.h"
#include "tests/support/FakeSettingsFiles.h"
#include "tests/support/Fakes.h"

#include <memory>

/// A whole platform of fakes, installed while it lives, with the log at the verbose level. The
/// directory, the URL sessions, the public keys and the protection of memory are null until a test
/// sets its own.
class FakePlatform
{
public:
    FakePlatform()
    {
        platform.clock = runLoop;
        platform.runLoop = runLoop;
        platform.logFile = log;
        platform.system = system;
        platform.defaults = defaults;
        platform.cryptography = cryptography;
        platform.machineIdentity = machineIdentity;
        platform.identity = identity;
        platform.settingsFiles = settingsFiles;
        platform.childProcesses = childProcesses;
        platform.secretInput = secretInput;
        platform.application = application;
        platform.notificationCenter = notificationCenter;
        platform.statusBar = statusBar;
        platform.alerts = alerts;
        platform.workspace = workspace;
        Platform::install(&platform);
        if (const auto logger = SSLogger::sharedInstance())
            logger->setLogLevel(2);
    }
    ~FakePlatform() { Platform::install(nullptr); }
    FakePlatform(const FakePlatform &) = delete;
    FakePlatform &operator=(const FakePlatform &) = delete;

    std::shared_ptr<FakeRunLoop> runLoop = std::make_shared<FakeRunLoop>();
    std::shared_ptr<RecordingLogFile> log = std::make_shared<RecordingLogFile>();
    std::shared_ptr<FakeSystemInformation> system = std::make_shared<FakeSystemInformation>();
    std::shared_ptr<FakeUserDefaults> defaults = std::make_shared<FakeUserDefaults>();
    std::shared_ptr<FakeCryptography> cryptography = std::make_shared<FakeCryptography>();
    std::shared_ptr<FakeSecretInput> secretInput = std::make_shared<FakeSecretInput>();
    std::shared_ptr<FakeMachineIdentity> machineIdentity = std::make_shared<FakeMachineIdentity>();
    std::shared_ptr<FakeIdentity> identity = std::make_shared<FakeIdentity>();
    std::shared_ptr<FakeSettingsFiles> settingsFiles = std::make_shared<FakeSettingsFiles>();
    std::shared_ptr<FakeChildProcesses> childProcesses = std::make_shared<FakeChildProcesses>();
    std::shared_ptr<FakeApplication> application = std::make_shared<FakeApplication>();
    std::shared_ptr<FakeNotificationCenter> notificationCenter =
        std::make_shared<FakeNotificationCenter>();
    std::shared_ptr<FakeStatusBar> statusBar = std::make_shared<FakeStatusBar>();
    std::shared_ptr<FakeAlerts> alerts = std::make_shared<FakeAlerts>();
    std::shared_ptr<FakeWorkspace> workspace = std::make_shared<FakeWorkspace>();
    Platform platform;
};
