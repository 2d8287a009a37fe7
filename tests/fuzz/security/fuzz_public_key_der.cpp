#include "security/SSPublicKeyCoder.h"
#include "tests/fuzz/security/FuzzPlatform.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    installFuzzPlatform();
    const auto der = secureInput(data, size);
    const auto blob = SSPublicKeyCoder::msDataFromDerData(der.get());
    if (!blob)
        return 0;
    // The header's number of bits is that of the bytes behind it, and nothing is longer than what
    // it was read from.
    std::size_t bits = 0;
    for (std::size_t i = 4; i-- > 0;)
        bits = bits << 8U | std::to_integer<std::size_t>(blob->bytes()[12 + i]);
    if (bits != (blob->length() - 20) * 8 || blob->length() - 20 > size)
        std::abort();
    // DER has one form: a 2048-bit key comes back as it was.
    if (const auto again = SSPublicKeyCoder::derDataFromMsData(blob.get());
        again && !again->isEqualToSecureData(der.get()))
        std::abort();
    return 0;
}
