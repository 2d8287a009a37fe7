#include "foundation/SSDefaults.h"

#include "foundation/SSFormat.h"
#include "foundation/SSNumberReading.h"
#include "platform/Platform.h"
#include "platform/UserDefaultsStore.h"

#include <utility>

std::shared_ptr<SSDefaults> SSDefaults::defaults()
{
    return std::make_shared<SSDefaults>(Platform::current().defaults);
}

SSDefaults::SSDefaults(std::shared_ptr<UserDefaultsStore> store) : m_defaults(std::move(store)) {}

quint32 SSDefaults::getLogLevel() const
{
    const auto value = m_defaults->objectForKey(QStringLiteral("LogLevel"));
    const qint64 level = value ? SSNumberReading::integerValue(*value) : 0;
    return level == 1 || level == 2 ? static_cast<quint32>(level) : 0;
}

bool SSDefaults::getBooleanForKey(const QString &key, bool &varBoolean) const
{
    const auto value = m_defaults->objectForKey(key);
    if (!value)
        return false;
    varBoolean = SSNumberReading::boolValue(*value);
    return true;
}

bool SSDefaults::getIntegerForKey(const QString &key, qint32 &varInteger) const
{
    const auto value = m_defaults->objectForKey(key);
    if (!value)
        return false;
    varInteger = static_cast<qint32>(SSNumberReading::integerValue(*value));
    return true;
}

bool SSDefaults::getStringForKey(const QString &key, std::optional<QString> &varString) const
{
    const auto value = m_defaults->objectForKey(key);
    if (!value)
        return false;
    varString = SSFormat::description(*value);
    return true;
}
