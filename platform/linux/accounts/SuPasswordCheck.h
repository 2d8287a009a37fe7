#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"
#include "platform/linux/accounts/NameService.h"

#include <QByteArray>
#include <QList>

#include <chrono>
#include <string_view>

namespace SuPasswordCheck {

struct Options
{
    /// The first that exists is used.
    QList<QByteArray> programs{QByteArrayLiteral("/bin/su"), QByteArrayLiteral("/usr/bin/su")};
    std::chrono::milliseconds limit = std::chrono::seconds(20);
};

/// Whether `password` (UTF-16, host byte order) is the account's, asked as an ordinary user asks
/// about somebody else: by running `su - NAME` with nothing to do, on a terminal of our own. One
/// attempt. It counts as a login of that account: PAM opens and closes a session, and a refusal is
/// a failed login. The shell is /bin/true; su runs the account's own only when that is none of
/// /etc/shells, and gives it `true` to do.
///
/// True only when su asked for the password at a terminal without an echo and ended with status 0.
/// AuthenticationRefused: su refused the password; a locked account looks the same. Everything else
/// is CannotTell, with a line for the log: no su that runs as root, no_new_privs, a password that a
/// terminal would not take whole (control characters, more than 511 bytes), another prompt, none,
/// or two, an account that has expired or whose password must be changed, a login shell that fails,
/// no answer within the limit.
///
/// Blocks; a refusal takes PAM's failure delay of about 2 s. At the limit su is ended, which may
/// take up to 4 s more. The password goes to su from one wiped buffer, and to nothing else.
[[nodiscard]] Result<bool, DirectoryError> verify(const NameService::User &user,
                                                  std::u16string_view password,
                                                  const DiagnosticSink &diagnostics,
                                                  const Options &options = {});

} // namespace SuPasswordCheck
