#include "foundation/SSNumberReading.h"

#include <algorithm>
#include <cmath>
#include <limits>

qint64 SSNumberReading::longLongValue(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    const bool negative = i < text.size() && text.at(i) == QLatin1Char('-');
    if (i < text.size() && (negative || text.at(i) == QLatin1Char('+')))
        ++i;
    constexpr qint64 lowest = std::numeric_limits<qint64>::min();
    qint64 value = 0; // built up negative, whose range is the larger one
    for (; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c < u'0' || c > u'9')
            break;
        const qint64 digit = c - u'0';
        if (value < (lowest + digit) / 10)
            return negative ? lowest : std::numeric_limits<qint64>::max();
        value = value * 10 - digit;
    }
    if (negative)
        return value;
    return value == lowest ? std::numeric_limits<qint64>::max() : -value;
}

qint32 SSNumberReading::intValue(const QString &text)
{
    return static_cast<qint32>(std::clamp<qint64>(longLongValue(text),
                                                  std::numeric_limits<qint32>::min(),
                                                  std::numeric_limits<qint32>::max()));
}

bool SSNumberReading::boolValue(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+')))
        ++i;
    while (i < text.size() && text.at(i) == QLatin1Char('0'))
        ++i;
    if (i == text.size())
        return false;
    const char16_t c = text.at(i).unicode();
    return c == u'Y' || c == u'y' || c == u'T' || c == u't' || (c >= u'1' && c <= u'9');
}

qint64 SSNumberReading::integerValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return longLongValue(value.toString());
    case QMetaType::Bool:
        return value.toBool() ? 1 : 0;
    case QMetaType::Double: {
        const double number = std::trunc(value.toDouble());
        // 2^63 is exact in double precision; the comparison is false for NaN.
        if (number >= -0x1p63 && number < 0x1p63)
            return static_cast<qint64>(number);
        if (std::isnan(number))
            return 0;
        return number < 0 ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
    }
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toLongLong();
    default:
        return 0;
    }
}

bool SSNumberReading::boolValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return boolValue(value.toString());
    if (value.typeId() == QMetaType::Double)
        return value.toDouble() != 0.0;
    return integerValue(value) != 0;
}
