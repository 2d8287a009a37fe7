#include "platform/linux/cryptography/LinuxCryptography.h"

#include "platform/linux/cryptography/NettleMd4.h"
#include "platform/linux/cryptography/OpenSslCipher.h"
#include "platform/linux/cryptography/OpenSslDigests.h"
#include "platform/linux/cryptography/StackScrub.h"

#include <cerrno>
#include <utility>

#include <sys/random.h>

LinuxCryptography::LinuxCryptography(std::shared_ptr<SelfTest> selfTest)
    : m_selfTest(std::move(selfTest))
{
}

int LinuxCryptography::randomBytes(std::span<std::byte> bytes)
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        filled += static_cast<std::size_t>(count);
    }
    return CryptographyStatus::Success;
}

int LinuxCryptography::hmacSha512(std::span<const std::byte> key,
                                  std::span<const std::byte> message,
                                  std::span<std::byte, sha512Length> code)
{
    if (!m_selfTest->passed())
        return CryptographyStatus::SelfTestFailed;
    const StackScrub scrub;
    return OpenSslDigests::hmacSha512(key, message, code);
}

int LinuxCryptography::md4(std::span<const std::byte> message,
                           std::span<std::byte, md4Length> digest)
{
    if (!m_selfTest->passed())
        return CryptographyStatus::SelfTestFailed;
    const StackScrub scrub;
    nettleMd4(message, digest);
    return CryptographyStatus::Success;
}

int LinuxCryptography::pbkdf2HmacSha1(std::span<const std::byte> key,
                                      std::span<const std::byte> salt, int rounds,
                                      std::span<std::byte, sha1Length> derived)
{
    if (!m_selfTest->passed())
        return CryptographyStatus::SelfTestFailed;
    const StackScrub scrub;
    return OpenSslDigests::pbkdf2HmacSha1(key, salt, rounds, derived);
}

int LinuxCryptography::encryptAesCbc(std::span<const std::byte> key,
                                     std::span<const std::byte, aesBlockLength> vector,
                                     std::span<const std::byte> plain, std::span<std::byte> output,
                                     std::size_t &moved)
{
    moved = 0;
    if (!m_selfTest->passed())
        return CryptographyStatus::SelfTestFailed;
    const StackScrub scrub;
    return OpenSslCipher::encryptAesCbc(key, vector, plain, output, moved);
}

int LinuxCryptography::decryptAesCbc(std::span<const std::byte> key,
                                     std::span<const std::byte, aesBlockLength> vector,
                                     std::span<const std::byte> ciphered,
                                     std::span<std::byte> output, std::size_t &moved)
{
    moved = 0;
    if (!m_selfTest->passed())
        return CryptographyStatus::SelfTestFailed;
    const StackScrub scrub;
    return OpenSslCipher::decryptAesCbc(key, vector, ciphered, output, moved);
}
