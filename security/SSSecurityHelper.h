#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

class SSRSAKey;
class SSSecureData;

/// The cryptography of offline password reset: the session key that the computer shares with the
/// service, the request and response codes that people read to each other, the hash that a reset is
/// checked by, and the key that binds what is stored to this computer.
///
/// Class operations only, on any thread. Buffers come back as new secure buffers; null, after a
/// line in the log, for every failure. A null buffer counts as an empty one.
///
/// Compatibility: the values of the machine-bound encryption that every build has to keep are
/// documented in docs/offline-reset.md.
class SSSecurityHelper
{
public:
    SSSecurityHelper() = delete;

    /// RSA with PKCS #1 v1.5 padding; at most 245 bytes with a 2048-bit key.
    [[nodiscard]] static std::shared_ptr<SSSecureData> encodeSecureData(const SSSecureData *data,
                                                                        const SSRSAKey *encodeKey);

    /// AES in CBC mode with PKCS #7 padding and the machine-bound key.
    [[nodiscard]] static std::shared_ptr<SSSecureData> encodeSecureData(const SSSecureData *data);
    /// Null as well when the decrypted data is empty.
    [[nodiscard]] static std::shared_ptr<SSSecureData> decodeSecureData(const SSSecureData *data);
    /// The same with a key of 16, 24 or 32 bytes.
    [[nodiscard]] static std::shared_ptr<SSSecureData> encodeSecureData(const SSSecureData *data,
                                                                        const SSSecureData *key);
    [[nodiscard]] static std::shared_ptr<SSSecureData> decodeSecureData(const SSSecureData *data,
                                                                        const SSSecureData *key);

    /// A request code as dashed Base32 text. `computerRID` is not 0, `key` has 128 bytes. The
    /// random number that the response is checked with goes to `random` unless that is null;
    /// without a code it keeps its value.
    [[nodiscard]] static std::optional<QString>
    generateRequestCodeWithComputerRID(std::uint32_t computerRID, const SSSecureData *key,
                                       std::uint32_t *random);
    /// Its 20 bytes.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    generateRequestCodeDataWithComputerRID(std::uint32_t computerRID, const SSSecureData *key,
                                           std::uint32_t *random);

    /// The 17 bytes that a response code carries, when it answers the request of `random`.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    parseResponseCode(const std::optional<QString> &responseCode, std::uint32_t random);

    /// PBKDF2 with HMAC-SHA-1, the first block: 20 bytes.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    calculatePBKDF2WithKey(const SSSecureData *key, const SSSecureData *salt, std::int32_t rounds);

    /// The domain cached credentials hash, version 2: 16 bytes. The user name has 1 to 256 UTF-16
    /// units; the password is UTF-16 little-endian text.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    calculateMsCash2WithUser(const std::optional<QString> &user, const SSSecureData *password,
                             std::int32_t iterations);

    /// The offline reset hash, 17 bytes.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    calcHashWithUser(const std::optional<QString> &user, const SSSecureData *password,
                     std::uint32_t random, const SSSecureData *key);

    /// The computer's UUID as text.
    [[nodiscard]] static std::optional<QString> getSystemUUID();

    /// The machine-bound key: the program's constant, each half of it XORed with the computer's
    /// UUID in reverse byte order; with zeros on a computer without a UUID.
    [[nodiscard]] static std::shared_ptr<SSSecureData> appSystemKey();
};
