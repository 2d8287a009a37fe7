#pragma once

#include <QString>
#include <QVariant>

#include <utility>
#include <variant>
#include <vector>

/// One condition of a directory query: an attribute, how it is compared (see DirectoryMatchType)
/// and the value to compare with. Read-only after creation.
class SSMatchCondition
{
public:
    [[nodiscard]] static SSMatchCondition
    matchConditionWithAttribute(const QString &attribute, quint32 matchType, const QString &value)
    {
        return SSMatchCondition(attribute, matchType, value);
    }

    SSMatchCondition(QString attribute, quint32 matchType, QString value)
        : m_matchType(matchType), m_attribute(std::move(attribute)), m_value(std::move(value))
    {
    }

    [[nodiscard]] quint32 matchType() const { return m_matchType; }
    [[nodiscard]] const QString &attribute() const { return m_attribute; }
    [[nodiscard]] const QString &value() const { return m_value; }

private:
    quint32 m_matchType;
    QString m_attribute;
    QString m_value;
};

/// What record details are validated against: one condition, a list whose elements must all hold
/// (lists nest), or any other value, which never holds and is only printed.
class SSValidationCondition
{
public:
    using List = std::vector<SSValidationCondition>;
    using Value = std::variant<SSMatchCondition, List, QVariant>;

    SSValidationCondition(SSMatchCondition condition) : m_value(std::move(condition)) {}
    SSValidationCondition(List conditions) : m_value(std::move(conditions)) {}
    explicit SSValidationCondition(QVariant object) : m_value(std::move(object)) {}

    [[nodiscard]] const Value &value() const { return m_value; }

private:
    Value m_value;
};
