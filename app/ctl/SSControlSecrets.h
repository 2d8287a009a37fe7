#pragma once

#include <QString>

#include <memory>
#include <optional>

class SSSecureData;

/// Secrets that a command asks its user for: one line each, from a prompt or the standard input,
/// never from the arguments.
namespace SSControlSecrets {

/// A secret, or why there is none.
struct Secret
{
    std::shared_ptr<SSSecureData> data; ///< null on failure
    QString failure;
};

/// The line's bytes as they are.
[[nodiscard]] Secret line(const QString &prompt);
/// A password as UTF-16 little-endian text, as the hashes take it; may be empty.
[[nodiscard]] Secret password();
/// A session key in Base64.
[[nodiscard]] Secret sessionKey();
/// The session key that root keeps on this computer.
[[nodiscard]] Secret cachedSessionKey();

} // namespace SSControlSecrets
