#include "foundation/SSStringHelper.h"

namespace SSHelper {

bool isLineEnd(QChar character)
{
    const char16_t code = character.unicode();
    return (code >= u'\n' && code <= u'\r') || code == u'\x85' || code == u'\x2028' ||
           code == u'\x2029';
}

CharacterSet whitespaceAndNewlineCharacterSet()
{
    return [](QChar c) { return c.isSpace(); };
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
    // In one pass into storage of the right size: the text may be a password, and a text in between
    // would stay behind in memory.
    QString result;
    result.reserve(text.size() + text.count(QLatin1Char('\\')) + text.count(QLatin1Char('"')));
    for (const QChar character : text) {
        if (character == QLatin1Char('\\') || character == QLatin1Char('"'))
            result.append(QLatin1Char('\\'));
        result.append(character);
    }
    return result;
}

} // namespace SSHelper
