#include "platform/linux/cryptography/LinuxCryptography.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"
#include "tests/support/FakePlatform.h"

#include <cstdint>
#include <cstdlib>

namespace {

/// Fakes with the real cryptography and a silent log.
class FuzzPlatform : public FakePlatform
{
public:
    FuzzPlatform()
    {
        cryptography->backend = std::make_shared<LinuxCryptography>();
        SSLogger::sharedInstance()->setLogLevel(0);
    }
};

} // namespace

/// Takes the contents of a settings cache that anybody may have written. What is accepted must
/// survive being written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const FuzzPlatform platform;
    const auto input = SSSecureData::dataWithBytes(reinterpret_cast<const std::byte *>(data), size);
    const auto settings = SSLogonSettings::settingsFromData(input.get());
    if (!settings)
        return 0;
    const auto written = settings->serializedData();
    if (!written) // a text that is no Unicode cannot have been read
        std::abort();
    const auto again = SSLogonSettings::settingsFromData(written.get());
    if (!again || again->serialize().size() != settings->serialize().size() ||
        again->computerRID() != settings->computerRID()) {
        std::abort();
    }
    return 0;
}
