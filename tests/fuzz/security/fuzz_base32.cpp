#include "security/SSSecure.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto bytes = SSSecure::initWithBase32EncodedString(text);
    if (!bytes)
        return 0;
    // What was read is written in the strict form, and that form reads back to the same bytes.
    const auto written = SSSecure::base32EncodedString(*bytes, SSSecure::base32InsertDashes);
    if (text.size() != 39 || bytes->size() != 20 || !written ||
        SSSecure::initWithBase32EncodedString(written) != bytes)
        std::abort();
    return 0;
}
