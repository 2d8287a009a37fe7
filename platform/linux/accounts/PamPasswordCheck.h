#pragma once

#include "platform/Directory.h"
#include "platform/linux/accounts/NameService.h"

#include <QString>

#include <string_view>

namespace PamPasswordCheck {

/// Whether `password` (UTF-16, host byte order) is the account's, by Linux-PAM: authentication,
/// then account management; no session, no credentials. Blocks; a refusal takes PAM's failure
/// delay of about 2 s. Never true without PAM having asked for the password, so that a module that
/// lets the user in by other means (a finger, an empty password) confirms nothing.
///
/// Errors: AuthenticationRefused for a wrong password and for an account that is locked or has
/// expired; CannotTell where the answer would mean nothing: the check of somebody else's account
/// by a process that is not root (unless `isDirectoryAccount`, whose check a service carries out),
/// any check under no_new_privs; FileUnreadable when the service file is missing. A password that
/// is right but has to be changed is right.
[[nodiscard]] Result<bool, DirectoryError> verify(const QString &service,
                                                  const NameService::User &user,
                                                  bool isDirectoryAccount,
                                                  std::u16string_view password);

} // namespace PamPasswordCheck
