#pragma once

#include "platform/PublicKeys.h"

#include <memory>

#include <openssl/types.h>

class OpenSslRsaPublicKey final : public RsaPublicKey
{
    struct FreeKey
    {
        void operator()(EVP_PKEY *key) const;
    };
    using Key = std::unique_ptr<EVP_PKEY, FreeKey>;

public:
    explicit OpenSslRsaPublicKey(Key key);

    /// The numbers most significant byte first; see PublicKeyService::createRsaPublicKey().
    [[nodiscard]] static Result<std::unique_ptr<OpenSslRsaPublicKey>, CryptographyError>
    make(const RsaPublicNumbers &numbers, unsigned bits);

    [[nodiscard]] std::size_t blockLength() const override;
    [[nodiscard]] Result<std::size_t, CryptographyError>
    encryptPkcs1(std::span<const std::byte> plain, std::span<std::byte> output) const override;
    /// The bare power of a block that is already padded, for the self-test.
    [[nodiscard]] Result<std::size_t, CryptographyError>
    encryptRaw(std::span<const std::byte> block, std::span<std::byte> output) const;

private:
    [[nodiscard]] Result<std::size_t, CryptographyError>
    encrypted(int padding, std::span<const std::byte> plain, std::span<std::byte> output) const;

    Key m_key;
};
