#pragma once

#include <QMap>
#include <QString>

#include <optional>

/// One connection point found in the directory.
class SSConnectionService
{
public:
    SSConnectionService(const QString &serviceDnsName,
                        const std::optional<QString> &appleMetaNodeLocation)
        : m_serviceDnsName(serviceDnsName), m_appleMetaNodeLocation(appleMetaNodeLocation)
    {
    }

    [[nodiscard]] const QString &serviceDnsName() const { return m_serviceDnsName; }
    [[nodiscard]] const std::optional<QString> &appleMetaNodeLocation() const
    {
        return m_appleMetaNodeLocation;
    }
    /// Name to value, as the directory holds them.
    [[nodiscard]] const QMap<QString, QString> &keywords() const { return m_keywords; }

    /// Adds Name=Value, split at the first "="; without one the value is empty. A later value of a
    /// name takes the place of an earlier one.
    void addKeywordFromRawValue(const QString &rawValue);

    /// The value stored under exactly this name. Values of several parts are not joined here.
    [[nodiscard]] std::optional<QString> getKeywordWithKey(const QString &key) const;

    /// The keyword "WinlogonResetPassword.SettingsPriority", 0 when absent.
    [[nodiscard]] qint32 settingsPriority() const;

private:
    QString m_serviceDnsName;
    std::optional<QString> m_appleMetaNodeLocation;
    QMap<QString, QString> m_keywords;
};
