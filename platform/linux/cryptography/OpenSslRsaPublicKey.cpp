#include "platform/linux/cryptography/OpenSslRsaPublicKey.h"

#include "platform/linux/cryptography/OpenSslError.h"
#include "platform/linux/cryptography/StackScrub.h"

#include <climits>
#include <utility>

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

namespace {

struct FreeNumber
{
    void operator()(BIGNUM *number) const { BN_free(number); }
};
struct FreeContext
{
    void operator()(EVP_PKEY_CTX *context) const { EVP_PKEY_CTX_free(context); }
};
struct FreeBuilder
{
    void operator()(OSSL_PARAM_BLD *builder) const { OSSL_PARAM_BLD_free(builder); }
};
struct FreeParameters
{
    void operator()(OSSL_PARAM *parameters) const { OSSL_PARAM_free(parameters); }
};
using Number = std::unique_ptr<BIGNUM, FreeNumber>;
using Context = std::unique_ptr<EVP_PKEY_CTX, FreeContext>;

Number numberFrom(const std::vector<std::byte> &bytes)
{
    if (bytes.size() > INT_MAX)
        return nullptr;
    return Number(BN_bin2bn(reinterpret_cast<const unsigned char *>(bytes.data()),
                            static_cast<int>(bytes.size()), nullptr));
}

Failure<CryptographyError> failure(const char *otherwise)
{
    return Failure{takeOpenSslError(QLatin1String(otherwise))};
}

} // namespace

void OpenSslRsaPublicKey::FreeKey::operator()(EVP_PKEY *key) const
{
    EVP_PKEY_free(key);
}

OpenSslRsaPublicKey::OpenSslRsaPublicKey(Key key) : m_key(std::move(key)) {}

Result<std::unique_ptr<OpenSslRsaPublicKey>, CryptographyError>
OpenSslRsaPublicKey::make(const RsaPublicNumbers &numbers, unsigned bits)
{
    const Number modulus = numberFrom(numbers.modulus);
    const Number exponent = numberFrom(numbers.exponent);
    if (!modulus || !exponent)
        return failure("The numbers of the key cannot be taken in.");
    if (static_cast<unsigned>(BN_num_bits(modulus.get())) != bits) {
        return Failure{CryptographyError{CryptographyStatus::KeySizeError,
                                         QStringLiteral("The key has %1 bits instead of %2.")
                                             .arg(BN_num_bits(modulus.get()))
                                             .arg(bits)}};
    }
    // A product of two primes is odd; the library finds out only when it computes.
    if (!BN_is_odd(modulus.get())) {
        return Failure{CryptographyError{CryptographyStatus::ParameterError,
                                         QStringLiteral("The key's modulus is even.")}};
    }
    // With an exponent of 1 the block that goes out is the padded secret itself.
    if (!BN_is_odd(exponent.get()) || BN_is_one(exponent.get())) {
        return Failure{CryptographyError{CryptographyStatus::ParameterError,
                                         QStringLiteral("The key's exponent encrypts nothing.")}};
    }

    const std::unique_ptr<OSSL_PARAM_BLD, FreeBuilder> builder(OSSL_PARAM_BLD_new());
    if (!builder ||
        OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get()) != 1 ||
        OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent.get()) != 1)
        return failure("The key cannot be described.");
    const std::unique_ptr<OSSL_PARAM, FreeParameters> parameters(
        OSSL_PARAM_BLD_to_param(builder.get()));
    const Context context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY *key = nullptr;
    if (!parameters || !context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get()) != 1) {
        EVP_PKEY_free(key);
        return failure("The key cannot be made.");
    }
    return std::make_unique<OpenSslRsaPublicKey>(Key(key));
}

std::size_t OpenSslRsaPublicKey::blockLength() const
{
    return static_cast<std::size_t>(EVP_PKEY_get_size(m_key.get()));
}

Result<std::size_t, CryptographyError>
OpenSslRsaPublicKey::encryptPkcs1(std::span<const std::byte> plain,
                                  std::span<std::byte> output) const
{
    return encrypted(RSA_PKCS1_PADDING, plain, output);
}

Result<std::size_t, CryptographyError>
OpenSslRsaPublicKey::encryptRaw(std::span<const std::byte> block, std::span<std::byte> output) const
{
    return encrypted(RSA_NO_PADDING, block, output);
}

Result<std::size_t, CryptographyError>
OpenSslRsaPublicKey::encrypted(int padding, std::span<const std::byte> plain,
                               std::span<std::byte> output) const
{
    if (output.size() < blockLength()) {
        return Failure{CryptographyError{CryptographyStatus::BufferTooSmall,
                                         QStringLiteral("The buffer is shorter than a block.")}};
    }
    const StackScrub scrub;
    const Context context(EVP_PKEY_CTX_new(m_key.get(), nullptr));
    std::size_t length = output.size();
    if (!context || EVP_PKEY_encrypt_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), padding) != 1 ||
        EVP_PKEY_encrypt(context.get(), reinterpret_cast<unsigned char *>(output.data()), &length,
                         reinterpret_cast<const unsigned char *>(plain.data()),
                         plain.size()) != 1) {
        OPENSSL_cleanse(output.data(), output.size());
        return failure("The data cannot be encrypted.");
    }
    return length;
}
