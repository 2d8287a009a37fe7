#include "directory/SSUserInfoHelper.h"

#include "directory/SSOpenDirectoryHelper.h"
#include "directory/SSRecordValues.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"

namespace {

QString attributeName(const char16_t *attribute)
{
    return QString::fromUtf16(attribute);
}

SSMatchCondition recordNameIs(const QString &userName)
{
    return SSMatchCondition::matchConditionWithAttribute(
        attributeName(DirectoryAttribute::RecordName), DirectoryMatchType::EqualTo, userName);
}

bool equalIgnoringCase(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

/// Whether a record found under `userName` is that user's own.
bool belongsToUser(const DirectoryDetails &details, const QString &userName)
{
    const SSRecordValues recordNames(details, DirectoryAttribute::RecordName);
    if (recordNames.count() > 1) {
        SSLog(1, SSMessageType::Info,
              "UserInfoHelper: User '%@' has several record names values: %@", userName,
              recordNames.printable());
    }
    const SSRecordValues accountNames(details, DirectoryAttribute::sAMAccountName);
    if (accountNames.count() > 1) {
        SSLog(1, SSMessageType::Info,
              "UserInfoHelper: User '%@' has several sAMAccountName values: %@", userName,
              accountNames.printable());
    }

    const std::optional<QString> recordName = recordNames.first();
    const bool recordNameMatches = recordName && equalIgnoringCase(*recordName, userName);
    if (recordName && !recordNameMatches) {
        SSLog(1, SSMessageType::Info, "UserInfoHelper: User '%@' has different record name: %@",
              userName, recordName);
    }

    const std::optional<QString> accountName = accountNames.first();
    if (!accountName)
        return recordNameMatches;
    if (equalIgnoringCase(*accountName, userName))
        return true;
    SSLog(1, SSMessageType::Info, "UserInfoHelper: User '%@' has different sAMAccountName: %@",
          userName, accountName);
    return false;
}

/// Whether the details hold what a cached directory account needs.
bool isMobileUser(const DirectoryDetails &details)
{
    const SSRecordValues recordNames(details, DirectoryAttribute::RecordName);
    if (recordNames.count() != 1) {
        SSLog(1, SSMessageType::Info,
              "MobileUserInfoHelper: User has several record names values: %@",
              recordNames.printable());
    }
    const SSRecordValues nodeNames(details, DirectoryAttribute::OriginalNodeName);
    if (nodeNames.count() != 1) {
        // Speaks of another attribute than it is about; support staff search for this wording.
        SSLog(1, SSMessageType::Info,
              "MobileUserInfoHelper: User '%@' has several sAMAccountName values: %@",
              recordNames.first(), nodeNames.printable());
    }
    return recordNames.first() && nodeNames.first();
}

/// The home folder of a local record; the text about "original" values serves both attributes.
std::optional<QString> homeFolder(const DirectoryDetails &details)
{
    for (const char16_t *attribute :
         {DirectoryAttribute::OriginalNFSHomeDirectory, DirectoryAttribute::NFSHomeDirectory}) {
        const SSRecordValues homes(details, attribute);
        if (homes.count() != 1) {
            SSLog(1, SSMessageType::Info,
                  "GroupUserInfoHelper: User has several original NFS home directory values: %@",
                  homes.printable());
        }
        if (homes.first())
            return homes.first();
    }
    return std::nullopt;
}

/// None unless the whole text is a decimal integer.
std::optional<qint64> integerFromString(const QString &text)
{
    bool ok = false;
    const qint64 number = text.toLongLong(&ok);
    // toLongLong() forgives blanks around the digits.
    if (!ok || text.front().isSpace() || text.back().isSpace())
        return std::nullopt;
    return number;
}

} // namespace

std::optional<QList<DirectoryDetails>> SSUserInfoHelper::userInfoWithName(const QString &userName)
{
    const SSFunctionLog scope("+[SSUserInfoHelper userInfoWithName:]");
    if (userName.isEmpty()) {
        SSLog(1, SSMessageType::Error, "User name is empty");
        return std::nullopt;
    }
    std::optional<DirectoryError> error;
    const auto records = SSOpenDirectoryHelper::searchWithType(
        DirectoryNodeType::Authentication, DirectoryRecordType::Users, recordNameIs(userName),
        {attributeName(DirectoryAttribute::RecordName), attributeName(DirectoryAttribute::GUID),
         attributeName(DirectoryAttribute::PrimaryNTDomain),
         attributeName(DirectoryAttribute::sAMAccountName)},
        error);
    if (error) {
        SSLog(1, SSMessageType::Error, "UserInfoHelper: Error query information for user '%@': %@",
              userName, error->localizedDescription);
        return std::nullopt;
    }
    if (!records) {
        SSLog(1, SSMessageType::Error, "UserInfoHelper: User '%@' not found", userName);
        return std::nullopt;
    }
    QList<DirectoryDetails> result;
    for (const auto &record : *records) {
        // One slot for the whole loop: after a failure every later record counts as failed too.
        const auto details = SSOpenDirectoryHelper::recordDetails(*record, error);
        if (error) {
            SSLog(1, SSMessageType::Error,
                  "UserInfoHelper: Unable get attributes for user '%@': %@", userName,
                  error->localizedDescription);
            continue;
        }
        if (!details) {
            SSLog(1, SSMessageType::Info, "UserInfoHelper: Attributes for user '%@' is absent",
                  userName);
            continue;
        }
        if (belongsToUser(*details, userName))
            result.append(*details);
    }
    return result;
}

std::optional<QList<DirectoryDetails>> SSUserInfoHelper::mobileUsers()
{
    const SSFunctionLog scope("+[SSUserInfoHelper mobileUsers]");
    const auto condition = SSMatchCondition::matchConditionWithAttribute(
        attributeName(DirectoryAttribute::OriginalNodeName), DirectoryMatchType::BeginsWith,
        QStringLiteral("/Active Directory"));
    std::optional<DirectoryError> error;
    const auto records = SSOpenDirectoryHelper::searchWithScope(
        QString::fromUtf16(DirectoryLocalNode), DirectoryRecordType::Users, condition,
        {attributeName(DirectoryAttribute::OriginalNodeName),
         attributeName(DirectoryAttribute::RecordName)},
        error);
    if (error) {
        SSLog(1, SSMessageType::Error, "MobileUserInfoHelper: Error query information: %@",
              error->localizedDescription);
        return std::nullopt;
    }
    if (!records) {
        SSLog(1, SSMessageType::Error, "MobileUserInfoHelper: Local users not found.");
        return std::nullopt;
    }
    QList<DirectoryDetails> result;
    for (const auto &record : *records) {
        // One slot for the whole loop, as in userInfoWithName.
        const auto details = SSOpenDirectoryHelper::recordDetails(*record, error);
        if (error) {
            SSLog(1, SSMessageType::Error, "MobileUserInfoHelper: Unable get attributes: %@",
                  error->localizedDescription);
            continue;
        }
        if (!details) {
            SSLog(1, SSMessageType::Info, "MobileUserInfoHelper: Attributes is absent");
            continue;
        }
        if (isMobileUser(*details))
            result.append(*details);
    }
    return result;
}

bool SSUserInfoHelper::isEnrollCapableUser(const QString &userName)
{
    const SSFunctionLog scope("+[SSUserInfoHelper isEnrollCapableUser:]");
    if (userName.isEmpty()) {
        SSLog(1, SSMessageType::Error, "User name is empty");
        return false;
    }
    std::optional<DirectoryError> error;
    const auto records = SSOpenDirectoryHelper::searchWithType(
        DirectoryNodeType::Authentication, DirectoryRecordType::Users, recordNameIs(userName),
        {attributeName(DirectoryAttribute::RecordName),
         attributeName(DirectoryAttribute::PrimaryNTDomain)},
        error);
    if (error) {
        SSLog(1, SSMessageType::Error,
              "isEnrollCapableUser: Error query information for user '%@': %@", userName,
              error->localizedDescription);
        return false;
    }
    if (!records) {
        SSLog(1, SSMessageType::Error, "isEnrollCapableUser: User '%@' not found", userName);
        return false;
    }
    bool anyRead = false;
    bool allHaveDomains = true;
    for (const auto &record : *records) {
        // One slot for the whole loop, as in userInfoWithName.
        const auto details = SSOpenDirectoryHelper::recordDetails(*record, error);
        if (error) {
            SSLog(1, SSMessageType::Error,
                  "isEnrollCapableUser: Unable get attributes for user '%@': %@", userName,
                  error->localizedDescription);
            continue;
        }
        if (!details) {
            SSLog(1, SSMessageType::Info, "isEnrollCapableUser: Attributes for user '%@' is absent",
                  userName);
            continue;
        }
        const SSRecordValues domains(*details, DirectoryAttribute::PrimaryNTDomain);
        if (domains.count() > 1) {
            SSLog(1, SSMessageType::Info,
                  "isEnrollCapableUser: User '%@' has several domain name values: %@", userName,
                  domains.printable());
        }
        anyRead = true;
        allHaveDomains = allHaveDomains && domains.count() > 0;
    }
    return anyRead && allHaveDomains;
}

bool SSUserInfoHelper::getInfoForUser(const QString &userName, std::optional<qint64> *groupId,
                                      std::optional<QString> *home)
{
    const SSFunctionLog scope("+[SSUserInfoHelper getInfoForUser:groupId:home:]");
    std::optional<DirectoryError> error;
    const auto records = SSOpenDirectoryHelper::searchWithScope(
        QString::fromUtf16(DirectoryLocalNode), DirectoryRecordType::Users, recordNameIs(userName),
        {attributeName(DirectoryAttribute::RecordName),
         attributeName(DirectoryAttribute::PrimaryGroupID),
         attributeName(DirectoryAttribute::OriginalNFSHomeDirectory),
         attributeName(DirectoryAttribute::NFSHomeDirectory)},
        error);
    if (error) {
        SSLog(1, SSMessageType::Error, "GroupUserInfoHelper: Error query information: %@",
              error->localizedDescription);
        return false;
    }
    if (!records) {
        SSLog(1, SSMessageType::Error, "GroupUserInfoHelper: Local users not found.");
        return false;
    }
    if (records->size() > 1) {
        SSLog(2, SSMessageType::Info, "GroupUserInfoHelper: Several users: %lu with user '%@'.",
              records->size(), userName);
    }
    for (const auto &record : *records) {
        std::optional<DirectoryError> recordError;
        const auto details = SSOpenDirectoryHelper::recordDetails(*record, recordError);
        if (recordError) {
            SSLog(1, SSMessageType::Error, "GroupUserInfoHelper: Unable get attributes: %@",
                  recordError->localizedDescription);
            continue;
        }
        if (!details) {
            SSLog(1, SSMessageType::Info, "GroupUserInfoHelper: Attributes is absent");
            continue;
        }
        const SSRecordValues groupIds(*details, DirectoryAttribute::PrimaryGroupID);
        if (groupIds.count() != 1) {
            SSLog(1, SSMessageType::Info,
                  "GroupUserInfoHelper: User has several primary group id values: %@",
                  groupIds.printable());
        }
        const std::optional<QString> folder = homeFolder(*details);
        if (!folder || !groupIds.first())
            continue;
        if (groupId)
            *groupId = integerFromString(*groupIds.first());
        if (home)
            *home = folder;
        return true;
    }
    return false;
}
