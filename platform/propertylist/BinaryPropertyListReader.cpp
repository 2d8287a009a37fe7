#include "platform/PropertyList.h"
#include "platform/propertylist/BinaryPropertyListFormat.h"
#include "platform/propertylist/PropertyListBudget.h"

#include <QDateTime>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace BinaryPropertyList;

/// Entries that a dictionary gets room for because the file says that they come.
constexpr qsizetype mostReserved = 1024;

/// Reads one file. Every number from the file is checked before it is used as a position or size;
/// positions are kept below `m_objectsEnd`, so that no object reaches into the table or trailer.
class Reader
{
public:
    Reader(QByteArrayView contents, const PropertyListLimits &limits)
        : m_contents(contents), m_budget(limits)
    {
    }
    /// Gives data as views of the contents, and dictionaries in their order.
    Reader(const PropertyListData &contents, const PropertyListLimits &limits)
        : m_contents(viewOf(contents)), m_viewed(&contents), m_budget(limits)
    {
    }
    static QByteArrayView viewOf(const PropertyListData &data)
    {
        return {data.bytes.data(), static_cast<qsizetype>(data.bytes.size())};
    }

    PropertyListResult read()
    {
        if (!readTrailer())
            return Failure{PropertyListError{m_error}};
        m_onPath.assign(m_objectCount, false);
        QVariant result;
        if (!readObject(m_topObject, 0, result))
            return Failure{PropertyListError{m_error}};
        return result;
    }

private:
    bool fail(const QString &text)
    {
        m_error = text;
        return false;
    }

    /// `size` bytes at `position`, which lie inside the file, as an unsigned number.
    [[nodiscard]] quint64 number(qsizetype position, qsizetype size) const
    {
        quint64 value = 0;
        for (qsizetype i = 0; i < size; ++i)
            value = value << 8U | static_cast<quint8>(m_contents.at(position + i));
        return value;
    }

    bool readTrailer()
    {
        const auto magicSize = static_cast<qsizetype>(magic.size());
        if (m_contents.size() < magicSize + trailerSize ||
            !m_contents.startsWith(QByteArrayView(magic.data(), magicSize)))
            return fail(QStringLiteral("not a binary property list of version 00"));
        const qsizetype trailer = m_contents.size() - trailerSize;
        const quint64 offsetSize = number(trailer + offsetSizeAt, 1);
        const quint64 referenceSize = number(trailer + referenceSizeAt, 1);
        const quint64 objectCount = number(trailer + objectCountAt, 8);
        const quint64 topObject = number(trailer + topObjectAt, 8);
        const quint64 table = number(trailer + offsetTableAt, 8);
        const auto space = static_cast<quint64>(trailer);
        if (offsetSize < 1 || offsetSize > 8 || referenceSize < 1 || referenceSize > 8 ||
            table < magic.size() || table > space || objectCount > (space - table) / offsetSize ||
            topObject >= objectCount)
            return fail(QStringLiteral("the trailer is invalid"));
        m_offsetSize = static_cast<qsizetype>(offsetSize);
        m_referenceSize = static_cast<qsizetype>(referenceSize);
        m_objectCount = static_cast<std::size_t>(objectCount);
        m_topObject = topObject;
        m_objectsEnd = static_cast<qsizetype>(table);
        return true;
    }

    /// The bytes left for an object from `position` on.
    [[nodiscard]] quint64 left(qsizetype position) const
    {
        return static_cast<quint64>(m_objectsEnd - position);
    }

    /// The count of the object whose first byte is at `position`, which then is behind it.
    bool readCount(qsizetype &position, quint64 &count)
    {
        const auto low = static_cast<quint8>(number(position, 1) & 0xfU);
        ++position;
        if (low != countFollows) {
            count = low;
            return true;
        }
        if (left(position) < 1)
            return fail(QStringLiteral("a count is cut off"));
        const quint64 marker = number(position, 1);
        const quint64 size = quint64{1} << (marker & 0xfU);
        if (marker >> 4U != static_cast<quint64>(Kind::Integer) || size > 8 ||
            left(position + 1) < size)
            return fail(QStringLiteral("a count is invalid"));
        count = number(position + 1, static_cast<qsizetype>(size));
        position += 1 + static_cast<qsizetype>(size);
        return true;
    }

    /// Where the object begins, which is not in the table or behind it.
    bool findObject(quint64 object, qsizetype &position)
    {
        if (object >= m_objectCount)
            return fail(QStringLiteral("a reference to an object that does not exist"));
        const quint64 offset =
            number(m_objectsEnd + static_cast<qsizetype>(object) * m_offsetSize, m_offsetSize);
        if (offset < magic.size() || offset >= static_cast<quint64>(m_objectsEnd))
            return fail(QStringLiteral("an object outside the file"));
        position = static_cast<qsizetype>(offset);
        return true;
    }

    bool readObject(quint64 object, int depth, QVariant &result)
    {
        qsizetype position = 0;
        if (!findObject(object, position))
            return false;
        const quint64 marker = number(position, 1);
        const auto low = static_cast<quint8>(marker & 0xfU);
        switch (static_cast<Kind>(marker >> 4U)) {
        case Kind::Simple:
            return readSimple(low, result);
        case Kind::Integer:
            return readInteger(position + 1, low, result);
        case Kind::Real:
            return readReal(position + 1, low, result);
        case Kind::Date:
            return readDate(position + 1, low, result);
        case Kind::Data:
            return readData(position, result);
        case Kind::AsciiString:
        case Kind::Utf16String: {
            QString text;
            if (!readText(static_cast<Kind>(marker >> 4U), position, text))
                return false;
            result = text;
            return true;
        }
        case Kind::Array:
        case Kind::Dictionary:
            return readContainer(static_cast<Kind>(marker >> 4U), object, position, depth, result);
        }
        return fail(QStringLiteral("an object of an unknown type"));
    }

    bool spend(qsizetype bytes)
    {
        return m_budget.spend(bytes) || fail(PropertyListText::tooMuch());
    }

    bool readSimple(quint8 low, QVariant &result)
    {
        if (low != static_cast<quint8>(Simple::True) && low != static_cast<quint8>(Simple::False))
            return fail(QStringLiteral("an object of an unknown type"));
        result = low == static_cast<quint8>(Simple::True);
        return spend(0);
    }

    bool readInteger(qsizetype position, quint8 low, QVariant &result)
    {
        const qsizetype size = qsizetype{1} << low;
        if (size > 16 || left(position) < static_cast<quint64>(size))
            return fail(QStringLiteral("an integer is invalid"));
        if (size < 8) { // the short ones are unsigned
            result = static_cast<qlonglong>(number(position, size));
            return spend(0);
        }
        const quint64 value = number(position + size - 8, 8);
        const auto asSigned = static_cast<qlonglong>(value);
        if (size == 8) {
            result = asSigned;
            return spend(0);
        }
        const quint64 high = number(position, 8);
        if (high == 0 && asSigned < 0)
            result = static_cast<qulonglong>(value);
        else if (high == (asSigned < 0 ? ~quint64{0} : quint64{0}))
            result = asSigned;
        else
            return fail(QStringLiteral("an integer is too large"));
        return spend(0);
    }

    bool readReal(qsizetype position, quint8 low, QVariant &result)
    {
        const qsizetype size = qsizetype{1} << low;
        if ((size != 4 && size != 8) || left(position) < static_cast<quint64>(size))
            return fail(QStringLiteral("a real number is invalid"));
        const quint64 bits = number(position, size);
        if (size == 4)
            result = static_cast<double>(std::bit_cast<float>(static_cast<quint32>(bits)));
        else
            result = std::bit_cast<double>(bits);
        return spend(0);
    }

    bool readDate(qsizetype position, quint8 low, QVariant &result)
    {
        if (low != 3 || left(position) < 8)
            return fail(QStringLiteral("a date is invalid"));
        const auto seconds = std::bit_cast<double>(number(position, 8));
        // The comparison is false for what is not a number.
        if (!(seconds >= firstDate && seconds <= lastDate))
            return fail(QStringLiteral("a date is out of range"));
        result = QDateTime::fromMSecsSinceEpoch(
            epochOfDates * 1000 + static_cast<qint64>(std::llround(seconds * 1000.0)), Qt::UTC);
        return spend(0);
    }

    /// How many of `unit` bytes an object has, whose first byte is at `position`, which then is
    /// where they begin.
    bool readSize(qsizetype &position, quint64 unit, qsizetype &size)
    {
        quint64 count = 0;
        if (!readCount(position, count))
            return false;
        if (count > left(position) / unit)
            return fail(QStringLiteral("a text or data is cut off"));
        size = static_cast<qsizetype>(count);
        return true;
    }

    bool readData(qsizetype position, QVariant &result)
    {
        qsizetype size = 0;
        if (!readSize(position, 1, size) || !spend(size))
            return false;
        result = data(position, size);
        return true;
    }

    bool readText(Kind kind, qsizetype position, QString &text)
    {
        const bool isAscii = kind == Kind::AsciiString;
        qsizetype size = 0;
        if (!readSize(position, isAscii ? 1 : 2, size) || !spend(size * 2))
            return false;
        return isAscii ? readAscii(position, size, text) : readUtf16(position, size, text);
    }

    [[nodiscard]] QVariant data(qsizetype position, qsizetype size) const
    {
        if (!m_viewed)
            return m_contents.sliced(position, size).toByteArray();
        return QVariant::fromValue(
            PropertyListData{m_viewed->bytes.subspan(static_cast<std::size_t>(position),
                                                     static_cast<std::size_t>(size)),
                             m_viewed->owner});
    }

    bool readAscii(qsizetype position, qsizetype size, QString &text)
    {
        const QByteArrayView bytes = m_contents.sliced(position, size);
        // No way out of the loop, so that it takes many at once.
        quint8 all = 0;
        for (const char byte : bytes)
            all |= static_cast<quint8>(byte);
        if (all > 0x7f)
            return fail(QStringLiteral("an ASCII text has other characters"));
        text = QString::fromLatin1(bytes);
        return true;
    }

    bool readUtf16(qsizetype position, qsizetype size, QString &text)
    {
        text = QString(size, Qt::Uninitialized);
        qFromBigEndian<char16_t>(m_contents.data() + position, size, text.data());
        if (!text.isValidUtf16())
            return fail(QStringLiteral("a UTF-16 text is invalid"));
        return true;
    }

    bool readContainer(Kind kind, quint64 object, qsizetype position, int depth, QVariant &result)
    {
        const auto index = static_cast<std::size_t>(object);
        if (m_onPath[index])
            return fail(QStringLiteral("a container holds itself"));
        if (!m_budget.allowsDepth(depth + 1))
            return fail(PropertyListText::tooDeep());
        quint64 count = 0;
        if (!spend(0) || !readCount(position, count))
            return false;
        const auto entrySize =
            static_cast<quint64>(kind == Kind::Dictionary ? 2 * m_referenceSize : m_referenceSize);
        if (count > left(position) / entrySize)
            return fail(QStringLiteral("a container is cut off"));
        m_onPath[index] = true;
        const auto entries = static_cast<qsizetype>(count);
        bool ok = false;
        if (kind == Kind::Array)
            ok = readArray(position, entries, depth + 1, result);
        else if (m_viewed)
            ok = readDictionary<PropertyListDictionary>(position, entries, depth + 1, result);
        else
            ok = readDictionary<QVariantMap>(position, entries, depth + 1, result);
        m_onPath[index] = false;
        return ok;
    }

    bool readReference(qsizetype position, int depth, QVariant &result)
    {
        return readObject(number(position, m_referenceSize), depth, result);
    }

    bool readArray(qsizetype position, qsizetype count, int depth, QVariant &result)
    {
        QVariantList list;
        for (qsizetype i = 0; i < count; ++i) {
            QVariant value;
            if (!readReference(position + i * m_referenceSize, depth, value))
                return false;
            list.append(std::move(value));
        }
        result = list;
        return true;
    }

    bool readKey(quint64 object, int depth, QString &key)
    {
        qsizetype position = 0;
        if (!findObject(object, position))
            return false;
        const auto kind = static_cast<Kind>(number(position, 1) >> 4U);
        if (kind == Kind::AsciiString || kind == Kind::Utf16String)
            return readText(kind, position, key);
        // What it is instead may be wrong in itself.
        QVariant other;
        return readObject(object, depth, other) &&
               fail(QStringLiteral("a dictionary key is no text"));
    }

    template<typename Dictionary>
    bool readDictionary(qsizetype position, qsizetype count, int depth, QVariant &result)
    {
        const qsizetype values = position + count * m_referenceSize;
        Dictionary dictionary;
        if constexpr (std::is_same_v<Dictionary, PropertyListDictionary>)
            dictionary.reserve(std::min(count, mostReserved));
        for (qsizetype i = 0; i < count; ++i) {
            QString key;
            QVariant value;
            if (!readKey(number(position + i * m_referenceSize, m_referenceSize), depth, key) ||
                !readReference(values + i * m_referenceSize, depth, value))
                return false;
            dictionary.insert(std::move(key), std::move(value));
        }
        result = QVariant::fromValue(dictionary);
        return true;
    }

    QByteArrayView m_contents;
    const PropertyListData *m_viewed = nullptr; ///< null when data is to be copied
    PropertyListBudget m_budget;
    QString m_error;
    qsizetype m_offsetSize = 0;
    qsizetype m_referenceSize = 0;
    std::size_t m_objectCount = 0;
    quint64 m_topObject = 0;
    qsizetype m_objectsEnd = 0;
    std::vector<bool> m_onPath; ///< the containers being read, to refuse cycles
};

} // namespace

PropertyListResult readBinaryPropertyList(const QByteArray &contents,
                                          const PropertyListLimits &limits)
{
    if (contents.size() > limits.fileSize)
        return Failure{PropertyListError{PropertyListText::tooLarge()}};
    return Reader(QByteArrayView(contents), limits).read();
}

Result<PropertyListDictionary, PropertyListError>
readBinaryPropertyListDictionary(const PropertyListData &contents, const PropertyListLimits &limits)
{
    if (contents.bytes.size() > static_cast<std::size_t>(limits.fileSize))
        return Failure{PropertyListError{PropertyListText::tooLarge()}};
    const PropertyListResult result = Reader(contents, limits).read();
    if (!result)
        return Failure{result.error()};
    if (result.value().metaType() != QMetaType::fromType<PropertyListDictionary>())
        return Failure{PropertyListError{QStringLiteral("it holds no dictionary")}};
    return *static_cast<const PropertyListDictionary *>(result.value().constData());
}
