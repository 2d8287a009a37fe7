#pragma once

#include <QString>

/// The scripts for the expect interpreter that run a tool as an administrator: su to become him,
/// sudo to become root, a password for each prompt. Every text that is filled in is escaped
/// already, but for the identifier. A script holds passwords: the caller wipes it.
namespace SSToolScripts {

/// Lists who may unlock the disk.
[[nodiscard]] QString fdeUserList(const QString &adminUserName, const QString &adminPassword);

/// Checks the user's own password against the encrypted volume.
[[nodiscard]] QString verifyDiskPassword(const QString &userName, const QString &userUID,
                                         const QString &password);

/// Removes the user from those who may unlock the disk and adds him again.
[[nodiscard]] QString readdFdeUser(const QString &userName, const QString &password,
                                   const QString &adminUserName, const QString &adminPassword);

} // namespace SSToolScripts
