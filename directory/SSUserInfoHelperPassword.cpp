#include "directory/SSUserInfoHelper.h"

#include "directory/SSOpenDirectoryHelper.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "security/SSSecureData.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace {

/// UTF-16 text decoded from little-endian bytes, in the storage for secrets.
class DecodedPassword
{
public:
    explicit DecodedPassword(std::span<const std::byte> bytes) : m_text(bytes.size() / 2)
    {
        for (std::size_t i = 0; i < m_text.size(); ++i) {
            m_text[i] = static_cast<char16_t>(std::to_integer<unsigned>(bytes[2 * i]) |
                                              std::to_integer<unsigned>(bytes[2 * i + 1]) << 8U);
        }
    }
    DecodedPassword(const DecodedPassword &) = delete;
    DecodedPassword &operator=(const DecodedPassword &) = delete;

    [[nodiscard]] std::u16string_view text() const { return {m_text.data(), m_text.size()}; }

private:
    std::vector<char16_t, SSSecureAllocator<char16_t>> m_text;
};

} // namespace

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
    if (password.length() % 2 != 0) {
        // Half a character is left over: cutting it off would check another password.
        SSLog(1, SSMessageType::Error,
              "ValidateUserInfoHelper: the password for user '%@' is not UTF-16 text.", userName);
        return false;
    }
    const DecodedPassword decoded(password.data());
    for (const auto &record : *records) {
        const auto verified = record->verifyPassword(decoded.text());
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
