#pragma once

#include "platform/SystemInformation.h"

class LinuxSystemInformation final : public SystemInformation
{
public:
    explicit LinuxSystemInformation(QString bundleIdentifier);
    [[nodiscard]] QString operatingSystemVersionString() override;
    [[nodiscard]] QString bundleIdentifier() override;
    [[nodiscard]] QString cachesDirectory() override;
    [[nodiscard]] bool isSecureTokenSupported() override;

private:
    QString m_bundleIdentifier;
};
