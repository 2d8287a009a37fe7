#include "app/ctl/SSControl.h"

#include <iostream>
#include <vector>

int main(int argc, char **argv)
{
    const std::vector<const char *> arguments(argv, argv + argc);
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier() + QStringLiteral(".ctl");
    // What the user typed is not the platform's to read.
    std::vector<char *> platformArguments{argc > 0 ? argv[0] : nullptr, nullptr};
    int platformArgumentCount = argc > 0 ? 1 : 0;
    SSControl control(std::cout, std::cerr, [&](const PlatformOptions &platformOptions) {
        return makeCommandLinePlatform(platformArgumentCount, platformArguments.data(),
                                       platformOptions);
    });
    return control.run(arguments, options);
}
