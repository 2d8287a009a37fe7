#include "tests/unit/filevault/PlayedTools.h"

#include "filevault/SSSecureTokenHelper.h"
#include "security/SSSecureData.h"

PlayedTools *&PlayedTools::current()
{
    static PlayedTools *tools = nullptr;
    return tools;
}

QString utf16(const SSSecureData &password)
{
    QString text;
    const auto bytes = password.data();
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text +=
            QChar(std::to_integer<ushort>(bytes[i]) | std::to_integer<ushort>(bytes[i + 1]) << 8);
    return text;
}

bool SSSecureTokenHelper::isSecureTokenUserWithUserName(const QString &userName,
                                                        const QString &adminUserName,
                                                        const SSSecureData &adminPassword)
{
    PlayedTools &tools = *PlayedTools::current();
    tools.asked.append(
        QStringLiteral("token %1 %2 %3").arg(userName, adminUserName, utf16(adminPassword)));
    return tools.holdsSecureToken;
}

bool SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(
    const std::optional<QString> &userName, const SSSecureData &password)
{
    PlayedTools &tools = *PlayedTools::current();
    tools.asked.append(
        QStringLiteral("disk %1 %2").arg(userName.value_or(QString()), utf16(password)));
    return tools.diskPasswordValid;
}

bool SSSecureTokenHelper::updateSecureTokenUserWithUserName(const QString &userName,
                                                            const SSSecureData &password,
                                                            const QString &adminUserName,
                                                            const SSSecureData &adminPassword,
                                                            std::optional<QString> &alertMessage)
{
    PlayedTools &tools = *PlayedTools::current();
    tools.asked.append(QStringLiteral("update %1 %2 %3 %4")
                           .arg(userName, utf16(password), adminUserName, utf16(adminPassword)));
    if (tools.duringUpdate)
        tools.duringUpdate();
    if (!tools.updates)
        alertMessage = tools.failure;
    return tools.updates;
}
