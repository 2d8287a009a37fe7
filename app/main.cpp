#include "app/SSEntry.h"
#include "foundation/SSLogger.h"
#include "platform/PlatformFactory.h"

namespace {

void logDiagnostic(unsigned level, DiagnosticType type, const QString &message)
{
    const SSMessageType messageType = type == DiagnosticType::Error ? SSMessageType::Error
        : type == DiagnosticType::Debug                             ? SSMessageType::Debug
                                                                    : SSMessageType::Info;
    SSLog(level, messageType, "%@", message);
}

} // namespace

int main(int argc, char **argv)
{
    const std::span<const char *const> arguments(argv, static_cast<std::size_t>(argc));
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier();
    options.diagnostics = logDiagnostic;
    Platform platform = makeDesktopPlatform(argc, argv, options);
    Platform::install(&platform);
    return SSEntry::run(arguments);
}
