#include "platform/PropertyList.h"
#include "platform/propertylist/PropertyListBudget.h"

#include <QDateTime>
#include <QLocale>
#include <QStringList>
#include <QXmlStreamWriter>

#include <algorithm>
#include <optional>

namespace {

/// What stands in the file for a value that holds no others: an element's name and its text.
struct Scalar
{
    QString element;
    QString text;
};

bool isXmlText(const QString &text)
{
    return text.isValidUtf16() && std::none_of(text.cbegin(), text.cend(), [](QChar character) {
               const char16_t code = character.unicode();
               return (code < 0x20 && code != u'\t' && code != u'\n' && code != u'\r') ||
                      code == 0xfffe || code == 0xffff;
           });
}

QString base64(std::span<const std::byte> bytes)
{
    return QString::fromLatin1(QByteArray::fromRawData(reinterpret_cast<const char *>(bytes.data()),
                                                       static_cast<qsizetype>(bytes.size()))
                                   .toBase64());
}

std::optional<QString> dateText(const QDateTime &date)
{
    const QDateTime utc = date.toUTC();
    if (!utc.isValid() || utc.date().year() < 1 || utc.date().year() > 9999)
        return std::nullopt;
    return utc.toString(u"yyyy-MM-dd'T'HH:mm:ss'Z'");
}

class Writer
{
public:
    explicit Writer(const PropertyListLimits &limits)
        : m_limits(limits), m_budget(limits), m_xml(&m_bytes)
    {
    }

    Result<std::vector<std::byte>, PropertyListError> write(const QVariant &value)
    {
        m_xml.writeStartDocument();
        lineBreak(0);
        m_xml.writeDTD(QStringLiteral("<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"));
        lineBreak(0);
        m_xml.writeStartElement(QStringLiteral("plist"));
        m_xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        lineBreak(0);
        if (!put(value, 0))
            return Failure{PropertyListError{m_error}};
        lineBreak(0);
        m_xml.writeEndDocument();
        if (m_xml.hasError())
            return Failure{PropertyListError{QStringLiteral("a text cannot be written as XML")}};
        if (m_bytes.size() > m_limits.fileSize)
            return Failure{PropertyListError{PropertyListText::tooLarge()}};
        const auto *const first = reinterpret_cast<const std::byte *>(m_bytes.constData());
        return std::vector<std::byte>(first, first + m_bytes.size());
    }

private:
    bool fail(const QString &text)
    {
        m_error = text;
        return false;
    }

    void lineBreak(int depth) { m_xml.writeCharacters(u'\n' + QString(depth, u'\t')); }

    bool put(const QVariant &value, int depth)
    {
        const int type = value.typeId();
        if (type == QMetaType::QVariantList || type == QMetaType::QStringList)
            return putArray(value.toList(), depth);
        if (type == QMetaType::QVariantMap) {
            const QVariantMap map = value.toMap();
            return putContainer(QStringLiteral("dict"), map.isEmpty(), depth, [&] {
                for (auto it = map.cbegin(); it != map.cend(); ++it) {
                    if (!putEntry(it.key(), it.value(), depth + 1))
                        return false;
                }
                return true;
            });
        }
        if (value.metaType() == QMetaType::fromType<PropertyListDictionary>()) {
            const auto dictionary = value.value<PropertyListDictionary>();
            return putContainer(QStringLiteral("dict"), dictionary.isEmpty(), depth, [&] {
                return std::all_of(dictionary.begin(), dictionary.end(), [&](const auto &entry) {
                    return putEntry(entry.first, entry.second, depth + 1);
                });
            });
        }
        const std::optional<Scalar> scalar = scalarOf(value);
        return scalar && putElement(*scalar);
    }

    template<typename PutContents>
    bool putContainer(const QString &element, bool isEmpty, int depth, PutContents putContents)
    {
        if (!m_budget.allowsDepth(depth + 1))
            return fail(PropertyListText::tooDeep());
        if (!m_budget.spend(0))
            return fail(PropertyListText::tooMuch());
        m_xml.writeStartElement(element);
        if (!putContents())
            return false;
        if (!isEmpty)
            lineBreak(depth);
        m_xml.writeEndElement();
        return true;
    }

    bool putArray(const QVariantList &values, int depth)
    {
        return putContainer(QStringLiteral("array"), values.isEmpty(), depth, [&] {
            return std::all_of(values.cbegin(), values.cend(), [&](const QVariant &value) {
                lineBreak(depth + 1);
                return put(value, depth + 1);
            });
        });
    }

    bool putEntry(const QString &key, const QVariant &value, int depth)
    {
        lineBreak(depth);
        if (!isXmlText(key))
            return fail(notXml());
        if (!putElement({QStringLiteral("key"), key}))
            return false;
        lineBreak(depth);
        return put(value, depth);
    }

    bool putElement(const Scalar &scalar)
    {
        if (!m_budget.spend(scalar.text.size() * 2))
            return fail(PropertyListText::tooMuch());
        m_xml.writeStartElement(scalar.element);
        // A bare carriage return would be read as a line feed.
        const QStringList parts = scalar.text.split(u'\r');
        for (qsizetype i = 0; i < parts.size(); ++i) {
            if (i > 0)
                m_xml.writeEntityReference(QStringLiteral("#13"));
            if (!parts.at(i).isEmpty())
                m_xml.writeCharacters(parts.at(i));
        }
        m_xml.writeEndElement();
        return true;
    }

    /// None, with the error set, for what cannot be written.
    std::optional<Scalar> scalarOf(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::QString: {
            const QString text = value.toString();
            if (isXmlText(text))
                return Scalar{QStringLiteral("string"), text};
            fail(notXml());
            return std::nullopt;
        }
        case QMetaType::Bool:
            return Scalar{value.toBool() ? QStringLiteral("true") : QStringLiteral("false"), {}};
        case QMetaType::Double:
        case QMetaType::Float:
            return Scalar{QStringLiteral("real"),
                          QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest)};
        case QMetaType::SChar:
        case QMetaType::Short:
        case QMetaType::Int:
        case QMetaType::Long:
        case QMetaType::LongLong:
            return Scalar{QStringLiteral("integer"), QString::number(value.toLongLong())};
        case QMetaType::UChar:
        case QMetaType::UShort:
        case QMetaType::UInt:
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return Scalar{QStringLiteral("integer"), QString::number(value.toULongLong())};
        case QMetaType::QByteArray:
            return Scalar{QStringLiteral("data"),
                          QString::fromLatin1(value.toByteArray().toBase64())};
        case QMetaType::QDateTime: {
            if (const auto text = dateText(value.toDateTime()))
                return Scalar{QStringLiteral("date"), *text};
            fail(QStringLiteral("a date is out of range"));
            return std::nullopt;
        }
        default:
            break;
        }
        if (value.metaType() == QMetaType::fromType<PropertyListData>())
            return Scalar{QStringLiteral("data"), base64(value.value<PropertyListData>().bytes)};
        fail(QStringLiteral("a value of the type \"%1\" cannot be in it")
                 .arg(QLatin1String(value.isValid() ? value.typeName() : "none")));
        return std::nullopt;
    }

    static QString notXml() { return QStringLiteral("a text holds what XML cannot"); }

    PropertyListLimits m_limits;
    PropertyListBudget m_budget;
    QByteArray m_bytes;
    QXmlStreamWriter m_xml;
    QString m_error;
};

} // namespace

Result<std::vector<std::byte>, PropertyListError>
writeXmlPropertyList(const QVariant &value, const PropertyListLimits &limits)
{
    return Writer(limits).write(value);
}
