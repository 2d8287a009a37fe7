#pragma once

#include "platform/SystemInformation.h"

class LinuxSystemInformation final : public SystemInformation
{
public:
    LinuxSystemInformation(QString bundleIdentifier, QString rootPrefix);
    [[nodiscard]] QString operatingSystemVersionString() override;
    [[nodiscard]] QString bundleIdentifier() override;
    [[nodiscard]] QString cachesDirectory() override;

private:
    QString m_bundleIdentifier;
    QString m_rootPrefix;
};
