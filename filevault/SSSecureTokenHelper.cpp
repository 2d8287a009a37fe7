#include "filevault/SSSecureTokenHelper.h"

#include "directory/SSUserInfo.h"
#include "filevault/SSFdeUsers.h"
#include "filevault/SSToolCommand.h"
#include "filevault/SSToolScripts.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "platform/SystemInformation.h"

namespace {

const QString accountTool = QStringLiteral("/usr/sbin/sysadminctl");
const QString fileVaultTool = QStringLiteral("/usr/bin/fdesetup");

/// The two passwords of an update, for the time of its command.
struct UpdatePasswords
{
    UpdatePasswords(const SSSecureData &ofUser, const SSSecureData &ofAdmin)
        : user(ofUser), admin(ofAdmin)
    {
        mask.add(user.text(), user.escaped());
        mask.add(admin.text(), admin.escaped());
    }

    const SSToolPassword user;
    const SSToolPassword admin;
    SSPasswordMask mask;
};

} // namespace

bool SSSecureTokenHelper::isSecureTokenSupported()
{
    return Platform::current().system->isSecureTokenSupported();
}

std::optional<bool> SSSecureTokenHelper::readFdeStatus()
{
    const SSToolAnswer answer(fileVaultTool, {QStringLiteral("status")});
    SSLog(2, SSMessageType::Info, "fdesetup status. Info: %@", answer.maskedOutput());
    if (!answer.hasOutput()) {
        SSLog(1, SSMessageType::Error, "unable check FileVault status. Error: %@",
              answer.errorDescription());
        return std::nullopt;
    }
    return answer.contains(QStringLiteral("FileVault is On"));
}

std::optional<bool> SSSecureTokenHelper::readSecureTokenStatusWithUserName(const QString &userName)
{
    if (!isSecureTokenSupported()) {
        SSLog(1, SSMessageType::Error,
              "SecureTokenStatus is not supported on macOS 10.13 or less.");
        return std::nullopt;
    }
    const SSToolAnswer answer(accountTool, {QStringLiteral("-secureTokenStatus"), userName});
    SSLog(2, SSMessageType::Info, "sysadminctl -secureTokenStatus. Info: %@",
          answer.maskedOutput());
    if (!answer.hasOutput()) {
        SSLog(1, SSMessageType::Error, "sysadminctl -secureTokenStatus. Error: %@",
              answer.errorDescription());
        return std::nullopt;
    }
    return answer.contains(QStringLiteral("ENABLED"));
}

std::optional<bool>
SSSecureTokenHelper::readSudoSecureTokenStatusWithUserName(const QString &userName)
{
    if (isSecureTokenSupported())
        return readSecureTokenStatusWithUserName(userName);
    if (Platform::current().identity->effectiveUserId() != 0) {
        SSLog(1, SSMessageType::Error, "Only sudo user can get fde secure token status.");
        return std::nullopt;
    }
    const SSToolAnswer answer(fileVaultTool, {QStringLiteral("list")});
    SSLog(2, SSMessageType::Info, "fdesetup list. Info: %@", answer.maskedOutput());
    if (!answer.hasOutput()) {
        SSLog(1, SSMessageType::Error, "unable get FileVault list. Error: %@",
              answer.errorDescription());
        return std::nullopt;
    }
    const auto users = SSFdeUsers::parseSecureTokenUsersWithResult(*answer.output());
    if (!users)
        return std::nullopt;
    return users->contains(userName.toLower());
}

bool SSSecureTokenHelper::fdeStatus()
{
    return readFdeStatus().value_or(false);
}

bool SSSecureTokenHelper::secureTokenStatusWithUserName(const QString &userName)
{
    return readSecureTokenStatusWithUserName(userName).value_or(false);
}

bool SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(const QString &userName)
{
    return readSudoSecureTokenStatusWithUserName(userName).value_or(false);
}

bool SSSecureTokenHelper::fdeUserWithUserName(const QString &userName, const QString &adminUserName,
                                              const SSSecureData &adminPassword)
{
    return SSFdeUsers(adminUserName, adminPassword).isSecureTokenUserWithName(userName);
}

bool SSSecureTokenHelper::isSecureTokenUserWithUserName(const QString &userName,
                                                        const QString &adminUserName,
                                                        const SSSecureData &adminPassword)
{
    if (isSecureTokenSupported())
        return secureTokenStatusWithUserName(userName);
    return fdeUserWithUserName(userName, adminUserName, adminPassword);
}

bool SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(
    const std::optional<QString> &userName, const SSSecureData &password)
{
    // Deliberate: without SecureToken nothing is checked.
    if (!isSecureTokenSupported())
        return true;
    const SSUserInfo user(userName.value_or(QString()));
    if (!userName) {
        SSLog(1, SSMessageType::Error,
              "verifyDiskPasswordWithUserName: Unable get info for the user: %@", userName);
        return false;
    }
    const QString userUID = user.userUID().value_or(QString());
    if (userUID.isEmpty()) {
        SSLog(1, SSMessageType::Error, "verifyDiskPasswordWithUserName: User UID is empty");
        return false;
    }

    const SSToolPassword decoded(password);
    SSPasswordMask mask;
    mask.add(decoded.text(), decoded.escaped());
    const SSToolAnswer answer = SSToolAnswer::ofScript(
        SSToolScripts::verifyDiskPassword(SSHelper::stringEscapedToShell(*userName), userUID,
                                          decoded.escaped()),
        mask);
    SSLog(2, SSMessageType::Info, "/expect result: %@", answer.maskedOutput());
    if (!answer.hasOutput()) {
        SSLog(1, SSMessageType::Error,
              "Unable check filevault current password using diskutil. Error: %@",
              answer.errorDescription());
        return false;
    }
    return answer.contains(QStringLiteral("Passphrase valid"));
}

bool SSSecureTokenHelper::secureTokenOnWithUserName(const QString &userName,
                                                    const SSSecureData &password,
                                                    const QString &adminUserName,
                                                    const SSSecureData &adminPassword,
                                                    std::optional<QString> &alertMessage)
{
    const UpdatePasswords passwords(password, adminPassword);
    const SSToolAnswer answer(accountTool,
                              {QStringLiteral("-secureTokenOn"), userName,
                               QStringLiteral("-password"), passwords.user.text(),
                               QStringLiteral("-adminUser"), adminUserName,
                               QStringLiteral("-adminPassword"), passwords.admin.text()},
                              passwords.mask);
    SSLog(2, SSMessageType::Info, "sysadminctl -secureTokenOn. Info: %@", answer.maskedOutput());
    if (answer.hasFailed()) {
        SSLog(1, SSMessageType::Error, "sysadminctl -secureTokenOn. Error: %@",
              answer.errorDescription());
        alertMessage = answer.errorDescription();
        return false;
    }
    if (answer.contains(QStringLiteral("Done!")))
        return true;
    alertMessage = answer.maskedOutput();
    return false;
}

bool SSSecureTokenHelper::updateFdeUserWithUserName(const QString &userName,
                                                    const SSSecureData &password,
                                                    const QString &adminUserName,
                                                    const SSSecureData &adminPassword,
                                                    std::optional<QString> &alertMessage)
{
    const UpdatePasswords passwords(password, adminPassword);
    const SSToolAnswer answer = SSToolAnswer::ofScript(
        SSToolScripts::readdFdeUser(
            SSHelper::stringEscapedToShell(userName), passwords.user.escaped(),
            SSHelper::stringEscapedToShell(adminUserName), passwords.admin.escaped()),
        passwords.mask);
    SSLog(2, SSMessageType::Info, "/expect result: %@", answer.maskedOutput());
    if (!answer.hasOutput()) {
        // The text of reading the list, on purpose.
        SSLog(1, SSMessageType::Error, "Unable get secure token users using fdesetup. Error: %@",
              answer.errorDescription());
        SSLog(1, SSMessageType::Error, "Result: %@", answer.maskedOutput());
        alertMessage = answer.hasFailed() ? answer.errorDescription() : answer.maskedOutput();
        return false;
    }
    // The line end of the last answer, and nothing printed after it.
    if (*answer.output() == QLatin1String("\r\n"))
        return true;
    alertMessage = answer.maskedOutput();
    return false;
}

bool SSSecureTokenHelper::updateSecureTokenUserWithUserName(const QString &userName,
                                                            const SSSecureData &password,
                                                            const QString &adminUserName,
                                                            const SSSecureData &adminPassword,
                                                            std::optional<QString> &alertMessage)
{
    if (isSecureTokenSupported())
        return secureTokenOnWithUserName(userName, password, adminUserName, adminPassword,
                                         alertMessage);
    return updateFdeUserWithUserName(userName, password, adminUserName, adminPassword,
                                     alertMessage);
}
