#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <array>
#include <concepts>
#include <optional>
#include <span>
#include <string_view>

/// One argument of a message. Holds a reference or a number, never a copy, so that building one
/// costs nothing; it must not outlive the call that it is made for.
class SSFormatArgument
{
public:
    SSFormatArgument(std::nullopt_t) : m_kind(Kind::Null) {}
    SSFormatArgument(const QString &value) : m_kind(Kind::String), m_pointer(&value) {}
    SSFormatArgument(const std::optional<QString> &value)
        : m_kind(value ? Kind::String : Kind::Null), m_pointer(value ? &*value : nullptr)
    {
    }
    SSFormatArgument(const QStringList &value) : m_kind(Kind::List), m_pointer(&value) {}
    SSFormatArgument(const QMap<QString, QString> &value) : m_kind(Kind::TextMap), m_pointer(&value)
    {
    }
    SSFormatArgument(const QVariant &value) : m_kind(Kind::Variant), m_pointer(&value) {}
    SSFormatArgument(const char *utf8) : m_kind(utf8 ? Kind::Text : Kind::Null), m_pointer(utf8) {}
    template<std::signed_integral Integer>
    requires(!std::same_as<Integer, char>) SSFormatArgument(Integer value)
        : m_kind(Kind::Signed), m_number(static_cast<quint64>(value))
    {
    }
    template<std::unsigned_integral Integer>
    requires(!std::same_as<Integer, bool>) SSFormatArgument(Integer value)
        : m_kind(Kind::Unsigned), m_number(value)
    {
    }
    SSFormatArgument(bool) = delete; // "YES"/"NO" is the caller's to choose

    /// The argument as "%@" prints it; a null value prints "(null)".
    [[nodiscard]] QString description() const;
    /// The argument as an integer placeholder prints it.
    [[nodiscard]] QString number(bool asSigned) const;
    [[nodiscard]] QString hexadecimal() const;

private:
    enum class Kind { Null, String, List, TextMap, Variant, Text, Signed, Unsigned };
    Kind m_kind;
    const void *m_pointer = nullptr;
    quint64 m_number = 0; ///< of a signed value the two's complement
};

namespace SSFormat {

/// What "%@" prints for an absent value.
[[nodiscard]] QString nullText();

/// Fills the placeholders of `format` (UTF-8) in order: "%@" and "%s" any value, "%d" and "%ld" a
/// signed, "%u", "%lu" and "%zu" an unsigned integer, "%x" one in lower-case hexadecimal digits,
/// "%%" a percent sign. A placeholder without an
/// argument stays as it is.
[[nodiscard]] QString fill(std::string_view format, std::span<const SSFormatArgument> arguments);

template<typename... Arguments>
[[nodiscard]] QString format(std::string_view format, const Arguments &...arguments)
{
    const std::array<SSFormatArgument, sizeof...(Arguments)> list{SSFormatArgument(arguments)...};
    return fill(format, list);
}

/// The property-list printed form of a collection: arrays in round brackets, dictionaries in braces
/// and sorted by key, one entry a line, indented by four blanks a level; texts of anything but
/// ASCII letters, digits and underscores in double quotes with \U escapes. A top-level text stays
/// plain.
[[nodiscard]] QString description(const QVariant &value);
[[nodiscard]] QString description(const QStringList &list);

} // namespace SSFormat
