#include "platform/linux/core/LinuxSystemInformation.h"

#include "platform/linux/core/ProcessListMount.h"

#include <QFile>
#include <QSysInfo>

#include <utility>

LinuxSystemInformation::LinuxSystemInformation(QString bundleIdentifier, QString mountTable)
    : m_bundleIdentifier(std::move(bundleIdentifier)), m_mountTable(std::move(mountTable))
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

std::optional<bool> LinuxSystemInformation::areArgumentsOpenToOthers()
{
    QFile file(m_mountTable);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return ProcessListMount::isOpenToOthers(file.readAll());
}
