#include "directory/SSConnectionService.h"

#include "foundation/SSNumberReading.h"

void SSConnectionService::addKeywordFromRawValue(const QString &rawValue)
{
    const qsizetype equals = rawValue.indexOf(QLatin1Char('='));
    if (equals < 0)
        m_keywords.insert(rawValue, QStringLiteral(""));
    else
        m_keywords.insert(rawValue.left(equals), rawValue.mid(equals + 1));
}

std::optional<QString> SSConnectionService::getKeywordWithKey(const QString &key) const
{
    const auto it = m_keywords.constFind(key);
    if (it == m_keywords.cend())
        return std::nullopt;
    return *it;
}

qint32 SSConnectionService::settingsPriority() const
{
    const auto priority =
        getKeywordWithKey(QStringLiteral("WinlogonResetPassword.SettingsPriority"));
    return priority ? SSNumberReading::intValue(*priority) : 0;
}
