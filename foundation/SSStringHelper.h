#pragma once

#include <QChar>
#include <QString>

#include <functional>

/// Additions to texts. The given text is never changed. Any thread.
namespace SSHelper {

/// Which UTF-16 units belong to a set.
using CharacterSet = std::function<bool(QChar)>;

/// Whether the character ends a line, those of Unicode beyond ASCII included.
[[nodiscard]] bool isLineEnd(QChar character);

/// White space and line breaks, those of Unicode beyond ASCII included.
[[nodiscard]] CharacterSet whitespaceAndNewlineCharacterSet();

/// `string` written `times` times; empty for zero and below.
[[nodiscard]] QString stringWithRepeatString(const QString &string, int times);

/// Without the characters of the set at both ends, at the start or at the end; a text of nothing
/// else becomes empty.
[[nodiscard]] QString stringByTrimmingCharactersInSet(const QString &text, const CharacterSet &set);
[[nodiscard]] QString stringByTrimmingLeadingCharactersInSet(const QString &text,
                                                             const CharacterSet &set);
[[nodiscard]] QString stringByTrimmingTrailingCharactersInSet(const QString &text,
                                                              const CharacterSet &set);

[[nodiscard]] QString stringByTrimmingWhitespaceAndNewlineCharacters(const QString &text);
[[nodiscard]] QString stringByTrimmingLeadingWhitespaceAndNewlineCharacters(const QString &text);
[[nodiscard]] QString stringByTrimmingTrailingWhitespaceAndNewlineCharacters(const QString &text);

/// For a place between double quotes in a generated script: backslashes doubled, double quotes
/// escaped, everything else (dollar signs, backquotes, brackets, line breaks) as it is.
[[nodiscard]] QString stringEscapedToShell(const QString &text);

} // namespace SSHelper
