#pragma once

#include "platform/Cryptography.h"

/// Statuses as Cryptography has them.
namespace OpenSslDigests {

[[nodiscard]] int hmacSha512(std::span<const std::byte> key, std::span<const std::byte> message,
                             std::span<std::byte, Cryptography::sha512Length> code);

[[nodiscard]] int pbkdf2HmacSha1(std::span<const std::byte> key, std::span<const std::byte> salt,
                                 int rounds,
                                 std::span<std::byte, Cryptography::sha1Length> derived);

} // namespace OpenSslDigests
