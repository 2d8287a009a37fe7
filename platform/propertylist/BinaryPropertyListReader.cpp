#include "platform/PropertyList.h"
#include "platform/propertylist/BinaryPropertyListLayout.h"
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

/// Reads one file, from its top object down.
class Reader
{
public:
    Reader(QByteArrayView contents, const PropertyListLimits &limits)
        : m_contents(contents), m_layout(contents), m_budget(limits)
    {
    }
    /// Gives data as views of the contents, and dictionaries in their order.
    Reader(const PropertyListData &contents, const PropertyListLimits &limits)
        : m_contents(viewOf(contents)), m_layout(m_contents), m_viewed(&contents), m_budget(limits)
    {
    }
    static QByteArrayView viewOf(const PropertyListData &data)
    {
        return {data.bytes.data(), static_cast<qsizetype>(data.bytes.size())};
    }

    PropertyListResult read()
    {
        if (!m_layout.readTrailer(m_error))
            return Failure{PropertyListError{m_error}};
        m_onPath.assign(m_layout.objectCount(), false);
        QVariant result;
        if (!readObject(m_layout.topObject(), 0, result))
            return Failure{PropertyListError{m_error}};
        return result;
    }

private:
    bool fail(const QString &text)
    {
        m_error = text;
        return false;
    }

    bool readObject(quint64 object, int depth, QVariant &result)
    {
        qsizetype position = 0;
        if (!m_layout.findObject(object, position, m_error))
            return false;
        const quint64 marker = m_layout.number(position, 1);
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
        if (size > 16 || m_layout.left(position) < static_cast<quint64>(size))
            return fail(QStringLiteral("an integer is invalid"));
        if (size < 8) { // the short ones are unsigned
            result = static_cast<qlonglong>(m_layout.number(position, size));
            return spend(0);
        }
        const quint64 value = m_layout.number(position + size - 8, 8);
        const auto asSigned = static_cast<qlonglong>(value);
        if (size == 8) {
            result = asSigned;
            return spend(0);
        }
        const quint64 high = m_layout.number(position, 8);
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
        if ((size != 4 && size != 8) || m_layout.left(position) < static_cast<quint64>(size))
            return fail(QStringLiteral("a real number is invalid"));
        const quint64 bits = m_layout.number(position, size);
        if (size == 4)
            result = static_cast<double>(std::bit_cast<float>(static_cast<quint32>(bits)));
        else
            result = std::bit_cast<double>(bits);
        return spend(0);
    }

    bool readDate(qsizetype position, quint8 low, QVariant &result)
    {
        if (low != 3 || m_layout.left(position) < 8)
            return fail(QStringLiteral("a date is invalid"));
        const auto seconds = std::bit_cast<double>(m_layout.number(position, 8));
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
        if (!m_layout.readCount(position, count, m_error))
            return false;
        if (count > m_layout.left(position) / unit)
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
        if (!spend(0) || !m_layout.readCount(position, count, m_error))
            return false;
        const auto entrySize =
            static_cast<quint64>(m_layout.referenceSize()) * (kind == Kind::Dictionary ? 2 : 1);
        if (count > m_layout.left(position) / entrySize)
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
        return readObject(m_layout.reference(position), depth, result);
    }

    bool readArray(qsizetype position, qsizetype count, int depth, QVariant &result)
    {
        QVariantList list;
        for (qsizetype i = 0; i < count; ++i) {
            QVariant value;
            if (!readReference(position + i * m_layout.referenceSize(), depth, value))
                return false;
            list.append(std::move(value));
        }
        result = list;
        return true;
    }

    bool readKey(quint64 object, int depth, QString &key)
    {
        qsizetype position = 0;
        if (!m_layout.findObject(object, position, m_error))
            return false;
        const auto kind = static_cast<Kind>(m_layout.number(position, 1) >> 4U);
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
        const qsizetype size = m_layout.referenceSize();
        const qsizetype values = position + count * size;
        Dictionary dictionary;
        if constexpr (std::is_same_v<Dictionary, PropertyListDictionary>)
            dictionary.reserve(std::min(count, mostReserved));
        for (qsizetype i = 0; i < count; ++i) {
            QString key;
            QVariant value;
            if (!readKey(m_layout.reference(position + i * size), depth, key) ||
                !readReference(values + i * size, depth, value))
                return false;
            dictionary.insert(std::move(key), std::move(value));
        }
        result = QVariant::fromValue(dictionary);
        return true;
    }

    QByteArrayView m_contents;
    Layout m_layout;
    const PropertyListData *m_viewed = nullptr; ///< null when data is to be copied
    PropertyListBudget m_budget;
    QString m_error;
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
