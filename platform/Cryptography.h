#pragma once

#include <QString>

#include <cstddef>
#include <span>

/// What the operations of Cryptography report besides success. The numbers appear in log lines, so
/// they keep their values.
namespace CryptographyStatus {
inline constexpr int Success = 0;
inline constexpr int ParameterError = -4300;
inline constexpr int BufferTooSmall = -4301;
inline constexpr int AlignmentError = -4303; ///< the ciphertext is no whole number of blocks
inline constexpr int DecodeError = -4304;    ///< what was decrypted has no valid padding
inline constexpr int KeySizeError = -4310;
inline constexpr int LibraryError = -4398;   ///< the library failed where it should not
inline constexpr int SelfTestFailed = -4399; ///< a known answer came out wrong: nothing is computed
} // namespace CryptographyStatus

/// A failure with its number and a text for the log, never for a decision.
struct CryptographyError
{
    int status = CryptographyStatus::Success;
    QString description;
};

/// The symmetric cryptography that the program needs of the platform. Every operation writes to the
/// caller's buffer and leaves no copy of a key or a message behind; it returns 0 on success,
/// otherwise a status for the log, and then the buffer's content is to be thrown away. Any thread.
class Cryptography
{
public:
    static constexpr std::size_t sha512Length = 64;
    static constexpr std::size_t md4Length = 16;
    static constexpr std::size_t sha1Length = 20;
    static constexpr std::size_t aesBlockLength = 16;

    virtual ~Cryptography() = default;

    /// Fills `bytes` from the system's cryptographic generator.
    [[nodiscard]] virtual int randomBytes(std::span<std::byte> bytes) = 0;

    [[nodiscard]] virtual int hmacSha512(std::span<const std::byte> key,
                                         std::span<const std::byte> message,
                                         std::span<std::byte, sha512Length> code) = 0;

    [[nodiscard]] virtual int md4(std::span<const std::byte> message,
                                  std::span<std::byte, md4Length> digest) = 0;

    /// The first block of PBKDF2 with HMAC-SHA-1. `rounds` is at least 1.
    [[nodiscard]] virtual int pbkdf2HmacSha1(std::span<const std::byte> key,
                                             std::span<const std::byte> salt, int rounds,
                                             std::span<std::byte, sha1Length> derived) = 0;

    /// AES in CBC mode with PKCS #7 padding; the key has 16, 24 or 32 bytes. `output` has room for
    /// `plain` and one block; `moved` tells how much was written to it.
    [[nodiscard]] virtual int encryptAesCbc(std::span<const std::byte> key,
                                            std::span<const std::byte, aesBlockLength> vector,
                                            std::span<const std::byte> plain,
                                            std::span<std::byte> output, std::size_t &moved) = 0;
    /// The reverse; `output` has room for `ciphered` and one block.
    [[nodiscard]] virtual int decryptAesCbc(std::span<const std::byte> key,
                                            std::span<const std::byte, aesBlockLength> vector,
                                            std::span<const std::byte> ciphered,
                                            std::span<std::byte> output, std::size_t &moved) = 0;
};
