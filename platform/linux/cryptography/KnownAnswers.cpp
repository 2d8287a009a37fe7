#include "platform/linux/cryptography/KnownAnswers.h"

#include "platform/linux/cryptography/NettleMd4.h"
#include "platform/linux/cryptography/OpenSslCipher.h"
#include "platform/linux/cryptography/OpenSslDigests.h"
#include "platform/linux/cryptography/OpenSslRsaPublicKey.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

using Octets = std::span<const unsigned char>;

std::span<const std::byte> bytes(std::string_view text)
{
    return std::as_bytes(std::span(text));
}

bool isBeginning(Octets expected, std::span<const std::byte> actual)
{
    const auto expectedBytes = std::as_bytes(expected);
    return expectedBytes.size() <= actual.size() &&
           std::equal(expectedBytes.begin(), expectedBytes.end(), actual.begin());
}

/// RFC 4231, test case 2.
bool hmacSha512IsRight()
{
    static constexpr std::array<unsigned char, 64> expected{
        0x16, 0x4b, 0x7a, 0x7b, 0xfc, 0xf8, 0x19, 0xe2, 0xe3, 0x95, 0xfb, 0xe7, 0x3b,
        0x56, 0xe0, 0xa3, 0x87, 0xbd, 0x64, 0x22, 0x2e, 0x83, 0x1f, 0xd6, 0x10, 0x27,
        0x0c, 0xd7, 0xea, 0x25, 0x05, 0x54, 0x97, 0x58, 0xbf, 0x75, 0xc0, 0x5a, 0x99,
        0x4a, 0x6d, 0x03, 0x4f, 0x65, 0xf8, 0xf0, 0xe6, 0xfd, 0xca, 0xea, 0xb1, 0xa3,
        0x4d, 0x4a, 0x6b, 0x4b, 0x63, 0x6e, 0x07, 0x0a, 0x38, 0xbc, 0xe7, 0x37};
    std::array<std::byte, Cryptography::sha512Length> code{};
    return OpenSslDigests::hmacSha512(bytes("Jefe"), bytes("what do ya want for nothing?"), code) ==
               0 &&
           isBeginning(expected, code);
}

/// RFC 6070, second case.
bool pbkdf2IsRight()
{
    static constexpr std::array<unsigned char, 20> expected{
        0xea, 0x6c, 0x01, 0x4d, 0xc7, 0x2d, 0x6f, 0x8c, 0xcd, 0x1e,
        0xd9, 0x2a, 0xce, 0x1d, 0x41, 0xf0, 0xd8, 0xde, 0x89, 0x57};
    std::array<std::byte, Cryptography::sha1Length> derived{};
    return OpenSslDigests::pbkdf2HmacSha1(bytes("password"), bytes("salt"), 2, derived) == 0 &&
           isBeginning(expected, derived);
}

/// RFC 1320, A.5.
bool md4IsRight()
{
    static constexpr std::array<unsigned char, 16> expected{0xa4, 0x48, 0x01, 0x7a, 0xaf, 0x21,
                                                            0xd8, 0x52, 0x5f, 0xc1, 0x0a, 0xe8,
                                                            0x7a, 0xa6, 0x72, 0x9d};
    std::array<std::byte, Cryptography::md4Length> digest{};
    nettleMd4(bytes("abc"), digest);
    return isBeginning(expected, digest);
}

/// NIST SP 800-38A, F.2.5, first block; then back again.
bool aesCbcIsRight()
{
    static constexpr std::array<unsigned char, 32> key{
        0x60, 0x3d, 0xeb, 0x10, 0x15, 0xca, 0x71, 0xbe, 0x2b, 0x73, 0xae,
        0xf0, 0x85, 0x7d, 0x77, 0x81, 0x1f, 0x35, 0x2c, 0x07, 0x3b, 0x61,
        0x08, 0xd7, 0x2d, 0x98, 0x10, 0xa3, 0x09, 0x14, 0xdf, 0xf4};
    static constexpr std::array<unsigned char, 16> vector{0x00, 0x01, 0x02, 0x03, 0x04, 0x05,
                                                          0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b,
                                                          0x0c, 0x0d, 0x0e, 0x0f};
    static constexpr std::array<unsigned char, 16> plain{0x6b, 0xc1, 0xbe, 0xe2, 0x2e, 0x40,
                                                         0x9f, 0x96, 0xe9, 0x3d, 0x7e, 0x11,
                                                         0x73, 0x93, 0x17, 0x2a};
    static constexpr std::array<unsigned char, 16> expected{0xf5, 0x8c, 0x4c, 0x04, 0xd6, 0xe5,
                                                            0xf1, 0xba, 0x77, 0x9e, 0xab, 0xfb,
                                                            0x5f, 0x7b, 0xfb, 0xd6};
    std::array<std::byte, 2 * Cryptography::aesBlockLength> ciphered{};
    std::array<std::byte, 3 * Cryptography::aesBlockLength> decrypted{};
    const auto keyBytes = std::as_bytes(std::span(key));
    const auto vectorBytes = std::as_bytes(std::span(vector));
    std::size_t moved = 0;
    if (OpenSslCipher::encryptAesCbc(keyBytes, vectorBytes, std::as_bytes(std::span(plain)),
                                     ciphered, moved) != 0 ||
        moved != ciphered.size() || !isBeginning(expected, ciphered))
        return false;
    return OpenSslCipher::decryptAesCbc(keyBytes, vectorBytes, ciphered, decrypted, moved) == 0 &&
           moved == plain.size() && isBeginning(plain, decrypted);
}

/// By Python: pow(0x000102…3f, 65537, n), for an odd n of 512 bits.
bool rsaIsRight()
{
    static constexpr std::array<unsigned char, 64> modulus{
        0xc8, 0x3f, 0xb7, 0x14, 0x78, 0x29, 0xe4, 0x6d, 0xd3, 0x90, 0x78, 0x7e, 0x89,
        0x78, 0x7f, 0x95, 0x7a, 0xaa, 0xc2, 0xc7, 0xaf, 0x03, 0x4c, 0xbb, 0x42, 0x6a,
        0xf6, 0xf5, 0xd3, 0x1a, 0xeb, 0x95, 0x93, 0x25, 0xaf, 0xda, 0xda, 0x13, 0x6a,
        0x43, 0x55, 0xea, 0x83, 0x0c, 0x07, 0xf9, 0x6f, 0x35, 0xec, 0x0b, 0xcf, 0xbf,
        0xe2, 0x2b, 0xb7, 0x83, 0x1a, 0x78, 0x4f, 0xb7, 0x79, 0xde, 0x64, 0x0d};
    static constexpr std::array<unsigned char, 3> exponent{0x01, 0x00, 0x01};
    static constexpr std::array<unsigned char, 64> expected{
        0x19, 0x7c, 0xfe, 0xec, 0x8b, 0x6d, 0x06, 0xe4, 0x06, 0x4d, 0x29, 0xb2, 0xfb,
        0xe4, 0xdb, 0x73, 0x0c, 0x51, 0x61, 0x96, 0x83, 0x06, 0xc0, 0x1b, 0x04, 0xf7,
        0xf5, 0x96, 0xcc, 0x3f, 0xa1, 0x29, 0x2a, 0x6f, 0xf1, 0xe0, 0xb9, 0x6f, 0x4a,
        0x95, 0xce, 0xdf, 0x79, 0x51, 0x27, 0x4e, 0x75, 0x7e, 0x5e, 0xd9, 0xc1, 0xc8,
        0x9a, 0xeb, 0x29, 0xda, 0xa8, 0xa5, 0xa0, 0x84, 0x6e, 0xf2, 0xd7, 0x89};
    const auto modulusBytes = std::as_bytes(std::span(modulus));
    const auto exponentBytes = std::as_bytes(std::span(exponent));
    const auto key = OpenSslRsaPublicKey::make(
        {{modulusBytes.begin(), modulusBytes.end()}, {exponentBytes.begin(), exponentBytes.end()}},
        8 * modulus.size());
    std::array<std::byte, modulus.size()> block{};
    for (std::size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<std::byte>(i);
    std::array<std::byte, modulus.size()> encrypted{};
    return key.ok() && key.value()->encryptRaw(block, encrypted).ok() &&
           isBeginning(expected, encrypted);
}

} // namespace

const char *KnownAnswers::firstWrong()
{
    if (!hmacSha512IsRight())
        return "HMAC-SHA-512";
    if (!pbkdf2IsRight())
        return "PBKDF2";
    if (!md4IsRight())
        return "MD4";
    if (!aesCbcIsRight())
        return "AES-CBC";
    if (!rsaIsRight())
        return "RSA";
    return nullptr;
}
