#pragma once

#include "platform/PublicKeys.h"
#include "platform/linux/cryptography/SelfTest.h"

#include <memory>

/// OpenSSL's. There are no keys once the self-test has failed.
class LinuxPublicKeyService final : public PublicKeyService
{
public:
    explicit LinuxPublicKeyService(
        std::shared_ptr<SelfTest> selfTest = std::make_shared<SelfTest>());

    [[nodiscard]] Result<std::unique_ptr<Asn1Coder>, CryptographyError> createAsn1Coder() override;
    [[nodiscard]] Result<std::unique_ptr<RsaPublicKey>, CryptographyError>
    createRsaPublicKey(std::span<const std::byte> der, unsigned bits) override;

private:
    std::shared_ptr<SelfTest> m_selfTest;
};
