#pragma once

#include <QSet>
#include <QString>

#include <optional>

class SSPasswordMask;
class SSSecureData;

/// The users who may unlock the disk, as the FileVault tool lists them for an administrator. Main
/// thread; making one blocks until the tool has exited.
class SSFdeUsers
{
public:
    /// Reads the list; `password` is text in UTF-16 little-endian. A failure is logged.
    SSFdeUsers(const QString &adminUserName, const SSSecureData &password);

    /// Reads the list again; what was read before stays when that fails.
    void retreiveSecureTokenUsersWithAdminUserName(const QString &adminUserName,
                                                   const SSSecureData &password);

    /// The lower-cased names of a list "name,UUID" by lines; other lines are skipped. None, with a
    /// log line, when there is no name in it.
    [[nodiscard]] static std::optional<QSet<QString>>
    parseSecureTokenUsersWithResult(const QString &result);

    /// Ignores case. False when the list could not be read.
    [[nodiscard]] bool isSecureTokenUserWithName(const QString &userName) const;
    [[nodiscard]] const std::optional<QSet<QString>> &secureTokenUsers() const
    {
        return m_secureTokenUsers;
    }

private:
    /// The same; the list may show those passwords, the log may not.
    [[nodiscard]] static std::optional<QSet<QString>> parse(const QString &result,
                                                            const SSPasswordMask &passwords);

    std::optional<QSet<QString>> m_secureTokenUsers;
};
