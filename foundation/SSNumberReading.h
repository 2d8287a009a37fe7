#pragma once

#include <QString>
#include <QVariant>

/// How texts and stored values are read as numbers and booleans.
namespace SSNumberReading {

/// The leading decimal integer of `text`: leading blanks skipped, an optional sign, digits up to
/// the first other character; no digits give 0, a number too large the nearest limit of the type.
[[nodiscard]] qint32 intValue(const QString &text);
[[nodiscard]] qint64 longLongValue(const QString &text);

/// Leading blanks, a sign and zeros skipped, true when Y, y, T, t or a digit 1 to 9 follows.
[[nodiscard]] bool boolValue(const QString &text);

/// The readings of a property-list value; anything but a text or a number reads as 0 and false.
[[nodiscard]] qint64 integerValue(const QVariant &value);
[[nodiscard]] bool boolValue(const QVariant &value);

} // namespace SSNumberReading
