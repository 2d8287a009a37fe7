#pragma once

#include <QString>

#include <optional>

/// The parts of a URL in their percent-encoded spelling. What is not changed keeps its letters,
/// case included.
struct SSUrlComponents
{
    std::optional<QString> scheme;
    std::optional<QString> authority; ///< user, host and port
    QString path;
    std::optional<QString> query;
    std::optional<QString> fragment;

    /// None when the text is no URL. Characters that a URL may not hold are percent-encoded where
    /// that makes it one; an empty text has no parts at all.
    [[nodiscard]] static std::optional<SSUrlComponents> parse(const QString &text);

    /// The URL of the parts.
    [[nodiscard]] QString string() const;

    /// Without the brackets of an IPv6 address; empty for none.
    [[nodiscard]] QString host() const;
    [[nodiscard]] std::optional<int> port() const;

    /// `value` for a place behind the "=" of a query item. "+" stays, as do "/", "?", ":" and "@".
    [[nodiscard]] static QString encodedQueryValue(const QString &value);
};
