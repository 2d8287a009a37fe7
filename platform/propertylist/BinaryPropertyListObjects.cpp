#include "platform/propertylist/BinaryPropertyListObjects.h"

#include <QDateTime>
#include <QStringList>

#include <algorithm>
#include <bit>
#include <limits>

namespace BinaryPropertyList {

namespace {

bool isAscii(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(),
                       [](QChar character) { return character.unicode() < 0x80; });
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

Reference Objects::append(Object object)
{
    m_objects.push_back(std::move(object));
    return m_objects.size() - 1;
}

/// The place of the object with that key in `places`, a new one if there is none yet.
template<typename Places, typename Key>
Reference Objects::shared(Places &places, const Key &key, const Object &object)
{
    const auto it = places.constFind(key);
    if (it != places.cend())
        return *it;
    return *places.insert(key, append(object));
}

std::optional<Reference> Objects::add(const QVariant &value, int depth)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return addText(value.toString());
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
        return addContainer(Kind::Array, {}, value.toList(), depth);
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        return addContainer(Kind::Dictionary, map.keys(), map.values(), depth);
    }
    default:
        break;
    }
    if (value.metaType() == QMetaType::fromType<PropertyListData>())
        return addData(value.value<PropertyListData>().bytes);
    if (value.metaType() == QMetaType::fromType<PropertyListDictionary>())
        return add(value.value<PropertyListDictionary>(), depth);
    return addNumber(value);
}

std::optional<Reference> Objects::add(const PropertyListDictionary &dictionary, int depth)
{
    QList<QString> keys;
    QVariantList values;
    for (const PropertyListDictionary::Entry &entry : dictionary) {
        keys.append(entry.first);
        values.append(entry.second);
    }
    return addContainer(Kind::Dictionary, keys, values, depth);
}

std::optional<Reference> Objects::addScalar(const Object &object)
{
    const NumberKey key{{static_cast<quint8>(object.kind), object.width}, object.number};
    return spent(shared(m_numbers, key, object));
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

std::optional<Reference> Objects::addText(const QString &text)
{
    if (!text.isValidUtf16())
        return fail(QStringLiteral("a text is no valid UTF-16"));
    const Kind kind = isAscii(text) ? Kind::AsciiString : Kind::Utf16String;
    return spent(shared(m_texts, text, Object{.kind = kind, .text = text}), text.size() * 2);
}

std::optional<Reference> Objects::addData(std::span<const std::byte> bytes)
{
    const QByteArrayView key(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return spent(shared(m_data, key, Object{.kind = Kind::Data, .bytes = bytes}), key.size());
}

std::optional<Reference> Objects::addContainer(Kind kind, const QList<QString> &keys,
                                               const QVariantList &values, int depth)
{
    if (!m_budget.allowsDepth(depth + 1))
        return fail(PropertyListText::tooDeep());
    const Reference container = append({.kind = kind});
    std::vector<Reference> references;
    references.reserve(static_cast<std::size_t>(keys.size() + values.size()));
    for (const QString &key : keys) {
        const auto reference = addText(key);
        if (!reference)
            return std::nullopt;
        references.push_back(*reference);
    }
    for (const QVariant &value : values) {
        const auto reference = add(value, depth + 1);
        if (!reference)
            return std::nullopt;
        references.push_back(*reference);
    }
    m_objects[container].references = std::move(references);
    return spent(container);
}

} // namespace BinaryPropertyList
