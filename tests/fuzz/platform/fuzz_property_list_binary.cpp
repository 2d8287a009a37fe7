#include "platform/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray contents(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const PropertyListResult result = readBinaryPropertyList(contents);
    // A refusal says why, and reading is the same every time.
    if (!result && result.error().text.isEmpty())
        std::abort();
    if (readBinaryPropertyList(contents).ok() != result.ok())
        std::abort();
    return 0;
}
