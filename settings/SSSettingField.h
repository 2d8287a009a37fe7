#pragma once

#include "directory/SSConnectionPointHelper.h"
#include "foundation/SSLogger.h"

#include <QString>
#include <QVariant>

#include <optional>

/// What every table of settings does with a field, by the field's type.
namespace SSSettingField {

inline SSOptionSource resolve(const QString &key, const SSDefaults &defaults,
                              const SSConnectionPointKeywords *keywords, const QString &getter,
                              bool &field)
{
    return SSConnectionPointHelper::initializeBooleanOptionWithKey(key, defaults, keywords, getter,
                                                                   field);
}
inline SSOptionSource resolve(const QString &key, const SSDefaults &defaults,
                              const SSConnectionPointKeywords *keywords, const QString &getter,
                              qint32 &field)
{
    return SSConnectionPointHelper::initializeIntegerOptionWithKey(key, defaults, keywords, getter,
                                                                   field);
}
inline SSOptionSource resolve(const QString &key, const SSDefaults &defaults,
                              const SSConnectionPointKeywords *keywords, const QString &getter,
                              std::optional<QString> &field)
{
    return SSConnectionPointHelper::initializeStringOptionWithKey(key, defaults, keywords, getter,
                                                                  field);
}

/// For people to see; invalid when absent.
inline QVariant value(const std::optional<QString> &field)
{
    return field ? QVariant(*field) : QVariant();
}
template<typename Number>
QVariant value(Number field)
{
    return QVariant::fromValue(field);
}

/// A line of a settings block, `line` being its form.
inline void log(const char *line, bool field)
{
    SSLog(1, SSMessageType::Info, line, field ? "YES" : "NO");
}
template<typename Other>
void log(const char *line, const Other &field)
{
    SSLog(1, SSMessageType::Info, line, field);
}

} // namespace SSSettingField
