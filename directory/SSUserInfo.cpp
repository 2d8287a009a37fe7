#include "directory/SSUserInfo.h"

#include "directory/SSRecordValues.h"
#include "directory/SSUserInfoHelper.h"
#include "foundation/SSLogger.h"

#include <QSet>

SSUserInfo::SSUserInfo(const QString &name) : m_sAMAccountName(name)
{
    retreiveUserInformation();
}

void SSUserInfo::retreiveUserInformation()
{
    if (m_sAMAccountName.isEmpty()) {
        SSLog(1, SSMessageType::Info, "UserInfo: Object is not initialized");
        return;
    }
    const auto records = SSUserInfoHelper::userInfoWithName(m_sAMAccountName);
    QStringList found;
    QSet<QString> seen;
    for (const DirectoryDetails &details : records.value_or(QList<DirectoryDetails>())) {
        const SSRecordValues domainNames(details, DirectoryAttribute::PrimaryNTDomain);
        if (domainNames.count() > 1) {
            SSLog(1, SSMessageType::Info, "UserInfo: User '%@' has several domain name values: %@",
                  m_sAMAccountName, domainNames.printable());
        }
        for (const QString &domain : domainNames.list()) {
            const QString lower = domain.toLower();
            if (seen.contains(lower))
                continue;
            seen.insert(lower);
            found.append(domain);
        }

        const SSRecordValues identifiers(details, DirectoryAttribute::GUID);
        const std::optional<QString> identifier = identifiers.first();
        if (!identifier)
            continue;
        if (identifiers.count() > 1) {
            SSLog(1, SSMessageType::Info, "UserInfo: User '%@' has several UUID values: %@",
                  m_sAMAccountName, identifiers.printable());
        }
        if (!m_uid || m_uid->isEmpty()) {
            m_uid = identifier;
        } else if (m_uid->compare(*identifier, Qt::CaseInsensitive) != 0) {
            SSLog(1, SSMessageType::Info, "UserInfo: User '%@' with UUID: %@ has another UUID: %@",
                  m_sAMAccountName, m_uid, identifier);
        }
    }
    if (found.isEmpty())
        return;
    setDomains(found);
    if (found.size() > 1) {
        SSLog(1, SSMessageType::Info, "There are several domains:%@ for the user:%@", found,
              m_sAMAccountName);
    }
}

std::optional<QString> SSUserInfo::preferredDomainFromAppleMetaNodeLocation(
    const std::optional<QString> &appleMetaNodeLocation)
{
    if (!appleMetaNodeLocation)
        return std::nullopt;
    const QStringList components = appleMetaNodeLocation->split(QLatin1Char('/'));
    if (components.size() < 3)
        return std::nullopt;
    return components.at(2);
}

std::optional<QString> SSUserInfo::domainNameWithAppleMetaNodeLocation(
    const std::optional<QString> &appleMetaNodeLocation) const
{
    const QStringList candidates = domains().value_or(QStringList());
    const auto preferred = preferredDomainFromAppleMetaNodeLocation(appleMetaNodeLocation);
    std::optional<QString> smallest;
    for (const QString &domain : candidates) {
        if (preferred && domain.compare(*preferred, Qt::CaseInsensitive) == 0)
            return domain;
        if (!smallest || domain.compare(*smallest, Qt::CaseInsensitive) < 0)
            smallest = domain;
    }
    return smallest;
}

QString SSUserInfo::legacyLogonNameWithAppleMetaNodeLocation(
    const std::optional<QString> &appleMetaNodeLocation) const
{
    const auto domain = domainNameWithAppleMetaNodeLocation(appleMetaNodeLocation);
    return domain ? SSFormat::format("%@\\%@", domain, m_sAMAccountName) : m_sAMAccountName;
}

std::optional<QStringList> SSUserInfo::domains() const
{
    const std::lock_guard guard(m_domainsLock);
    return m_domains;
}

void SSUserInfo::setDomains(const std::optional<QStringList> &domains)
{
    const std::lock_guard guard(m_domainsLock);
    m_domains = domains;
}
