#include "platform/PropertyList.h"
#include "platform/propertylist/BinaryPropertyListObjects.h"

#include <QtEndian>

#include <algorithm>
#include <bit>

namespace {

using namespace BinaryPropertyList;

using Bytes = std::vector<std::byte>;

/// Finds out how long the file becomes, so that its buffer never has to move.
class Counter
{
public:
    void number(quint64, qsizetype width) { m_size += width; }
    void bytes(std::span<const std::byte> bytes) { m_size += static_cast<qsizetype>(bytes.size()); }
    void ascii(QStringView text) { m_size += text.size(); }
    void utf16(QStringView text) { m_size += 2 * text.size(); }
    [[nodiscard]] qsizetype size() const { return m_size; }

private:
    qsizetype m_size = 0;
};

class Filler
{
public:
    explicit Filler(qsizetype size) : m_bytes(static_cast<std::size_t>(size)) {}
    /// Big-endian in `width` bytes, which may be more than `value` has.
    void number(quint64 value, qsizetype width)
    {
        std::byte *to = next(width);
        for (qsizetype i = width - 1; i >= 0; --i)
            *to++ = static_cast<std::byte>(i >= 8 ? 0 : value >> (8 * i));
    }
    void bytes(std::span<const std::byte> bytes)
    {
        std::copy(bytes.begin(), bytes.end(), next(static_cast<qsizetype>(bytes.size())));
    }
    void ascii(QStringView text)
    {
        std::transform(text.utf16(), text.utf16() + text.size(), next(text.size()),
                       [](char16_t character) { return static_cast<std::byte>(character); });
    }
    void utf16(QStringView text)
    {
        qToBigEndian<char16_t>(text.utf16(), text.size(), next(2 * text.size()));
    }
    [[nodiscard]] qsizetype size() const { return static_cast<qsizetype>(m_size); }
    [[nodiscard]] Bytes take() { return std::move(m_bytes); }

private:
    /// Where the next `size` bytes go.
    std::byte *next(qsizetype size)
    {
        std::byte *const result = m_bytes.data() + m_size;
        m_size += static_cast<std::size_t>(size);
        return result;
    }

    Bytes m_bytes;
    std::size_t m_size = 0;
};

template<typename Sink>
void putMarker(Sink &sink, Kind kind, unsigned low)
{
    sink.number(static_cast<unsigned>(kind) << 4U | low, 1);
}

/// The low bits that stand for a number of 1, 2, 4, 8 or 16 bytes.
unsigned logarithmOf(qsizetype width)
{
    return static_cast<unsigned>(std::countr_zero(static_cast<quint64>(width)));
}

template<typename Sink>
void putCounted(Sink &sink, Kind kind, quint64 count)
{
    if (count < countFollows) {
        putMarker(sink, kind, static_cast<unsigned>(count));
        return;
    }
    putMarker(sink, kind, countFollows);
    putMarker(sink, Kind::Integer, logarithmOf(widthOf(count)));
    sink.number(count, widthOf(count));
}

template<typename Sink>
void putText(Sink &sink, const Object &object)
{
    putCounted(sink, object.kind, static_cast<quint64>(object.text.size()));
    if (object.kind == Kind::Utf16String)
        sink.utf16(object.text);
    else
        sink.ascii(object.text);
}

template<typename Sink>
void putObject(Sink &sink, const Objects &objects, const Object &object, qsizetype referenceSize)
{
    switch (object.kind) {
    case Kind::Simple:
        putMarker(sink, object.kind, static_cast<unsigned>(object.number));
        break;
    case Kind::Integer:
        putMarker(sink, object.kind, logarithmOf(object.width));
        sink.number(object.number, object.width);
        break;
    case Kind::Real:
    case Kind::Date:
        putMarker(sink, object.kind, logarithmOf(8));
        sink.number(object.number, 8);
        break;
    case Kind::Data:
        putCounted(sink, object.kind, object.bytes.size());
        sink.bytes(object.bytes);
        break;
    case Kind::AsciiString:
    case Kind::Utf16String:
        putText(sink, object);
        break;
    case Kind::Array:
    case Kind::Dictionary:
        putCounted(sink, object.kind, object.count / (object.kind == Kind::Dictionary ? 2 : 1));
        for (const Reference reference : objects.references(object))
            sink.number(reference, referenceSize);
        break;
    }
}

template<typename Sink>
void putFile(Sink &sink, const Objects &all)
{
    const std::vector<Object> &objects = all.all();
    const qsizetype referenceSize = widthOf(objects.size());
    std::vector<quint64> offsets;
    offsets.reserve(objects.size());
    sink.bytes(std::as_bytes(std::span(magic)));
    for (const Object &object : objects) {
        offsets.push_back(static_cast<quint64>(sink.size()));
        putObject(sink, all, object, referenceSize);
    }
    const auto table = static_cast<quint64>(sink.size());
    const qsizetype offsetSize = widthOf(table);
    for (const quint64 offset : offsets)
        sink.number(offset, offsetSize);
    sink.number(0, offsetSizeAt);
    sink.number(static_cast<quint64>(offsetSize), 1);
    sink.number(static_cast<quint64>(referenceSize), 1);
    sink.number(objects.size(), 8);
    sink.number(0, 8); // the top object is the first
    sink.number(table, 8);
}

template<typename Value>
Result<Bytes, PropertyListError> write(const Value &value, const PropertyListLimits &limits)
{
    Objects objects(limits);
    if (!objects.add(value))
        return Failure{PropertyListError{objects.error()}};
    Counter counter;
    putFile(counter, objects);
    if (counter.size() > limits.fileSize)
        return Failure{PropertyListError{PropertyListText::tooLarge()}};
    Filler filler(counter.size());
    putFile(filler, objects);
    return filler.take();
}

} // namespace

Result<std::vector<std::byte>, PropertyListError>
writeBinaryPropertyList(const QVariant &value, const PropertyListLimits &limits)
{
    return write(value, limits);
}

Result<std::vector<std::byte>, PropertyListError>
writeBinaryPropertyList(const PropertyListDictionary &dictionary, const PropertyListLimits &limits)
{
    return write(dictionary, limits);
}
