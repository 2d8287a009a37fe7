#include "platform/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

QByteArray written(const QVariant &value)
{
    const auto result = writeXmlPropertyList(value);
    if (!result)
        std::abort(); // what was read can be written
    return {reinterpret_cast<const char *>(result.value().data()),
            static_cast<qsizetype>(result.value().size())};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray contents(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const PropertyListResult result = readXmlPropertyList(contents);
    // A refusal says why, and reading is the same every time.
    if (!result && result.error().text.isEmpty())
        std::abort();
    if (readXmlPropertyList(contents).ok() != result.ok())
        std::abort();
    if (!result)
        return 0;
    // It reads and writes as itself from then on, and says the same as in the other form.
    const QByteArray file = written(result.value());
    const PropertyListResult again = readXmlPropertyList(file);
    if (!again || written(again.value()) != file)
        std::abort();
    const auto before = writeBinaryPropertyList(result.value());
    const auto after = writeBinaryPropertyList(again.value());
    if (!before || !after || before.value() != after.value())
        std::abort();
    return 0;
}
