// The composition root: the one place that knows every adapter.

#include "platform/PlatformFactory.h"

#include "platform/embedded/directory/LdifDirectoryService.h"
#include "platform/linux/accounts/LinuxDirectoryService.h"
#include "platform/linux/accounts/LinuxIdentityService.h"
#include "platform/linux/accounts/LocalAccountNode.h"
#include "platform/linux/application/CommandLineApplication.h"
#include "platform/linux/application/LinuxApplication.h"
#include "platform/linux/core/LinuxClock.h"
#include "platform/linux/core/LinuxLogFile.h"
#include "platform/linux/core/LinuxRunLoop.h"
#include "platform/linux/core/LinuxSecretInput.h"
#include "platform/linux/core/LinuxSystemInformation.h"
#include "platform/linux/core/ProcessHardening.h"
#include "platform/linux/cryptography/LinuxCryptography.h"
#include "platform/linux/cryptography/LinuxPublicKeyService.h"
#include "platform/linux/defaults/LinuxUserDefaults.h"
#include "platform/linux/desktop/LinuxAlertPresenter.h"
#include "platform/linux/desktop/LinuxWorkspace.h"
#include "platform/linux/directory/ActiveDirectoryNode.h"
#include "platform/linux/directory/DirectorySettings.h"
#include "platform/linux/directory/KerberosTicket.h"
#include "platform/linux/machine/LinuxMachineIdentity.h"
#include "platform/linux/memory/LinuxMemoryProtection.h"
#include "platform/linux/notifications/LinuxNotificationCenter.h"
#include "platform/linux/process/LinuxChildProcessFactory.h"
#include "platform/linux/settingsfiles/LinuxSettingsFiles.h"
#include "platform/linux/statusbar/LinuxStatusBar.h"
#include "platform/linux/web/LinuxUrlSession.h"

#include <memory>

namespace {

/// What the user is shown as the program's name.
QString productName()
{
    return QStringLiteral("Self-Service Password Reset");
}

/// The domains whose users may have accounts here: the configured one, else the machine's realm.
QList<AccountDomain> accountDomains(const DirectorySettings &settings)
{
    const QString dnsName =
        settings.domain.isEmpty() ? KerberosTicket::defaultRealm().toLower() : settings.domain;
    if (dnsName.isEmpty())
        return {};
    // By default a domain's NetBIOS name is the first label of its DNS name.
    const QString netBiosName = settings.netBiosDomain.isEmpty()
                                    ? dnsName.section(QLatin1Char('.'), 0, 0).left(15).toUpper()
                                    : settings.netBiosDomain;
    return {{netBiosName, dnsName}};
}

std::shared_ptr<DirectoryService> makeDirectory(const PlatformOptions &options,
                                                const DirectorySettings &settings)
{
    if (options.ldifFile)
        return std::make_shared<LdifDirectoryService>(*options.ldifFile, options.diagnostics);
    if (settings.backend == DirectorySettings::Backend::Ldif)
        return std::make_shared<LdifDirectoryService>(settings.ldifFile, options.diagnostics);
    LocalAccountNode::Options accounts;
    accounts.domains = accountDomains(settings);
    return std::make_shared<LinuxDirectoryService>(
        std::make_shared<LocalAccountNode>(accounts, options.diagnostics),
        makeActiveDirectoryNode(settings, options.diagnostics), options.diagnostics);
}

/// What the agent and the administrator's tool have in common.
void addCommon(Platform &platform, const PlatformOptions &options)
{
    platform.clock = std::make_shared<LinuxClock>();
    platform.logFile = std::make_shared<LinuxLogFile>(options.rootPrefix, options.createLogFile);
    platform.system = std::make_shared<LinuxSystemInformation>(options.bundleIdentifier);
    platform.defaults = options.defaultsFile
                            ? LinuxUserDefaults::forFile(applicationIdentifier(),
                                                         *options.defaultsFile, options.diagnostics)
                            : LinuxUserDefaults::forUser(applicationIdentifier(),
                                                         options.rootPrefix, options.diagnostics);
    platform.memory = std::make_shared<LinuxMemoryProtection>(options.diagnostics);
    const auto selfTest = std::make_shared<SelfTest>(options.diagnostics);
    platform.cryptography = std::make_shared<LinuxCryptography>(selfTest);
    platform.publicKeys = std::make_shared<LinuxPublicKeyService>(selfTest);
    platform.machineIdentity =
        std::make_shared<LinuxMachineIdentity>(options.rootPrefix, options.diagnostics);
    const DirectorySettings settings =
        DirectorySettings::read(options.rootPrefix, options.diagnostics);
    platform.identity = settings.administratorGroups.isEmpty()
                            ? std::make_shared<LinuxIdentityService>()
                            : std::make_shared<LinuxIdentityService>(settings.administratorGroups);
    platform.settingsFiles =
        std::make_shared<LinuxSettingsFiles>(options.rootPrefix, platform.identity);
    platform.childProcesses = std::make_shared<LinuxChildProcessFactory>(options.diagnostics);
    platform.directory = makeDirectory(options, settings);
}

} // namespace

QString applicationIdentifier()
{
    return QStringLiteral("com.zevrik.selfservice");
}

Platform makeDesktopPlatform(int &argc, char **argv, const PlatformOptions &options)
{
    hardenProcess();
    Platform platform;
    const auto application = std::make_shared<LinuxApplication>(
        argc, argv, LinuxApplicationOptions{applicationIdentifier(), {}}, options.diagnostics);
    platform.application = application;
    addCommon(platform, options);
    platform.runLoop = std::make_shared<LinuxRunLoop>();
    platform.urlSessions = std::make_shared<LinuxUrlSessionFactory>(options.diagnostics);
    const auto notificationCenter = std::make_shared<LinuxNotificationCenter>(
        NotificationCenterOptions{
            applicationIdentifier(), productName(), applicationIdentifier(),
            NotificationCenterOptions::defaultRecordsDirectory(applicationIdentifier())},
        options.diagnostics);
    platform.notificationCenter = notificationCenter;
    // A click that the desktop reports to the application is one on its notification.
    application->setNotificationActivationHandler(
        [weak = std::weak_ptr(notificationCenter)](const UserNotification &notification) {
            if (const auto center = weak.lock())
                center->activateFromDesktop(notification);
        });
    platform.statusBar = std::make_shared<LinuxStatusBar>(applicationIdentifier(), productName(),
                                                          options.diagnostics);
    platform.alerts = std::make_shared<LinuxAlertPresenter>(productName(), options.diagnostics);
    platform.workspace = std::make_shared<LinuxWorkspace>(options.rootPrefix, options.diagnostics);
    return platform;
}

Platform makeCommandLinePlatform(int &argc, char **argv, const PlatformOptions &options)
{
    hardenProcess();
    Platform platform;
    platform.application = std::make_shared<CommandLineApplication>(argc, argv);
    addCommon(platform, options);
    platform.runLoop = std::make_shared<LinuxRunLoop>();
    platform.secretInput = std::make_shared<LinuxSecretInput>();
    platform.urlSessions = std::make_shared<LinuxUrlSessionFactory>(options.diagnostics);
    return platform;
}
