#pragma once

#include "platform/linux/directory/DirectorySettings.h"

#include <QList>
#include <QMap>
#include <QString>

#include <chrono>
#include <mutex>
#include <optional>

/// What one domain's servers say about their forest.
struct ForestFacts
{
    QString rootDomain;
    /// NetBIOS name by DNS name (lower case) of every domain of the forest.
    QMap<QString, QString> netbiosNames;
};

/// Facts that one operation of a node has found and the next may use for a while. Any thread.
class ForestCache
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::minutes Lifetime{10};
    /// How long a server that failed is asked after all others.
    static constexpr std::chrono::minutes DistrustTime{2};

    [[nodiscard]] std::optional<ForestFacts> facts(const QString &domain) const;
    void setFacts(const QString &domain, const ForestFacts &facts);
    void dropFacts();

    void distrust(const DirectoryServerAddress &server);
    void trust(const DirectoryServerAddress &server);
    /// The same servers, those that failed lately last. A computer that failed at one port counts
    /// as failed at all.
    [[nodiscard]] QList<DirectoryServerAddress>
    trustedFirst(QList<DirectoryServerAddress> servers) const;

private:
    struct DatedFacts
    {
        ForestFacts facts;
        Clock::time_point until;
    };

    mutable std::mutex m_lock;
    QMap<QString, DatedFacts> m_facts;
    QMap<QString, Clock::time_point> m_distrusted; ///< host name to the moment it ends
};
