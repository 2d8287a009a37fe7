#include "platform/propertylist/BinaryPropertyListObjects.h"

#include <QDateTime>
#include <QStringList>

#include <array>
#include <bit>
#include <limits>

namespace BinaryPropertyList {

namespace {

/// No way out of the loop, so that it takes many characters at once.
bool isAscii(QStringView text)
{
    char16_t all = 0;
    for (const char16_t *at = text.utf16(), *end = at + text.size(); at != end; ++at)
        all |= *at;
    return all < 0x80;
}

} // namespace

qsizetype widthOf(quint64 number)
{
    if (number < quint64{1} << 8U)
        return 1;
    if (number < quint64{1} << 16U)
        return 2;
    return number < quint64{1} << 32U ? 4 : 8;
}

std::nullopt_t Objects::fail(const QString &text)
{
    m_error = text;
    return std::nullopt;
}

std::optional<Reference> Objects::spent(Reference reference, qsizetype bytes)
{
    if (!m_budget.spend(bytes))
        return fail(PropertyListText::tooMuch());
    return reference;
}

Reference Objects::append(const Object &object)
{
    m_objects.push_back(object);
    return m_objects.size() - 1;
}

std::optional<Reference> Objects::add(const QVariant &value, int depth)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return addText(*static_cast<const QString *>(value.constData()));
    case QMetaType::QByteArray: {
        // Shares its storage with the value, which outlives this.
        const QByteArray data = value.toByteArray();
        return addData(
            std::as_bytes(std::span(data.constData(), static_cast<std::size_t>(data.size()))));
    }
    case QMetaType::QDateTime:
        return addDate(value.toDateTime());
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        // The texts of a list share their storage with the value, whatever list they are in.
        return addArray(value.toList(), depth);
    case QMetaType::QVariantMap:
        return addDictionary(
            *static_cast<const QVariantMap *>(value.constData()),
            [](auto entry) -> const QString & { return entry.key(); },
            [](auto entry) -> const QVariant & { return entry.value(); }, depth);
    default:
        break;
    }
    if (value.metaType() == QMetaType::fromType<PropertyListData>())
        return addData(value.value<PropertyListData>().bytes);
    if (value.metaType() == QMetaType::fromType<PropertyListDictionary>())
        return add(*static_cast<const PropertyListDictionary *>(value.constData()), depth);
    return addNumber(value);
}

std::optional<Reference> Objects::add(const PropertyListDictionary &dictionary, int depth)
{
    return addDictionary(
        dictionary, [](auto entry) -> const QString & { return entry->first; },
        [](auto entry) -> const QVariant & { return entry->second; }, depth);
}

std::optional<Reference> Objects::addScalar(const Object &object)
{
    const std::array<quint64, 3> key = {static_cast<quint64>(object.kind),
                                        static_cast<quint64>(object.width), object.number};
    const quint32 hash = PropertyListPlaces::hashOf(std::as_bytes(std::span(key)));
    const auto found = m_numbers.find(hash, [&](qsizetype place) {
        const Object &other = m_objects[static_cast<std::size_t>(place)];
        return other.kind == object.kind && other.width == object.width &&
               other.number == object.number;
    });
    if (found)
        return spent(static_cast<Reference>(*found));
    const Reference reference = append(object);
    m_numbers.insert(hash, static_cast<qsizetype>(reference));
    return spent(reference);
}

std::optional<Reference> Objects::addNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool: {
        const Simple simple = value.toBool() ? Simple::True : Simple::False;
        return addScalar({.kind = Kind::Simple, .number = static_cast<quint8>(simple)});
    }
    case QMetaType::Double:
    case QMetaType::Float:
        return addScalar({.kind = Kind::Real, .number = std::bit_cast<quint64>(value.toDouble())});
    case QMetaType::SChar:
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong: {
        const qlonglong number = value.toLongLong();
        const auto bits = static_cast<quint64>(number);
        // The short ones are unsigned.
        return addScalar(
            {.kind = Kind::Integer, .number = bits, .width = number < 0 ? 8 : widthOf(bits)});
    }
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const qulonglong bits = value.toULongLong();
        // Eight bytes are signed.
        const bool fits = bits <= static_cast<quint64>(std::numeric_limits<qint64>::max());
        return addScalar(
            {.kind = Kind::Integer, .number = bits, .width = fits ? widthOf(bits) : 16});
    }
    default:
        return fail(QStringLiteral("a value of the type \"%1\" cannot be in it")
                        .arg(QLatin1String(value.isValid() ? value.typeName() : "none")));
    }
}

std::optional<Reference> Objects::addDate(const QDateTime &date)
{
    const double seconds =
        static_cast<double>(date.toMSecsSinceEpoch() - epochOfDates * 1000) / 1000.0;
    if (!date.isValid() || seconds < firstDate || seconds > lastDate)
        return fail(QStringLiteral("a date is out of range"));
    return addScalar({.kind = Kind::Date, .number = std::bit_cast<quint64>(seconds)});
}

std::optional<Reference> Objects::addText(QStringView text)
{
    const quint32 hash = PropertyListPlaces::hashOf(text);
    const auto found = m_texts.find(hash, [&](qsizetype place) {
        return m_objects[static_cast<std::size_t>(place)].text == text;
    });
    if (found)
        return spent(static_cast<Reference>(*found), text.size() * 2);
    const Kind kind = isAscii(text) ? Kind::AsciiString : Kind::Utf16String;
    if (kind == Kind::Utf16String && !text.isValidUtf16())
        return fail(QStringLiteral("a text is no valid UTF-16"));
    const Reference reference = append({.kind = kind, .text = text});
    m_texts.insert(hash, static_cast<qsizetype>(reference));
    return spent(reference, text.size() * 2);
}

std::optional<Reference> Objects::addData(std::span<const std::byte> bytes)
{
    const QByteArrayView key(bytes.data(), static_cast<qsizetype>(bytes.size()));
    auto found = m_data.constFind(key);
    if (found == m_data.cend())
        found = m_data.insert(key, append({.kind = Kind::Data, .bytes = bytes}));
    return spent(*found, key.size());
}

std::optional<Reference> Objects::addContainer(Kind kind, qsizetype count, int depth)
{
    if (!m_budget.allowsDepth(depth + 1))
        return fail(PropertyListText::tooDeep());
    const auto references = static_cast<std::size_t>(count);
    if (depth == 0) { // most often the only one
        m_objects.reserve(references + 1);
        m_texts.reserve(count);
    }
    const Reference container =
        append({.kind = kind, .number = m_references.size(), .count = references});
    m_references.resize(m_references.size() + references);
    return container;
}

bool Objects::set(Reference container, quint64 index, std::optional<Reference> reference)
{
    if (reference)
        m_references[m_objects[container].number + index] = *reference;
    return reference.has_value();
}

std::optional<Reference> Objects::addArray(const QVariantList &values, int depth)
{
    const auto container = addContainer(Kind::Array, values.size(), depth);
    if (!container)
        return std::nullopt;
    quint64 index = 0;
    for (const QVariant &value : values) {
        if (!set(*container, index++, add(value, depth + 1)))
            return std::nullopt;
    }
    return spent(*container);
}

template<typename Entries, typename KeyOf, typename ValueOf>
std::optional<Reference> Objects::addDictionary(const Entries &entries, KeyOf keyOf,
                                                ValueOf valueOf, int depth)
{
    const auto container = addContainer(Kind::Dictionary, 2 * entries.size(), depth);
    if (!container)
        return std::nullopt;
    quint64 index = 0;
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (!set(*container, index++, addText(keyOf(entry))))
            return std::nullopt;
    }
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (!set(*container, index++, add(valueOf(entry), depth + 1)))
            return std::nullopt;
    }
    return spent(*container);
}

} // namespace BinaryPropertyList
