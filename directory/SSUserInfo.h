#pragma once

#include <QString>
#include <QStringList>

#include <mutex>
#include <optional>

/// One user's identity in the directory. The constructor asks the directory and so blocks; use from
/// the main thread. `domains` alone may be read and set from any thread.
class SSUserInfo
{
public:
    /// For the user's short login name.
    explicit SSUserInfo(const QString &name);
    SSUserInfo(const SSUserInfo &) = delete;
    SSUserInfo &operator=(const SSUserInfo &) = delete;

    /// Reads GUID and domains from the directory again; what it does not give stays as it was.
    void retreiveUserInformation();

    /// CORP for /Active Directory/CORP/All Domains; none without a third component.
    [[nodiscard]] static std::optional<QString>
    preferredDomainFromAppleMetaNodeLocation(const std::optional<QString> &appleMetaNodeLocation);

    /// The user's domain for a node location: the one that the location names, else the smallest
    /// ignoring case; none for a user without domains.
    [[nodiscard]] std::optional<QString>
    domainNameWithAppleMetaNodeLocation(const std::optional<QString> &appleMetaNodeLocation) const;

    /// DOMAIN\name, or the bare name for a user without domains.
    [[nodiscard]] QString legacyLogonNameWithAppleMetaNodeLocation(
        const std::optional<QString> &appleMetaNodeLocation) const;

    [[nodiscard]] const QString &sAMAccountName() const { return m_sAMAccountName; }
    void setSAMAccountName(const QString &sAMAccountName) { m_sAMAccountName = sAMAccountName; }

    /// The user's GUID; none until found.
    [[nodiscard]] const std::optional<QString> &uid() const { return m_uid; }
    [[nodiscard]] const std::optional<QString> &userUID() const { return m_uid; }
    void setUid(const std::optional<QString> &uid) { m_uid = uid; }

    /// The distinct NT domains, in the order and spelling first met; none when there is none.
    [[nodiscard]] std::optional<QStringList> domains() const;
    void setDomains(const std::optional<QStringList> &domains);

private:
    QString m_sAMAccountName;
    std::optional<QString> m_uid;
    mutable std::mutex m_domainsLock;
    std::optional<QStringList> m_domains;
};
