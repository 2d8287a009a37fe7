#pragma once

#include <QByteArrayView>

#include <optional>
#include <span>

/// Passwords as an LDIF file stores them.
namespace LdifPassword {

/// Whether `password` (UTF-8) is the stored one: "{SSHA256}" or "{SHA256}" and base64 of the
/// SHA-256 hash (of password and salt, with the salt behind it), or the password itself. Compared
/// in constant time. None when the stored value has another scheme or is damaged.
[[nodiscard]] std::optional<bool> matches(QByteArrayView stored, std::span<const char> password);

} // namespace LdifPassword
