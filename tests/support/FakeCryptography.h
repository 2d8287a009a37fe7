#pragma once

#include "platform/Cryptography.h"
#include "platform/MachineIdentity.h"

#include <memory>
#include <optional>

/// A generator whose bytes count up, before computations that a test hands in.
class FakeCryptography final : public Cryptography
{
public:
    [[nodiscard]] int randomBytes(std::span<std::byte> bytes) override;
    [[nodiscard]] int hmacSha512(std::span<const std::byte> key, std::span<const std::byte> message,
                                 std::span<std::byte, sha512Length> code) override;
    [[nodiscard]] int md4(std::span<const std::byte> message,
                          std::span<std::byte, md4Length> digest) override;
    [[nodiscard]] int pbkdf2HmacSha1(std::span<const std::byte> key,
                                     std::span<const std::byte> salt, int rounds,
                                     std::span<std::byte, sha1Length> derived) override;
    [[nodiscard]] int encryptAesCbc(std::span<const std::byte> key,
                                    std::span<const std::byte, aesBlockLength> vector,
                                    std::span<const std::byte> plain, std::span<std::byte> output,
                                    std::size_t &moved) override;
    [[nodiscard]] int decryptAesCbc(std::span<const std::byte> key,
                                    std::span<const std::byte, aesBlockLength> vector,
                                    std::span<const std::byte> ciphered,
                                    std::span<std::byte> output, std::size_t &moved) override;

    int status = 0;    ///< of the generator
    std::byte next{1}; ///< the bytes count up from here

    std::shared_ptr<Cryptography> backend;  ///< what computes; null: every computation fails
    int computationStatus = 0;              ///< other than 0: what every computation gives
    std::optional<std::size_t> cipherMoves; ///< set: what a cipher says it wrote

private:
    [[nodiscard]] int failure() const;
};

class FakeMachineIdentity final : public MachineIdentity
{
public:
    [[nodiscard]] std::optional<QString> platformUuid() override { return uuid; }
    std::optional<QString> uuid = QStringLiteral("00112233-4455-6677-8899-AABBCCDDEEFF");
};
