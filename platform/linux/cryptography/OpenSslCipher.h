#pragma once

#include "platform/Cryptography.h"

/// AES in CBC mode with PKCS #7 padding; contracts and statuses as Cryptography has them.
namespace OpenSslCipher {

[[nodiscard]] int encryptAesCbc(std::span<const std::byte> key,
                                std::span<const std::byte, Cryptography::aesBlockLength> vector,
                                std::span<const std::byte> plain, std::span<std::byte> output,
                                std::size_t &moved);

[[nodiscard]] int decryptAesCbc(std::span<const std::byte> key,
                                std::span<const std::byte, Cryptography::aesBlockLength> vector,
                                std::span<const std::byte> ciphered, std::span<std::byte> output,
                                std::size_t &moved);

} // namespace OpenSslCipher
