#pragma once

#include "platform/PropertyList.h"

/// Counts what a result has grown to against the limits, for the readers of both forms.
class PropertyListBudget
{
public:
    explicit PropertyListBudget(const PropertyListLimits &limits) : m_limits(limits) {}

    /// One more value or key holding `bytes` of content; false when that is too much.
    [[nodiscard]] bool spend(qsizetype bytes)
    {
        if (m_values >= m_limits.values || bytes > m_limits.contentSize - m_content)
            return false;
        ++m_values;
        m_content += bytes;
        return true;
    }

    [[nodiscard]] bool allowsDepth(int depth) const { return depth <= m_limits.depth; }

private:
    PropertyListLimits m_limits;
    qsizetype m_values = 0;
    qsizetype m_content = 0;
};

namespace PropertyListText {
inline QString tooLarge()
{
    return QStringLiteral("the file is too large");
}
inline QString tooDeep()
{
    return QStringLiteral("too many containers within each other");
}
inline QString tooMuch()
{
    return QStringLiteral("too many or too large values");
}
} // namespace PropertyListText
