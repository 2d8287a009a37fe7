#pragma once

#include "platform/Diagnostics.h"
#include "platform/Platform.h"

#include <QString>

#include <optional>

/// What the composition root is told. Everything has the value of a production start.
struct PlatformOptions
{
    /// Put before "/Library", "/Applications", "/tmp" and "/etc"; empty in production.
    QString rootPrefix;
    /// Identifier of the running application; the defaults domain is always the agent's.
    QString bundleIdentifier;
    /// The log file is created when missing. An administrator's tool only appends.
    bool createLogFile = true;
    /// A directory read from this LDIF file instead of the live one.
    std::optional<QString> ldifFile;
    /// The defaults domain read from this property list alone.
    std::optional<QString> defaultsFile;
    DiagnosticSink diagnostics;
};

/// The application identifier, which is also the defaults domain, the D-Bus name and the name of
/// the desktop file.
[[nodiscard]] QString applicationIdentifier();

/// Every adapter for a process with a desktop: the agent. `argc` and `argv` outlive the result;
/// switches of the desktop system are taken from them.
[[nodiscard]] Platform makeDesktopPlatform(int &argc, char **argv, const PlatformOptions &options);

/// The adapters that need no desktop: an administrator's command line. It has no notification
/// centre, status bar, alerts or workspace.
[[nodiscard]] Platform makeCommandLinePlatform(int &argc, char **argv,
                                               const PlatformOptions &options);
