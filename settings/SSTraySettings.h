#pragma once

#include "settings/SSSettingProvenance.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <optional>
#include <span>
#include <vector>

class SSConnectionPointKeywords;

/// What the tray process needs to remind a user. Loaded in place; only reset() and loading change
/// it, on the main thread. Nothing is validated and nothing has a built-in default: what neither
/// the defaults domain nor the connection point gives stays none, false or 0.
class SSTraySettings
{
public:
    SSTraySettings();

    void reset();

    /// Starts with reset(). Null, with a log line, leaves it at that.
    void loadFromConnectionPointKeywords(const SSConnectionPointKeywords *keywords);

    /// Writes the settings block to the log, unless the log is silent.
    void log() const;

    /// Every setting but the node location, in the order of loading.
    [[nodiscard]] QList<SSSettingProvenance> provenance() const;

    /// The node location of the connection point that was loaded.
    [[nodiscard]] const std::optional<QString> &appleMetaNodeLocation() const
    {
        return m_appleMetaNodeLocation;
    }
    [[nodiscard]] bool enrollEnabled() const { return m_enrollEnabled; }
    [[nodiscard]] qint32 enrollNotificationIntervalsMins() const
    {
        return m_enrollNotificationIntervalsMins;
    }
    [[nodiscard]] const std::optional<QString> &enrollNotificationTitle() const
    {
        return m_enrollNotificationTitle;
    }
    [[nodiscard]] const std::optional<QString> &enrollNotificationText() const
    {
        return m_enrollNotificationText;
    }
    [[nodiscard]] const std::optional<QString> &enrollWebUiUrl() const { return m_enrollWebUiUrl; }
    [[nodiscard]] const std::optional<QString> &enrollProxy() const { return m_enrollProxy; }
    [[nodiscard]] const std::optional<QString> &enrollMenuTextEnroll() const
    {
        return m_enrollMenuTextEnroll;
    }
    [[nodiscard]] const std::optional<QString> &enrollMenuTextExit() const
    {
        return m_enrollMenuTextExit;
    }
    [[nodiscard]] bool cddnEnabled() const { return m_cddnEnabled; }
    [[nodiscard]] const std::optional<QString> &cddnNotificationTitle() const
    {
        return m_cddnNotificationTitle;
    }
    [[nodiscard]] const std::optional<QString> &cddnNotificationText() const
    {
        return m_cddnNotificationText;
    }
    [[nodiscard]] const std::optional<QString> &cddnNotificationMenuDoNotShow() const
    {
        return m_cddnNotificationMenuDoNotShow;
    }
    [[nodiscard]] qint32 cddnNotificationIntervalMins() const
    {
        return m_cddnNotificationIntervalMins;
    }

private:
    struct Row;
    [[nodiscard]] static std::span<const Row> rows();

    [[nodiscard]] bool isWanted(const Row &row) const;
    [[nodiscard]] QVariant value(const Row &row) const;

    std::optional<QString> m_appleMetaNodeLocation;
    bool m_enrollEnabled = false;
    qint32 m_enrollNotificationIntervalsMins = 0;
    std::optional<QString> m_enrollNotificationTitle;
    std::optional<QString> m_enrollNotificationText;
    std::optional<QString> m_enrollWebUiUrl;
    std::optional<QString> m_enrollProxy;
    std::optional<QString> m_enrollMenuTextEnroll;
    std::optional<QString> m_enrollMenuTextExit;
    bool m_cddnEnabled = false;
    std::optional<QString> m_cddnNotificationTitle;
    std::optional<QString> m_cddnNotificationText;
    std::optional<QString> m_cddnNotificationMenuDoNotShow;
    qint32 m_cddnNotificationIntervalMins = 0;

    /// By row; none for a row that was not resolved.
    std::vector<std::optional<SSOptionSource>> m_sources;
};
