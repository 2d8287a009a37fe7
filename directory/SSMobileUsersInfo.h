#pragma once

#include <QString>
#include <QStringList>

/// Cached directory accounts of this computer, and who administers it. Main thread; blocks.
class SSMobileUsersInfo
{
public:
    /// Names of the form user@domain; an original node name of fewer than four components is logged
    /// and skipped.
    [[nodiscard]] static QStringList retreiveMobileUsers();

    /// Whether the user is a member of the group "admin". A failure is logged and gives false.
    [[nodiscard]] static bool isAdminUser(const QString &userName);
};
