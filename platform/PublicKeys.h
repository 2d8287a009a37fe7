#pragma once

#include "platform/Cryptography.h"
#include "platform/Result.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

/// The numbers of an RSA public key, most significant byte first and without leading zeros; zero
/// itself is one zero byte.
struct RsaPublicNumbers
{
    std::vector<std::byte> modulus;
    std::vector<std::byte> exponent;
};

/// Writes and reads the PKCS #1 RSAPublicKey structure in DER. One thread at a time.
class Asn1Coder
{
public:
    virtual ~Asn1Coder() = default;

    /// Both numbers most significant byte first, unsigned; leading zeros do not count.
    [[nodiscard]] virtual Result<std::vector<std::byte>, CryptographyError>
    encodeRsaPublicKey(std::span<const std::byte> modulus, std::span<const std::byte> exponent) = 0;

    /// An error for everything but one whole structure of two numbers that are not negative.
    [[nodiscard]] virtual Result<RsaPublicNumbers, CryptographyError>
    decodeRsaPublicKey(std::span<const std::byte> der) = 0;
};

/// An RSA public key of the platform. Any thread.
class RsaPublicKey
{
public:
    virtual ~RsaPublicKey() = default;

    /// How long whatever it encrypts becomes, in bytes.
    [[nodiscard]] virtual std::size_t blockLength() const = 0;

    /// Encrypts with PKCS #1 v1.5 padding, which takes 11 of the block's bytes. Writes
    /// blockLength() bytes to `output` and returns their number; an error when `plain` is too long
    /// or `output` too short.
    [[nodiscard]] virtual Result<std::size_t, CryptographyError>
    encryptPkcs1(std::span<const std::byte> plain, std::span<std::byte> output) const = 0;
};

/// Makes what handles public keys. Any thread.
class PublicKeyService
{
public:
    virtual ~PublicKeyService() = default;

    [[nodiscard]] virtual Result<std::unique_ptr<Asn1Coder>, CryptographyError>
    createAsn1Coder() = 0;

    /// A key from a PKCS #1 RSAPublicKey in DER. An error when it is not of `bits` bits, its
    /// modulus is even, or its exponent is one that encrypts nothing (even, or 1).
    [[nodiscard]] virtual Result<std::unique_ptr<RsaPublicKey>, CryptographyError>
    createRsaPublicKey(std::span<const std::byte> der, unsigned bits) = 0;
};
