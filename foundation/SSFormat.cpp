#include "foundation/SSFormat.h"

#include <QDateTime>
#include <QLocale>

namespace {

// Collections are printed into the text that they end in: a log line may hold thousands of entries.

void appendQuoted(QString &result, const QString &text)
{
    bool plain = !text.isEmpty();
    bool clean = true;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        plain = plain && ((u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') ||
                          (u >= u'0' && u <= u'9') || u == u'_');
        clean = clean && u >= 0x20 && u <= 0x7e && u != u'"' && u != u'\\';
    }
    if (plain) {
        result += text;
        return;
    }
    result += QLatin1Char('"');
    if (clean) {
        result += text;
        result += QLatin1Char('"');
        return;
    }
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        switch (u) {
        case u'"':
            result += QLatin1String("\\\"");
            break;
        case u'\\':
            result += QLatin1String("\\\\");
            break;
        case u'\n':
            result += QLatin1String("\\n");
            break;
        case u'\r':
            result += QLatin1String("\\r");
            break;
        case u'\t':
            result += QLatin1String("\\t");
            break;
        default:
            if (u < 0x20 || u > 0x7e)
                result += QStringLiteral("\\U%1").arg(u, 4, 16, QLatin1Char('0'));
            else
                result += c;
        }
    }
    result += QLatin1Char('"');
}

/// The bytes in groups of four.
QString hexadecimal(const QByteArray &data)
{
    QString result = QStringLiteral("<");
    for (qsizetype i = 0; i < data.size(); i += 4) {
        if (i > 0)
            result += QLatin1Char(' ');
        result += QLatin1String(data.mid(i, 4).toHex());
    }
    return result + QLatin1Char('>');
}

QString scalar(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::QByteArray:
        return hexadecimal(value.toByteArray());
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
               QStringLiteral(" +0000");
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    default:
        return value.toString();
    }
}

void appendIndent(QString &result, qsizetype level)
{
    result.resize(result.size() + level * 4, QLatin1Char(' '));
}

void appendPrinted(QString &result, const QVariant &value, qsizetype level);

void appendEntry(QString &result, const QVariant &value, qsizetype level)
{
    const int type = value.typeId();
    if (type == QMetaType::QVariantList || type == QMetaType::QStringList ||
        type == QMetaType::QVariantMap) {
        appendPrinted(result, value, level);
    } else {
        appendQuoted(result, scalar(value));
    }
}

void appendEntry(QString &result, const QString &value, qsizetype)
{
    appendQuoted(result, value);
}

template<typename Map>
void appendMap(QString &result, const Map &map, qsizetype level)
{
    result += QLatin1String("{\n");
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        appendIndent(result, level + 1);
        appendQuoted(result, it.key());
        result += QLatin1String(" = ");
        appendEntry(result, it.value(), level + 1);
        result += QLatin1String(";\n");
    }
    appendIndent(result, level);
    result += QLatin1Char('}');
}

void appendPrinted(QString &result, const QVariant &value, qsizetype level)
{
    if (value.typeId() == QMetaType::QVariantMap) {
        appendMap(result, value.toMap(), level);
        return;
    }
    const QVariantList list = value.toList();
    result += QLatin1String("(\n");
    for (qsizetype i = 0; i < list.size(); ++i) {
        appendIndent(result, level + 1);
        appendEntry(result, list.at(i), level + 1);
        result += QLatin1String(i + 1 < list.size() ? ",\n" : "\n");
    }
    appendIndent(result, level);
    result += QLatin1Char(')');
}

QString printed(const QVariant &value)
{
    QString result;
    appendPrinted(result, value, 0);
    return result;
}

} // namespace

QString SSFormatArgument::description() const
{
    switch (m_kind) {
    case Kind::Null:
        return SSFormat::nullText();
    case Kind::String:
        return *static_cast<const QString *>(m_pointer);
    case Kind::List:
        return SSFormat::description(*static_cast<const QStringList *>(m_pointer));
    case Kind::TextMap: {
        QString result;
        appendMap(result, *static_cast<const QMap<QString, QString> *>(m_pointer), 0);
        return result;
    }
    case Kind::Variant:
        return SSFormat::description(*static_cast<const QVariant *>(m_pointer));
    case Kind::Text:
        return QString::fromUtf8(static_cast<const char *>(m_pointer));
    case Kind::Signed:
        return QString::number(static_cast<qint64>(m_number));
    case Kind::Unsigned:
        return QString::number(m_number);
    }
    return {};
}

QString SSFormatArgument::number(bool asSigned) const
{
    if (m_kind == Kind::Signed)
        return asSigned ? QString::number(static_cast<qint64>(m_number))
                        : QString::number(m_number);
    return description();
}

QString SSFormatArgument::hexadecimal() const
{
    return m_kind == Kind::Signed || m_kind == Kind::Unsigned ? QString::number(m_number, 16)
                                                              : description();
}

QString SSFormat::nullText()
{
    return QStringLiteral("(null)");
}

QString SSFormat::fill(std::string_view format, std::span<const SSFormatArgument> arguments)
{
    QString result;
    result.reserve(static_cast<qsizetype>(format.size()) + 64);
    std::size_t next = 0;
    std::size_t plainStart = 0;
    const auto flush = [&](std::size_t end) {
        result +=
            QString::fromUtf8(format.data() + plainStart, static_cast<qsizetype>(end - plainStart));
    };
    for (std::size_t i = 0; i + 1 < format.size();) {
        if (format[i] != '%') {
            ++i;
            continue;
        }
        std::size_t length = 2;
        if ((format[i + 1] == 'l' || format[i + 1] == 'z') && i + 2 < format.size())
            length = 3;
        const char conversion = format[i + length - 1];
        const bool known = conversion == '@' || conversion == 's' || conversion == 'd' ||
                           conversion == 'u' || conversion == 'x' || conversion == '%';
        if (!known || (conversion != '%' && next >= arguments.size())) {
            i += length;
            continue;
        }
        flush(i);
        if (conversion == '%')
            result += QLatin1Char('%');
        else if (conversion == '@' || conversion == 's')
            result += arguments[next++].description();
        else if (conversion == 'x')
            result += arguments[next++].hexadecimal();
        else
            result += arguments[next++].number(conversion == 'd');
        i += length;
        plainStart = i;
    }
    flush(format.size());
    return result;
}

QString SSFormat::description(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return nullText();
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
    case QMetaType::QVariantMap:
        return printed(value);
    default:
        return scalar(value);
    }
}

QString SSFormat::description(const QStringList &list)
{
    return printed(QVariant(list));
}
