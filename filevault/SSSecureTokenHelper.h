#pragma once

#include <QString>

#include <optional>

class SSSecureData;

/// What the operating system's tools know and do about disk encryption and SecureToken, and the
/// user's flag that says that his password was changed elsewhere. Passwords are text in UTF-16
/// little-endian. Main thread; every call blocks until the tool has exited. A failure is logged and
/// told as false. No password reaches the log or a message, not even by way of a tool's output.
class SSSecureTokenHelper
{
public:
    /// Whether this system has SecureToken; elsewhere the list of FileVault users stands in for it.
    [[nodiscard]] static bool isSecureTokenSupported();

    /// Whether FileVault is on.
    [[nodiscard]] static bool fdeStatus();
    /// Whether the user holds a SecureToken.
    [[nodiscard]] static bool secureTokenStatusWithUserName(const QString &userName);
    /// The same for a caller that is root, also where there is no SecureToken.
    [[nodiscard]] static bool sudoSecureTokenStatusWithUserName(const QString &userName);
    // The same three, none when it cannot be told.
    [[nodiscard]] static std::optional<bool> readFdeStatus();
    [[nodiscard]] static std::optional<bool>
    readSecureTokenStatusWithUserName(const QString &userName);
    [[nodiscard]] static std::optional<bool>
    readSudoSecureTokenStatusWithUserName(const QString &userName);
    /// Whether the user is in the FileVault list, read with the administrator's rights.
    [[nodiscard]] static bool fdeUserWithUserName(const QString &userName,
                                                  const QString &adminUserName,
                                                  const SSSecureData &adminPassword);
    /// One of the two above, as the system has it.
    [[nodiscard]] static bool isSecureTokenUserWithUserName(const QString &userName,
                                                            const QString &adminUserName,
                                                            const SSSecureData &adminPassword);
    /// Whether the password unlocks the boot volume for that user. True, unchecked, where there is
    /// no SecureToken.
    [[nodiscard]] static bool
    verifyDiskPasswordWithAdminUserName(const std::optional<QString> &userName,
                                        const SSSecureData &password);

    /// Grants the user a SecureToken. `alertMessage` is set on failure only: a text for the user.
    [[nodiscard]] static bool secureTokenOnWithUserName(const QString &userName,
                                                        const SSSecureData &password,
                                                        const QString &adminUserName,
                                                        const SSSecureData &adminPassword,
                                                        std::optional<QString> &alertMessage);
    /// Removes the user from FileVault and adds him again with the new password.
    [[nodiscard]] static bool updateFdeUserWithUserName(const QString &userName,
                                                        const SSSecureData &password,
                                                        const QString &adminUserName,
                                                        const SSSecureData &adminPassword,
                                                        std::optional<QString> &alertMessage);
    /// One of the two above, as the system has it.
    [[nodiscard]] static bool updateSecureTokenUserWithUserName(
        const QString &userName, const SSSecureData &password, const QString &adminUserName,
        const SSSecureData &adminPassword, std::optional<QString> &alertMessage);

    /// The current user's flag, false when it cannot be read. Never for root.
    [[nodiscard]] static bool passwordChanged();
    /// The same, none when it cannot be read.
    [[nodiscard]] static std::optional<bool> readPasswordChanged();
    /// Sets a user's flag; for root alone, who does it with that user's rights. The file keeps its
    /// format, owner, group and mode; one that is no property list is replaced.
    [[nodiscard]] static bool updatePasswordChangedForUser(const QString &userName);
    /// Clears the current user's flag and makes the file his alone; true also when there is no
    /// file. Never for root.
    [[nodiscard]] static bool resetPasswordChangedFlag();
};
