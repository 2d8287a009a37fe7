#include "app/ctl/SSControlText.h"

#include <QJsonArray>

namespace {

bool isPrintable(char32_t c)
{
    if (c == U'\n')
        return true;
    switch (QChar::category(c)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return true;
    }
}

} // namespace

QString SSControlText::printable(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar unit = text.at(i);
        char32_t c = unit.unicode();
        const bool isPair =
            unit.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (isPair)
            c = QChar::surrogateToUcs4(unit, text.at(++i));
        if (isPrintable(c))
            result += QChar::fromUcs4(c);
        else
            result += QStringLiteral("\\u{%1}").arg(static_cast<uint>(c), 0, 16);
    }
    return result;
}

QString SSControlText::quoted(const std::optional<QString> &text)
{
    if (!text)
        return QStringLiteral("(none)");
    QString line = printable(*text);
    line.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    return QLatin1Char('"') + line + QLatin1Char('"');
}

QString SSControlText::value(const QVariant &value)
{
    if (!value.isValid())
        return quoted(std::nullopt);
    if (value.typeId() == QMetaType::Bool)
        return yesNo(value.toBool());
    if (value.typeId() == QMetaType::QString)
        return quoted(value.toString());
    if (value.typeId() == QMetaType::QByteArray)
        return QString::fromLatin1(value.toByteArray().toBase64());
    return value.toString();
}

QString SSControlText::yesNo(bool value)
{
    return value ? QStringLiteral("YES") : QStringLiteral("NO");
}

QJsonValue SSControlText::json(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

QJsonValue SSControlText::json(const std::optional<QStringList> &list)
{
    return list ? QJsonValue(QJsonArray::fromStringList(*list)) : QJsonValue(QJsonValue::Null);
}

QJsonValue SSControlText::json(const QVariant &value)
{
    if (value.typeId() == QMetaType::QByteArray)
        return QString::fromLatin1(value.toByteArray().toBase64());
    return value.isValid() ? QJsonValue::fromVariant(value) : QJsonValue(QJsonValue::Null);
}
