#pragma once

#include <QString>

#include <optional>

/// What the computer says of itself.
class SystemInformation
{
public:
    virtual ~SystemInformation() = default;

    /// For people: the system's name and version, and its kernel's.
    [[nodiscard]] virtual QString operatingSystemVersionString() = 0;

    /// The identifier of the running application; an administrator's tool has another one than the
    /// agent.
    [[nodiscard]] virtual QString bundleIdentifier() = 0;

    /// The folder that holds what the computer's programs keep for all its users, absolute, as
    /// SettingsFiles takes it. Empty when there is no such place.
    [[nodiscard]] virtual QString cachesDirectory() = 0;

    /// Whether disk encryption here knows SecureToken. Where it does not, the list of those who may
    /// unlock the disk takes its place.
    [[nodiscard]] virtual bool isSecureTokenSupported() = 0;

    /// Whether other users may see the arguments of this user's processes; none when that cannot be
    /// told.
    [[nodiscard]] virtual std::optional<bool> areArgumentsOpenToOthers() = 0;
};
