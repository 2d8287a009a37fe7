#include "platform/linux/cryptography/OpenSslCipher.h"

#include "platform/linux/cryptography/OpenSslError.h"

#include <climits>
#include <memory>

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace {

constexpr std::size_t blockLength = Cryptography::aesBlockLength;

struct FreeContext
{
    // Wipes the key schedule.
    void operator()(EVP_CIPHER_CTX *context) const { EVP_CIPHER_CTX_free(context); }
};

enum class Direction : int { Decrypt = 0, Encrypt = 1 };

const EVP_CIPHER *cipherForKeyLength(std::size_t length)
{
    switch (length) {
    case 16:
        return EVP_aes_128_cbc();
    case 24:
        return EVP_aes_192_cbc();
    case 32:
        return EVP_aes_256_cbc();
    default:
        return nullptr;
    }
}

int transformed(Direction direction, std::span<const std::byte> key,
                std::span<const std::byte, blockLength> vector, std::span<const std::byte> input,
                std::span<std::byte> output, std::size_t &moved)
{
    moved = 0;
    const EVP_CIPHER *cipher = cipherForKeyLength(key.size());
    if (!cipher)
        return CryptographyStatus::KeySizeError;
    if (input.size() > INT_MAX - blockLength)
        return CryptographyStatus::ParameterError;
    if (output.size() < input.size() + blockLength)
        return CryptographyStatus::BufferTooSmall;
    if (direction == Direction::Decrypt && input.size() % blockLength != 0)
        return CryptographyStatus::AlignmentError;

    const std::unique_ptr<EVP_CIPHER_CTX, FreeContext> context(EVP_CIPHER_CTX_new());
    auto *out = reinterpret_cast<unsigned char *>(output.data());
    int first = 0;
    int last = 0;
    if (!context ||
        EVP_CipherInit_ex2(context.get(), cipher,
                           reinterpret_cast<const unsigned char *>(key.data()),
                           reinterpret_cast<const unsigned char *>(vector.data()),
                           static_cast<int>(direction), nullptr) != 1 ||
        EVP_CipherUpdate(context.get(), out, &first,
                         reinterpret_cast<const unsigned char *>(input.data()),
                         static_cast<int>(input.size())) != 1) {
        clearOpenSslErrors();
        return CryptographyStatus::LibraryError;
    }
    if (EVP_CipherFinal_ex(context.get(), out + first, &last) != 1) {
        OPENSSL_cleanse(out, static_cast<std::size_t>(first));
        clearOpenSslErrors();
        return direction == Direction::Decrypt ? CryptographyStatus::DecodeError
                                               : CryptographyStatus::LibraryError;
    }
    moved = static_cast<std::size_t>(first) + static_cast<std::size_t>(last);
    return CryptographyStatus::Success;
}

} // namespace

int OpenSslCipher::encryptAesCbc(std::span<const std::byte> key,
                                 std::span<const std::byte, blockLength> vector,
                                 std::span<const std::byte> plain, std::span<std::byte> output,
                                 std::size_t &moved)
{
    return transformed(Direction::Encrypt, key, vector, plain, output, moved);
}

int OpenSslCipher::decryptAesCbc(std::span<const std::byte> key,
                                 std::span<const std::byte, blockLength> vector,
                                 std::span<const std::byte> ciphered, std::span<std::byte> output,
                                 std::size_t &moved)
{
    return transformed(Direction::Decrypt, key, vector, ciphered, output, moved);
}
