#include "security/SSPublicKeyCoder.h"
#include "security/SSRSAKey.h"
#include "security/SSSecurityHelper.h"
#include "tests/fuzz/security/FuzzPlatform.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    installFuzzPlatform();
    const auto blob = secureInput(data, size);
    const auto der = SSPublicKeyCoder::derDataFromMsData(blob.get());
    if (!der)
        return 0;
    // A blob that was taken is a whole one, and comes back as it was but for the reserved bytes and
    // leading zeros of the modulus.
    const auto again = SSPublicKeyCoder::msDataFromDerData(der.get());
    if (size != 276 || !again)
        std::abort();
    if (data[275] != 0) {
        for (std::size_t i = 0; i < size; ++i) {
            const bool reserved = i == 2 || i == 3;
            if (again->bytes()[i] != (reserved ? std::byte{0} : std::byte{data[i]}))
                std::abort();
        }
    }
    if (const auto key = SSRSAKey::keyWithMsKeyData(blob.get())) {
        const auto ciphered = SSSecurityHelper::encodeSecureData(
            secureInput(data, 16).get(), static_cast<const SSRSAKey *>(key.get()));
        if (ciphered && ciphered->length() != 256)
            std::abort();
    }
    return 0;
}
