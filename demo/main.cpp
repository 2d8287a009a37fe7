// The agent over an embedded directory, below a folder of its own and with hurried timers: the
// program of the demo, which is not installed.

#include "app/SSDiagnosticLog.h"
#include "app/SSEntry.h"
#include "demo/HurriedRunLoop.h"
#include "platform/PlatformFactory.h"

#include <QString>

#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

int main(int argc, char **argv)
{
    const SSDiagnosticLog diagnostics;
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier();
    options.diagnostics = diagnostics.sink();
    double hurry = 1;
    std::vector<char *> rest{argv[0]};
    for (int i = 1; i < argc; ++i) {
        const std::string_view name(argv[i]);
        const std::optional<QString> value =
            i + 1 < argc ? std::optional(QString::fromLocal8Bit(argv[i + 1])) : std::nullopt;
        if (name == "--ldif" && value)
            options.ldifFile = value;
        else if (name == "--defaults" && value)
            options.defaultsFile = value;
        else if (name == "--root" && value)
            options.rootPrefix = *value;
        else if (name == "--hurry" && value)
            hurry = value->toDouble();
        else {
            rest.push_back(argv[i]);
            continue;
        }
        ++i;
    }
    if (!(hurry >= 1 && hurry <= 1000)) {
        std::fputs("--hurry takes a factor from 1 to 1000\n", stderr);
        return 2;
    }
    int restCount = static_cast<int>(rest.size());
    const std::vector<const char *> arguments(rest.begin(), rest.end());
    rest.push_back(nullptr);
    Platform platform = makeDesktopPlatform(restCount, rest.data(), options);
    platform.runLoop = std::make_shared<HurriedRunLoop>(platform.runLoop, hurry);
    Platform::install(&platform);
    return SSEntry::run(arguments, diagnostics);
}
