#pragma once

#include "platform/PublicKeys.h"

#include <memory>

class SSSecureData;

/// Converts the service's RSA public key between the Microsoft public key blob, in which the
/// directory publishes it, and the PKCS #1 RSAPublicKey in DER that the platform takes. Every
/// failure is logged. One thread at a time; the class operations on any thread.
///
/// The blob, all integers little-endian: type 6, version 2, two reserved bytes, the algorithm
/// 0x0000A400, the magic 0x31415352, the modulus' length in bits, the public exponent (4 bytes),
/// the modulus.
class SSPublicKeyCoder
{
public:
    SSPublicKeyCoder();
    ~SSPublicKeyCoder();
    SSPublicKeyCoder(const SSPublicKeyCoder &) = delete;
    SSPublicKeyCoder &operator=(const SSPublicKeyCoder &) = delete;

    /// DER from a blob of a 2048-bit key; null for any other blob and for null.
    [[nodiscard]] static std::shared_ptr<SSSecureData> derDataFromMsData(const SSSecureData *data);
    /// A blob from DER; null for what is no RSAPublicKey and for null. The blob is not validated.
    [[nodiscard]] static std::shared_ptr<SSSecureData> msDataFromDerData(const SSSecureData *data);
    /// The platform's key for a blob; null for null.
    [[nodiscard]] static std::unique_ptr<RsaPublicKey> secKeyWithMsData(const SSSecureData *data);

    /// The platform's ASN.1 coder is made at first use and kept until released.
    void createCoder();
    void releaseCoder();

    [[nodiscard]] std::shared_ptr<SSSecureData> derDataFromMsDataImpl(const SSSecureData *data);
    [[nodiscard]] std::shared_ptr<SSSecureData> msDataFromDerDataImpl(const SSSecureData *data);
    /// Whether the bytes are a blob of a 2048-bit RSA key.
    [[nodiscard]] bool validateMsData(const SSSecureData &data) const;

private:
    std::unique_ptr<Asn1Coder> m_coder;
};
