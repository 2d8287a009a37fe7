#include "platform/linux/cryptography/LinuxPublicKeyService.h"

#include "platform/linux/cryptography/OpenSslError.h"
#include "platform/linux/cryptography/OpenSslRsaPublicKey.h"
#include "platform/linux/cryptography/RsaPublicKeyDer.h"

namespace {

CryptographyError derError()
{
    CryptographyError error =
        takeOpenSslError(QStringLiteral("The data is no RSA public key in DER."));
    error.status = CryptographyStatus::DecodeError;
    return error;
}

class OpenSslAsn1Coder final : public Asn1Coder
{
public:
    [[nodiscard]] Result<std::vector<std::byte>, CryptographyError>
    encodeRsaPublicKey(std::span<const std::byte> modulus,
                       std::span<const std::byte> exponent) override
    {
        auto der = RsaPublicKeyDer::encoded(modulus, exponent);
        if (!der)
            return Failure{takeOpenSslError(QStringLiteral("The key cannot be written."))};
        return *std::move(der);
    }

    [[nodiscard]] Result<RsaPublicNumbers, CryptographyError>
    decodeRsaPublicKey(std::span<const std::byte> der) override
    {
        auto numbers = RsaPublicKeyDer::decoded(der);
        if (!numbers)
            return Failure{derError()};
        return *std::move(numbers);
    }
};

} // namespace

Result<std::unique_ptr<Asn1Coder>, CryptographyError> LinuxPublicKeyService::createAsn1Coder()
{
    return std::unique_ptr<Asn1Coder>(std::make_unique<OpenSslAsn1Coder>());
}

Result<std::unique_ptr<RsaPublicKey>, CryptographyError>
LinuxPublicKeyService::createRsaPublicKey(std::span<const std::byte> der, unsigned bits)
{
    const auto numbers = RsaPublicKeyDer::decoded(der);
    if (!numbers)
        return Failure{derError()};
    return OpenSslRsaPublicKey::make(*numbers, bits);
}
