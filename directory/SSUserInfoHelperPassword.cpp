#include "directory/SSUserInfoHelper.h"

#include "directory/SSOpenDirectoryHelper.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "security/SSSecureData.h"
#include "security/SSUtf16.h"

bool SSUserInfoHelper::verifyPasswordWithUserName(const QString &userName,
                                                  const SSSecureData &password)
{
    const SSFunctionLog scope("+[SSUserInfoHelper verifyPasswordWithUserName:password:]");
    const QString recordName = QString::fromUtf16(DirectoryAttribute::RecordName);
    std::optional<DirectoryError> error;
    const auto records = SSOpenDirectoryHelper::searchWithScope(
        QString::fromUtf16(DirectoryLocalNode), DirectoryRecordType::Users,
        SSMatchCondition::matchConditionWithAttribute(recordName, DirectoryMatchType::EqualTo,
                                                      userName),
        {recordName}, error);
    if (error) {
        SSLog(1, SSMessageType::Error, "ValidateUserInfoHelper: Error query information: %@",
              error->localizedDescription);
        return false;
    }
    if (!records) {
        SSLog(1, SSMessageType::Error, "ValidateUserInfoHelper: Local users not found.");
        return false;
    }
    const auto decoded = SSUtf16::decoded(password.data());
    if (!decoded) {
        SSLog(1, SSMessageType::Error,
              "ValidateUserInfoHelper: the password for user '%@' is not UTF-16 text.", userName);
        return false;
    }
    for (const auto &record : *records) {
        const auto verified = record->verifyPassword({decoded->data(), decoded->size()});
        if (!verified) {
            SSLog(1, SSMessageType::Error,
                  "ValidateUserInfoHelper: password validation error for user '%@'. Error: %@",
                  userName, verified.error().localizedDescription);
            continue;
        }
        if (verified.value())
            return true;
    }
    return false;
}
