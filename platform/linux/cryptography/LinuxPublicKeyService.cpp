#include "platform/linux/cryptography/LinuxPublicKeyService.h"

#include "platform/linux/cryptography/OpenSslError.h"
#include "platform/linux/cryptography/OpenSslRsaPublicKey.h"
#include "platform/linux/cryptography/RsaPublicKeyDer.h"

#include <utility>

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

LinuxPublicKeyService::LinuxPublicKeyService(std::shared_ptr<SelfTest> selfTest)
    : m_selfTest(std::move(selfTest))
{
}

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
    if (!m_selfTest->passed()) {
        return Failure{CryptographyError{CryptographyStatus::SelfTestFailed,
                                         QStringLiteral("The cryptography does not work.")}};
    }
    auto key = OpenSslRsaPublicKey::make(*numbers, bits);
    if (!key.ok())
        return Failure{key.error()};
    return std::unique_ptr<RsaPublicKey>(std::move(key).value());
}
