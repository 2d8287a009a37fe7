#include "tests/support/FakeCryptography.h"

int FakeCryptography::randomBytes(std::span<std::byte> bytes)
{
    for (std::byte &byte : bytes) {
        byte = next;
        next = static_cast<std::byte>(static_cast<unsigned>(next) + 1U);
    }
    return status;
}

int FakeCryptography::failure() const
{
    return !backend && computationStatus == 0 ? CryptographyStatus::LibraryError
                                              : computationStatus;
}

int FakeCryptography::hmacSha512(std::span<const std::byte> key, std::span<const std::byte> message,
                                 std::span<std::byte, sha512Length> code)
{
    const int failed = failure();
    return failed != 0 ? failed : backend->hmacSha512(key, message, code);
}

int FakeCryptography::md4(std::span<const std::byte> message,
                          std::span<std::byte, md4Length> digest)
{
    const int failed = failure();
    return failed != 0 ? failed : backend->md4(message, digest);
}

int FakeCryptography::pbkdf2HmacSha1(std::span<const std::byte> key,
                                     std::span<const std::byte> salt, int rounds,
                                     std::span<std::byte, sha1Length> derived)
{
    const int failed = failure();
    return failed != 0 ? failed : backend->pbkdf2HmacSha1(key, salt, rounds, derived);
}

int FakeCryptography::encryptAesCbc(std::span<const std::byte> key,
                                    std::span<const std::byte, aesBlockLength> vector,
                                    std::span<const std::byte> plain, std::span<std::byte> output,
                                    std::size_t &moved)
{
    moved = 0;
    const int failed = failure();
    const int result =
        failed != 0 ? failed : backend->encryptAesCbc(key, vector, plain, output, moved);
    moved = cipherMoves.value_or(moved);
    return result;
}

int FakeCryptography::decryptAesCbc(std::span<const std::byte> key,
                                    std::span<const std::byte, aesBlockLength> vector,
                                    std::span<const std::byte> ciphered,
                                    std::span<std::byte> output, std::size_t &moved)
{
    moved = 0;
    const int failed = failure();
    const int result =
        failed != 0 ? failed : backend->decryptAesCbc(key, vector, ciphered, output, moved);
    moved = cipherMoves.value_or(moved);
    return result;
}
