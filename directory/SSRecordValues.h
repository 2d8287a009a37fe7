#pragma once

#include "platform/Directory.h"

#include <QVariant>

#include <optional>

/// The values of one attribute in record details, absent and empty kept apart.
class SSRecordValues
{
public:
    SSRecordValues(const DirectoryDetails &details, const char16_t *attribute)
    {
        const auto it = details.constFind(QString::fromUtf16(attribute));
        if (it != details.cend())
            m_values = *it;
    }

    /// 0 for an absent attribute.
    [[nodiscard]] qsizetype count() const { return m_values ? m_values->size() : 0; }
    [[nodiscard]] std::optional<QString> first() const
    {
        return count() > 0 ? std::optional(m_values->first()) : std::nullopt;
    }
    /// Empty for an absent attribute.
    [[nodiscard]] QStringList list() const { return m_values.value_or(QStringList()); }
    /// As a log line prints them: an absent attribute as the platform's text for nil.
    [[nodiscard]] QVariant printable() const { return m_values ? QVariant(*m_values) : QVariant(); }

private:
    std::optional<QStringList> m_values;
};
