#include "foundation/SSStringHelper.h"

namespace SSHelper {

CharacterSet whitespaceAndNewlineCharacterSet()
{
    return [](QChar c) { return c.isSpace(); };
}

CharacterSet characterSetWithCharactersInString(const QString &characters)
{
    return [characters](QChar c) { return characters.contains(c); };
}

QString stringWithRepeatString(const QString &string, int times)
{
    return times > 0 ? string.repeated(times) : QString();
}

QString stringByTrimmingCharactersInSet(const QString &text, const CharacterSet &set)
{
    return stringByTrimmingTrailingCharactersInSet(
        stringByTrimmingLeadingCharactersInSet(text, set), set);
}

QString stringByTrimmingLeadingCharactersInSet(const QString &text, const CharacterSet &set)
{
    qsizetype start = 0;
    while (start < text.size() && set(text.at(start)))
        ++start;
    return text.sliced(start);
}

QString stringByTrimmingTrailingCharactersInSet(const QString &text, const CharacterSet &set)
{
    qsizetype end = text.size();
    while (end > 0 && set(text.at(end - 1)))
        --end;
    return text.first(end);
}

QString stringByTrimmingWhitespaceAndNewlineCharacters(const QString &text)
{
    return stringByTrimmingCharactersInSet(text, whitespaceAndNewlineCharacterSet());
}

QString stringByTrimmingLeadingWhitespaceAndNewlineCharacters(const QString &text)
{
    return stringByTrimmingLeadingCharactersInSet(text, whitespaceAndNewlineCharacterSet());
}

QString stringByTrimmingTrailingWhitespaceAndNewlineCharacters(const QString &text)
{
    return stringByTrimmingTrailingCharactersInSet(text, whitespaceAndNewlineCharacterSet());
}

QString stringEscapedToShell(const QString &text)
{
    QString result = text;
    // Backslashes first, so that those added for the quotes are not doubled.
    result.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    result.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return result;
}

} // namespace SSHelper
