#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

/// How the command line prints values, for people and for programs.
namespace SSControlText {

/// The text with every character that could move a terminal's cursor, hide or reorder what is
/// beside it, or that is no character at all, replaced by its code as \u{1b}. Line feeds stay.
[[nodiscard]] QString printable(const QString &text);

/// The text in double quotes and printable, on one line; "(none)" when absent.
[[nodiscard]] QString quoted(const std::optional<QString> &text);

/// A boolean as YES or NO, an integer, a text in quotes, bytes in Base64; "(none)" when invalid.
[[nodiscard]] QString value(const QVariant &value);

[[nodiscard]] QString yesNo(bool value);

// An absent value is null; bytes are Base64.
[[nodiscard]] QJsonValue json(const std::optional<QString> &text);
[[nodiscard]] QJsonValue json(const std::optional<QStringList> &list);
[[nodiscard]] QJsonValue json(const QVariant &value);

} // namespace SSControlText
