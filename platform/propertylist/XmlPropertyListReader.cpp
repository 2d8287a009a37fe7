#include "platform/PropertyList.h"
#include "platform/propertylist/PropertyListBudget.h"

#include <QDateTime>
#include <QStringDecoder>
#include <QXmlStreamReader>

#include <limits>
#include <optional>

namespace {

std::optional<QVariant> integer(const QString &text)
{
    QString digits = text.trimmed();
    const bool negative = digits.startsWith(QLatin1Char('-'));
    if (negative || digits.startsWith(QLatin1Char('+')))
        digits.remove(0, 1);
    const bool hexadecimal = digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    if (hexadecimal)
        digits.remove(0, 2);
    // A second sign or blanks would be read as part of the number.
    if (digits.isEmpty() || !digits.front().isLetterOrNumber())
        return std::nullopt;
    bool ok = false;
    const qulonglong value = digits.toULongLong(&ok, hexadecimal ? 16 : 10);
    constexpr auto limit = static_cast<qulonglong>(std::numeric_limits<qlonglong>::max());
    if (!ok || (negative && value > limit + 1))
        return std::nullopt;
    if (negative)
        return QVariant(static_cast<qlonglong>(~value + 1));
    if (value > limit)
        return QVariant(value);
    return QVariant(static_cast<qlonglong>(value));
}

std::optional<QVariant> real(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return QVariant(value);
}

std::optional<QVariant> date(const QString &text)
{
    // The one form that is written, YYYY-MM-DDTHH:MM:SSZ.
    const QString trimmed = text.trimmed();
    if (trimmed.size() != 20 || !trimmed.endsWith(QLatin1Char('Z')))
        return std::nullopt;
    QDateTime value = QDateTime::fromString(trimmed.chopped(1), Qt::ISODate);
    value.setTimeSpec(Qt::UTC);
    if (!value.isValid())
        return std::nullopt;
    return QVariant(value);
}

std::optional<QVariant> data(const QString &text)
{
    QByteArray base64;
    base64.reserve(text.size());
    for (const QChar character : text) {
        if (character.isSpace())
            continue;
        if (character.unicode() > 0x7f)
            return std::nullopt;
        base64.append(character.toLatin1());
    }
    if (base64.size() % 4 != 0)
        return std::nullopt;
    auto decoded = QByteArray::fromBase64Encoding(
        base64, QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    return QVariant(*decoded);
}

/// Characters of one tag. A property list's own are far shorter; the parser compares every
/// attribute with all before it, which a tag as long as the file would turn into hours.
constexpr qsizetype longestTag = 1024;

/// Where what begins with the "<" at `start` ends.
qsizetype endOfMarkup(QStringView text, qsizetype start)
{
    const QStringView rest = text.sliced(start);
    const auto endsBehind = [&](QLatin1String end, qsizetype from) {
        const qsizetype found = text.indexOf(end, start + from);
        return found < 0 ? text.size() : found + end.size();
    };
    if (rest.startsWith(QLatin1String("<!--")))
        return endsBehind(QLatin1String("-->"), 4);
    if (rest.startsWith(QLatin1String("<![CDATA[")))
        return endsBehind(QLatin1String("]]>"), 9);
    if (rest.startsWith(QLatin1String("<?")))
        return endsBehind(QLatin1String("?>"), 2);
    QChar quote;
    for (qsizetype i = start + 1; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            quote = c;
        } else if (c == QLatin1Char('>')) {
            return i + 1;
        }
    }
    return text.size();
}

/// What the parser must not even begin with, empty for nothing. Text that is not well-formed may be
/// misjudged only behind the place where the parser stops.
QString markupProblem(QStringView text)
{
    for (qsizetype at = text.indexOf(QLatin1Char('<')); at >= 0;) {
        const qsizetype end = endOfMarkup(text, at);
        const QStringView markup = text.sliced(at, end - at);
        const bool isDocumentType = markup.startsWith(QLatin1String("<!DOCTYPE"));
        // Where entities and attributes would be declared, the latter also compared with each
        // other.
        if (isDocumentType && markup.contains(QLatin1Char('[')))
            return QStringLiteral("the document type declares something");
        const bool isTag = isDocumentType || (!markup.startsWith(QLatin1String("<?")) &&
                                              !markup.startsWith(QLatin1String("<!")));
        if (isTag && markup.size() > longestTag)
            return QStringLiteral("a tag is too long");
        at = text.indexOf(QLatin1Char('<'), end);
    }
    return {};
}

/// UTF-8, or UTF-16 or UTF-32 as its first bytes show; none for anything else.
std::optional<QString> decoded(const QByteArray &contents)
{
    QStringDecoder decoder(
        QStringConverter::encodingForData(contents, u'<').value_or(QStringConverter::Utf8));
    QString text = decoder.decode(contents);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

class Reader
{
public:
    Reader(const QString &contents, const PropertyListLimits &limits)
        : m_xml(contents), m_budget(limits)
    {
        m_xml.setEntityExpansionLimit(0);
    }

    PropertyListResult read()
    {
        QVariant result;
        if (!readDocument(result))
            return Failure{PropertyListError{m_error}};
        return result;
    }

private:
    bool fail(const QString &text)
    {
        m_error = QStringLiteral("%1 (line %2)").arg(text).arg(m_xml.lineNumber());
        return false;
    }

    /// Goes to the next start or end of an element, or the document's end.
    bool next()
    {
        for (;;) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::StartElement:
            case QXmlStreamReader::EndElement:
            case QXmlStreamReader::EndDocument:
                return true;
            case QXmlStreamReader::Characters:
                if (!m_xml.isWhitespace())
                    return fail(QStringLiteral("text between the values"));
                break;
            case QXmlStreamReader::StartDocument:
                if (!isReadEncoding(m_xml.documentEncoding()))
                    return fail(QStringLiteral("its encoding is not Unicode"));
                break;
            case QXmlStreamReader::DTD:
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
                break;
            default:
                return fail(invalidText());
            }
        }
    }

    /// Of the encodings that a document may name, those that decoded() has read rightly.
    static bool isReadEncoding(QStringView name)
    {
        return name.isEmpty() || name.startsWith(QLatin1String("UTF-"), Qt::CaseInsensitive) ||
               name.compare(QLatin1String("US-ASCII"), Qt::CaseInsensitive) == 0;
    }

    bool readDocument(QVariant &result)
    {
        if (!next())
            return false;
        if (!m_xml.isStartElement() || m_xml.name() != QLatin1String("plist"))
            return fail(QStringLiteral("not a property list"));
        if (!next())
            return false;
        if (!m_xml.isStartElement())
            return fail(QStringLiteral("the property list holds no value"));
        if (!readValue(0, result) || !next())
            return false;
        if (!m_xml.isEndElement())
            return fail(QStringLiteral("the property list holds more than one value"));
        // What follows must still be well-formed.
        return next();
    }

    /// The text up to the end of the current element, which holds nothing else.
    bool readText(QString &text)
    {
        for (;;) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::EndElement:
                return m_budget.spend(text.size() * 2) || fail(PropertyListText::tooMuch());
            case QXmlStreamReader::Characters:
                text += m_xml.text();
                break;
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
                break;
            case QXmlStreamReader::StartElement:
                return fail(QStringLiteral("a value within a simple value"));
            default:
                return fail(invalidText());
            }
        }
    }

    [[nodiscard]] QString invalidText() const
    {
        // An unknown entity is no error of the parser's where a document type is named.
        return m_xml.hasError() ? m_xml.errorString() : QStringLiteral("an entity is not known");
    }

    bool readValue(int depth, QVariant &result)
    {
        const QString type = m_xml.name().toString();
        if (type == QLatin1String("dict") || type == QLatin1String("array")) {
            if (!m_budget.allowsDepth(depth + 1))
                return fail(PropertyListText::tooDeep());
            if (!m_budget.spend(0))
                return fail(PropertyListText::tooMuch());
            return type == QLatin1String("dict") ? readDictionary(depth + 1, result)
                                                 : readArray(depth + 1, result);
        }
        QString text;
        if (!readText(text))
            return false;
        const std::optional<QVariant> value = scalar(type, text);
        if (!value)
            return fail(QStringLiteral("an invalid <%1>").arg(type.left(40)));
        result = *value;
        return true;
    }

    static std::optional<QVariant> scalar(const QString &type, const QString &text)
    {
        if (type == QLatin1String("string"))
            return QVariant(text.isNull() ? QString(QLatin1String("")) : text);
        if (type == QLatin1String("integer"))
            return integer(text);
        if (type == QLatin1String("real"))
            return real(text);
        if (type == QLatin1String("date"))
            return date(text);
        if (type == QLatin1String("data"))
            return data(text);
        if ((type == QLatin1String("true") || type == QLatin1String("false")) &&
            text.trimmed().isEmpty())
            return QVariant(type == QLatin1String("true"));
        return std::nullopt;
    }

    bool readArray(int depth, QVariant &result)
    {
        QVariantList list;
        for (;;) {
            if (!next())
                return false;
            if (!m_xml.isStartElement())
                break;
            QVariant value;
            if (!readValue(depth, value))
                return false;
            list.append(std::move(value));
        }
        result = list;
        return true;
    }

    bool readDictionary(int depth, QVariant &result)
    {
        QVariantMap map;
        for (;;) {
            if (!next())
                return false;
            if (!m_xml.isStartElement())
                break;
            if (m_xml.name() != QLatin1String("key"))
                return fail(QStringLiteral("a dictionary value without a key"));
            QString key;
            if (!readText(key) || !next())
                return false;
            if (!m_xml.isStartElement() || m_xml.name() == QLatin1String("key"))
                return fail(QStringLiteral("a dictionary key without a value"));
            QVariant value;
            if (!readValue(depth, value))
                return false;
            map.insert(key, value);
        }
        result = map;
        return true;
    }

    QXmlStreamReader m_xml;
    PropertyListBudget m_budget;
    QString m_error;
};

} // namespace

PropertyListResult readXmlPropertyList(const QByteArray &contents, const PropertyListLimits &limits)
{
    if (contents.size() > limits.fileSize)
        return Failure{PropertyListError{PropertyListText::tooLarge()}};
    const std::optional<QString> text = decoded(contents);
    if (!text)
        return Failure{PropertyListError{QStringLiteral("its text is not valid Unicode")}};
    const QString problem = markupProblem(*text);
    if (!problem.isEmpty())
        return Failure{PropertyListError{problem}};
    return Reader(*text, limits).read();
}
