#include "platform/linux/cryptography/OpenSslDigests.h"

#include "platform/linux/cryptography/OpenSslError.h"

#include <climits>

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace {

/// Null would mean "no key" to the library, not an empty one.
template<typename Unit>
const Unit *orEmpty(std::span<const std::byte> bytes)
{
    static constexpr Unit none{};
    return bytes.empty() ? &none : reinterpret_cast<const Unit *>(bytes.data());
}

} // namespace

int OpenSslDigests::hmacSha512(std::span<const std::byte> key, std::span<const std::byte> message,
                               std::span<std::byte, Cryptography::sha512Length> code)
{
    if (key.size() > INT_MAX)
        return CryptographyStatus::ParameterError;
    unsigned length = 0;
    const bool done = HMAC(EVP_sha512(), orEmpty<unsigned char>(key), static_cast<int>(key.size()),
                           orEmpty<unsigned char>(message), message.size(),
                           reinterpret_cast<unsigned char *>(code.data()), &length) != nullptr;
    if (!done || length != code.size()) {
        clearOpenSslErrors();
        return CryptographyStatus::LibraryError;
    }
    return CryptographyStatus::Success;
}

int OpenSslDigests::pbkdf2HmacSha1(std::span<const std::byte> key, std::span<const std::byte> salt,
                                   int rounds,
                                   std::span<std::byte, Cryptography::sha1Length> derived)
{
    if (key.size() > INT_MAX || salt.size() > INT_MAX || rounds < 1)
        return CryptographyStatus::ParameterError;
    if (PKCS5_PBKDF2_HMAC(orEmpty<char>(key), static_cast<int>(key.size()),
                          orEmpty<unsigned char>(salt), static_cast<int>(salt.size()), rounds,
                          EVP_sha1(), static_cast<int>(derived.size()),
                          reinterpret_cast<unsigned char *>(derived.data())) != 1) {
        clearOpenSslErrors();
        return CryptographyStatus::LibraryError;
    }
    return CryptographyStatus::Success;
}
