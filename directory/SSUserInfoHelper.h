#pragma once

#include "platform/Directory.h"

#include <QList>
#include <QString>

#include <optional>

class SSSecureData;

/// The questions about people that the directory answers. Main thread; every call blocks for its
/// queries. A failure is logged and told as none or false.
class SSUserInfoHelper
{
public:
    /// Details of the records that are the user's, from the authentication search node, in the
    /// order of the answer. An "sAMAccountName" decides alone whether a record is the user's.
    [[nodiscard]] static std::optional<QList<DirectoryDetails>>
    userInfoWithName(const QString &userName);

    /// Details of the local records of cached directory accounts.
    [[nodiscard]] static std::optional<QList<DirectoryDetails>> mobileUsers();

    /// True when the user has a record and every one that can be read belongs to an NT domain.
    [[nodiscard]] static bool isEnrollCapableUser(const QString &userName);

    /// Whether `password`, text in UTF-16 little-endian, is that of the local user.
    [[nodiscard]] static bool verifyPasswordWithUserName(const QString &userName,
                                                         const SSSecureData &password);

    /// The local user's primary group and home folder, each into its slot unless that is null. A
    /// group id that is no number leaves its slot empty. The slots are only touched when the
    /// answer is true.
    [[nodiscard]] static bool getInfoForUser(const QString &userName,
                                             std::optional<qint64> *groupId,
                                             std::optional<QString> *home);
};
