#include "directory/SSMobileUsersInfo.h"

#include "directory/SSRecordValues.h"
#include "directory/SSUserInfoHelper.h"
#include "foundation/SSLogger.h"
#include "platform/Identity.h"
#include "platform/Platform.h"

namespace {

/// All records as a log line prints them: the messages below show the whole list, whichever record
/// they are about.
QVariant printable(const QList<DirectoryDetails> &users)
{
    QVariantList list;
    for (const DirectoryDetails &details : users) {
        QVariantMap map;
        for (auto it = details.cbegin(); it != details.cend(); ++it)
            map.insert(it.key(), it.value());
        list.append(map);
    }
    return list;
}

void logInvalidNodeName(const QString &nodeName, const QList<DirectoryDetails> &users)
{
    SSLog(1, SSMessageType::Info,
          "MobileUsersInfo: User has invalid original node name: %@ values: %@", nodeName,
          printable(users));
}

QStringList namesAtNode(const QStringList &recordNames, const QString &nodeName,
                        const QList<DirectoryDetails> &users)
{
    const QStringList components = nodeName.split(QLatin1Char('/'));
    if (components.size() != 4)
        logInvalidNodeName(nodeName, users);
    if (components.size() < 4)
        return {};
    const QString &domain = components.at(3);
    if (domain.isEmpty()) {
        logInvalidNodeName(nodeName, users);
        return {};
    }
    QStringList result;
    for (const QString &recordName : recordNames) {
        if (recordName.isEmpty()) {
            SSLog(1, SSMessageType::Info, "MobileUsersInfo: User record name is empty: %@",
                  printable(users));
        } else {
            result.append(SSFormat::format("%@@%@", recordName, domain));
        }
    }
    return result;
}

} // namespace

QStringList SSMobileUsersInfo::retreiveMobileUsers()
{
    const auto users = SSUserInfoHelper::mobileUsers().value_or(QList<DirectoryDetails>());
    QStringList result;
    for (const DirectoryDetails &details : users) {
        const SSRecordValues recordNames(details, DirectoryAttribute::RecordName);
        if (recordNames.count() > 1) {
            SSLog(1, SSMessageType::Info,
                  "MobileUsersInfo: User has several record name values: %@", printable(users));
        }
        const SSRecordValues nodeNames(details, DirectoryAttribute::OriginalNodeName);
        if (nodeNames.count() > 1) {
            SSLog(1, SSMessageType::Info,
                  "MobileUsersInfo: User has several original node name values: %@",
                  printable(users));
        }
        for (const QString &nodeName : nodeNames.list())
            result.append(namesAtNode(recordNames.list(), nodeName, users));
    }
    return result;
}

bool SSMobileUsersInfo::isAdminUser(const QString &userName)
{
    const auto identity = Platform::current().identity;
    const auto users = identity->usersWithName(userName);
    if (!users) {
        SSLog(1, SSMessageType::Error, "Unable query user '%@' athority. Error: %@", userName,
              users.error().localizedDescription);
        return false;
    }
    if (users.value().isEmpty()) {
        SSLog(1, SSMessageType::Error, "Users array for user '%@' is invalid: %@", userName,
              QStringList());
        return false;
    }
    const auto groups = identity->groupsWithName(QStringLiteral("admin"));
    if (!groups) {
        SSLog(1, SSMessageType::Error, "Unable query user '%@' athority. Error: %@", userName,
              groups.error().localizedDescription);
        return false;
    }
    if (groups.value().isEmpty()) {
        SSLog(1, SSMessageType::Error, "Groups array is invalid: %@", QStringList());
        return false;
    }
    return identity->isMember(users.value().first(), groups.value().first());
}
