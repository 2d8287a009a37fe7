#include "settings/SSTraySettings.h"

#include "directory/SSConnectionPointKeywords.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "settings/SSSettingField.h"

#include <variant>

/// Everything about one pair of defaults key and keyword.
struct SSTraySettings::Row
{
    using Field = std::variant<bool SSTraySettings::*, qint32 SSTraySettings::*,
                               std::optional<QString> SSTraySettings::*>;

    const char *progress; ///< logged before the row is resolved; null for a fallback
    const char *defaultsKey;
    const char *getter;   ///< of SSConnectionPointKeywords
    const char *property; ///< of SSTraySettings
    Field field;
    bool SSTraySettings::*gate; ///< the row is resolved only when this is on; null for always
    const char *block;          ///< the line of the settings block; null for a fallback

    /// A fallback has the field of the row before and is resolved when that left it empty.
    [[nodiscard]] bool isFallback() const { return progress == nullptr; }
};

std::span<const SSTraySettings::Row> SSTraySettings::rows()
{
    using S = SSTraySettings;
    // The enrollment rows have one vocabulary in the defaults domain and another in the directory.
    static constexpr Row table[] = {
        {"    - Enabled flag", "EnrollReminder.Enable", "enrollNotificationEnabled",
         "enrollEnabled", &S::m_enrollEnabled, nullptr, "    - Enabled: %@"},
        {"    - Web interface URL", "EnrollReminder.Url", "enrollWebInterfaceURL", "enrollWebUiUrl",
         &S::m_enrollWebUiUrl, &S::m_enrollEnabled, "    - Web Interface URL: %@"},
        {nullptr, "WebInterfaceURL", "webInterfaceURL", "enrollWebUiUrl", &S::m_enrollWebUiUrl,
         &S::m_enrollEnabled, nullptr},
        {"    - Proxy", "EnrollReminder.Proxy", "enrollProxy", "enrollProxy", &S::m_enrollProxy,
         &S::m_enrollEnabled, "    - Proxy: %@"},
        {"    - Notification interval", "EnrollReminder.IntervalMins", "enrollNotificationMins",
         "enrollNotificationIntervalsMins", &S::m_enrollNotificationIntervalsMins,
         &S::m_enrollEnabled, "    - Interval: %d (min)"},
        {"    - Notification title", "EnrollReminder.Title", "enrollNotificationTitle",
         "enrollNotificationTitle", &S::m_enrollNotificationTitle, &S::m_enrollEnabled,
         "    - Notification title: %@"},
        {"    - Notification text", "EnrollReminder.Text", "enrollNotificationText",
         "enrollNotificationText", &S::m_enrollNotificationText, &S::m_enrollEnabled,
         "    - Notification text: %@"},
        {"    - Menu item - Enroll", "EnrollReminder.MenuEnrollText",
         "enrollNotificationMenuEnroll", "enrollMenuTextEnroll", &S::m_enrollMenuTextEnroll,
         &S::m_enrollEnabled, "    - Menu item (Enroll): %@"},
        {"    - Menu item - Exit", "EnrollReminder.MenuExitText", "enrollNotificationMenuExit",
         "enrollMenuTextExit", &S::m_enrollMenuTextExit, &S::m_enrollEnabled,
         "    - Menu item (Exit): %@"},
        {"    - CredentialsCacheDisabledNotification.Enabled flag",
         "CredentialsCacheDisabledNotification.Enabled",
         "credentialsCacheDisabledNotificationEnabled", "cddnEnabled", &S::m_cddnEnabled, nullptr,
         "    - CredentialsCacheDisabledNotification.Enabled: %@"},
        {"    - CredentialsCacheDisabledNotification.NotificationTitle",
         "CredentialsCacheDisabledNotification.NotificationTitle",
         "credentialsCacheNotificationTitle", "cddnNotificationTitle", &S::m_cddnNotificationTitle,
         &S::m_cddnEnabled, "    - CredentialsCacheDisabledNotification.NotificationTitle: %@"},
        {"    - CredentialsCacheDisabledNotification.NotificationText",
         "CredentialsCacheDisabledNotification.NotificationText",
         "credentialsCacheNotificationText", "cddnNotificationText", &S::m_cddnNotificationText,
         &S::m_cddnEnabled, "    - CredentialsCacheDisabledNotification.NotificationText: %@"},
        // The block's label lacks the key's "Menu"; support staff know it so.
        {"    - CredentialsCacheDisabledNotification.NotificationMenuDoNotShow",
         "CredentialsCacheDisabledNotification.NotificationMenuDoNotShow",
         "credentialsCacheNotificationMenuDoNotShow", "cddnNotificationMenuDoNotShow",
         &S::m_cddnNotificationMenuDoNotShow, &S::m_cddnEnabled,
         "    - CredentialsCacheDisabledNotification.NotificationDoNotShow: %@"},
        {"    - CredentialsCacheDisabledNotification.NotificationIntervalMins",
         "CredentialsCacheDisabledNotification.NotificationIntervalMins",
         "credentialsCacheNotificationIntervalMins", "cddnNotificationIntervalMins",
         &S::m_cddnNotificationIntervalMins, &S::m_cddnEnabled,
         "    - CredentialsCacheDisabledNotification.NotificationIntervalMins: %d"},
    };
    return table;
}

SSTraySettings::SSTraySettings()
{
    reset();
}

void SSTraySettings::reset()
{
    m_appleMetaNodeLocation.reset();
    for (const Row &row : rows())
        std::visit([this](auto field) { this->*field = {}; }, row.field);
    m_sources.assign(rows().size(), std::nullopt);
}

bool SSTraySettings::isWanted(const Row &row) const
{
    if (row.gate && !(this->*row.gate))
        return false;
    return !row.isFallback() || value(row).toString().isEmpty();
}

QVariant SSTraySettings::value(const Row &row) const
{
    return std::visit([this](auto field) { return SSSettingField::value(this->*field); },
                      row.field);
}

void SSTraySettings::loadFromConnectionPointKeywords(const SSConnectionPointKeywords *keywords)
{
    const SSFunctionLog scope("-[SSTraySettings loadFromConnectionPointKeywords:]");
    reset();
    if (!keywords) {
        SSLog(1, SSMessageType::Error, "There are no connection point keywords.");
        return;
    }
    m_appleMetaNodeLocation = keywords->appleMetaNodeLocation();
    const auto defaults = SSDefaults::defaults();
    for (std::size_t i = 0; i < rows().size(); ++i) {
        const Row &row = rows()[i];
        if (!isWanted(row))
            continue;
        if (row.progress)
            SSLog(2, SSMessageType::Info, row.progress);
        const QString key = QString::fromLatin1(row.defaultsKey);
        const QString getter = QString::fromLatin1(row.getter);
        m_sources[i] = std::visit(
            [&](auto field) {
                return SSSettingField::resolve(key, *defaults, keywords, getter, this->*field);
            },
            row.field);
    }
    log();
}

void SSTraySettings::log() const
{
    const auto logger = SSLogger::sharedInstance();
    const quint32 level = logger ? logger->logLevel() : 0;
    if (level == 0)
        return;
    SSLog(1, SSMessageType::Info, "SETTINGS: ENROLLMENT TRAY NOTIFICATIONS");
    SSLog(1, SSMessageType::Info, "    - Log level: %d", level);
    SSLog(1, SSMessageType::Info, "    - appleMetaNodeLocation: %@", m_appleMetaNodeLocation);
    for (const Row &row : rows()) {
        if (!row.block)
            continue;
        std::visit([&](auto field) { SSSettingField::log(row.block, this->*field); }, row.field);
    }
}

QList<SSSettingProvenance> SSTraySettings::provenance() const
{
    QList<SSSettingProvenance> result;
    for (std::size_t i = 0; i < rows().size(); ++i) {
        const Row &row = rows()[i];
        if (row.isFallback()) {
            if (!m_sources[i])
                continue;
            result.removeLast(); // the fallback decided in place of the row before
        }
        SSSettingProvenance entry;
        entry.property = QString::fromLatin1(row.property);
        entry.value = value(row);
        entry.source = m_sources[i].value_or(SSOptionSource::None);
        if (entry.source == SSOptionSource::Defaults) {
            entry.sourceName = QString::fromLatin1(row.defaultsKey);
        } else if (entry.source == SSOptionSource::Keyword) {
            const auto *const getter =
                SSConnectionPointKeywords::getterWithName(QString::fromLatin1(row.getter));
            entry.sourceName = QString::fromLatin1(getter->keyword);
        }
        entry.fallback = row.isFallback();
        entry.resolved = m_sources[i].has_value();
        result.append(entry);
    }
    return result;
}
