#pragma once

#include "platform/PublicKeys.h"

/// OpenSSL's.
class LinuxPublicKeyService final : public PublicKeyService
{
public:
    [[nodiscard]] Result<std::unique_ptr<Asn1Coder>, CryptographyError> createAsn1Coder() override;
    [[nodiscard]] Result<std::unique_ptr<RsaPublicKey>, CryptographyError>
    createRsaPublicKey(std::span<const std::byte> der, unsigned bits) override;
};
