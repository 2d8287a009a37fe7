#pragma once

#include "platform/Cryptography.h"
#include "platform/linux/cryptography/SelfTest.h"

#include <memory>

/// The kernel's generator, OpenSSL, and nettle for MD4. Before the first computation the self-test
/// runs; when it fails, every computation is refused, but not the generator, which is the kernel's.
class LinuxCryptography final : public Cryptography
{
public:
    explicit LinuxCryptography(std::shared_ptr<SelfTest> selfTest = std::make_shared<SelfTest>());

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

private:
    std::shared_ptr<SelfTest> m_selfTest;
};
