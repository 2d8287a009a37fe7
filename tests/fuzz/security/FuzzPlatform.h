#pragma once

#include "platform/Platform.h"
#include "platform/linux/cryptography/LinuxPublicKeyService.h"
#include "security/SSSecureData.h"

#include <cstdint>
#include <memory>

/// The public keys of the real platform, and nothing else; the log is silent.
inline void installFuzzPlatform()
{
    static Platform platform;
    if (platform.publicKeys)
        return;
    platform.publicKeys = std::make_shared<LinuxPublicKeyService>();
    Platform::install(&platform);
}

inline std::shared_ptr<SSSecureData> secureInput(const std::uint8_t *data, std::size_t size)
{
    return SSSecureData::dataWithBytes(reinterpret_cast<const std::byte *>(data), size);
}
