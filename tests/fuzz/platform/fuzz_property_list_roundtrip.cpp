#include "platform/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

template<typename Value>
std::vector<std::byte> written(const Value &value)
{
    const auto result = writeBinaryPropertyList(value);
    if (!result)
        std::abort(); // what was read can be written
    return result.value();
}

QByteArray arrayOf(const std::vector<std::byte> &bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

} // namespace

/// What is read of any file can be written, and reads and writes as itself from then on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray contents(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const PropertyListResult result = readPropertyList(contents);
    if (!result)
        return 0;
    const std::vector<std::byte> file = written(result.value());
    const PropertyListResult again = readPropertyList(arrayOf(file));
    if (!again || written(again.value()) != file)
        std::abort();

    const auto views =
        readBinaryPropertyListDictionary({std::as_bytes(std::span(data, size)), nullptr});
    if (views.ok() !=
        (contents.startsWith("bplist") && result.value().typeId() == QMetaType::QVariantMap))
        std::abort();
    if (!views)
        return 0;
    const std::vector<std::byte> ordered = written(views.value());
    const auto viewsAgain = readBinaryPropertyListDictionary({ordered, nullptr});
    if (!viewsAgain || written(viewsAgain.value()) != ordered)
        std::abort();
    return 0;
}
