// Runs the update of the disk password with the real adapters, as the agent does, and then waits to
// be searched: memory_probe USER [--without-secure-token] [MARK].
#include "app/SSDiagnosticLog.h"
#include "filevault/SSSecureTokenUpdate.h"
#include "foundation/SSLogger.h"
#include "platform/Platform.h"
#include "platform/PlatformFactory.h"
#include "platform/SystemInformation.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>
#include <optional>
#include <utility>

#include <unistd.h>

namespace {

class WithoutSecureToken final : public SystemInformation
{
public:
    explicit WithoutSecureToken(std::shared_ptr<SystemInformation> real) : m_real(std::move(real))
    {
    }
    QString operatingSystemVersionString() override
    {
        return m_real->operatingSystemVersionString();
    }
    QString bundleIdentifier() override { return m_real->bundleIdentifier(); }
    QString cachesDirectory() override { return m_real->cachesDirectory(); }
    bool isSecureTokenSupported() override { return false; }
    std::optional<bool> areArgumentsOpenToOthers() override
    {
        return m_real->areArgumentsOpenToOthers();
    }

private:
    std::shared_ptr<SystemInformation> m_real;
};

} // namespace

int main(int argc, char **argv)
{
    const SSDiagnosticLog diagnostics;
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier();
    options.diagnostics = diagnostics.sink();
    Platform platform = makeDesktopPlatform(argc, argv, options);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.contains(QStringLiteral("--without-secure-token")))
        platform.system = std::make_shared<WithoutSecureToken>(platform.system);
    Platform::install(&platform);
    SSLogger::sharedInstance()->setLogLevel(2);
    diagnostics.open();

    std::printf("process %d\n", static_cast<int>(::getpid()));
    std::fflush(stdout);
    QTimer::singleShot(0, [&arguments] {
        // As the agent keeps it: gone once the update is over.
        const auto update = std::make_unique<SSSecureTokenUpdate>(nullptr, arguments.at(1));
        const qint64 result = update->update();
        std::printf("result %lld\n", static_cast<long long>(result));
        std::fflush(stdout);
        // What was left to the event loop to delete is gone when it has come round.
        QTimer::singleShot(0, [] {
            QTimer::singleShot(0, [] {
                std::puts("at rest");
                std::fflush(stdout);
            });
        });
    });
    return QApplication::exec();
}
