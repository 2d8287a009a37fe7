#include "app/SSDiagnosticLog.h"
#include "app/SSEntry.h"
#include "platform/PlatformFactory.h"

#include <vector>

int main(int argc, char **argv)
{
    // Kept apart from argv, out of which the desktop's own switches are taken.
    const std::vector<const char *> arguments(argv, argv + argc);
    const SSDiagnosticLog diagnostics;
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier();
    options.diagnostics = diagnostics.sink();
    Platform platform = makeDesktopPlatform(argc, argv, options);
    Platform::install(&platform);
    return SSEntry::run(arguments, diagnostics);
}
