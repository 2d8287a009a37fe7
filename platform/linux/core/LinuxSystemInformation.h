#pragma once

#include "platform/SystemInformation.h"

class LinuxSystemInformation final : public SystemInformation
{
public:
    /// `mountTable` is a file of the kernel's form that lists this process's mounts.
    explicit LinuxSystemInformation(QString bundleIdentifier,
                                    QString mountTable = QStringLiteral("/proc/self/mountinfo"));
    [[nodiscard]] QString operatingSystemVersionString() override;
    [[nodiscard]] QString bundleIdentifier() override;
    [[nodiscard]] QString cachesDirectory() override;
    [[nodiscard]] bool isSecureTokenSupported() override;
    [[nodiscard]] std::optional<bool> areArgumentsOpenToOthers() override;

private:
    QString m_bundleIdentifier;
    QString m_mountTable;
};
