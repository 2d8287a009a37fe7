#include "platform/linux/core/LinuxSystemInformation.h"

#include <QSysInfo>

#include <utility>

LinuxSystemInformation::LinuxSystemInformation(QString bundleIdentifier)
    : m_bundleIdentifier(std::move(bundleIdentifier))
{
}

QString LinuxSystemInformation::operatingSystemVersionString()
{
    return QStringLiteral("%1 (%2 %3)")
        .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion());
}

QString LinuxSystemInformation::bundleIdentifier()
{
    return m_bundleIdentifier;
}

QString LinuxSystemInformation::cachesDirectory()
{
    return QStringLiteral("/Library/Caches");
}

bool LinuxSystemInformation::isSecureTokenSupported()
{
    return true;
}
