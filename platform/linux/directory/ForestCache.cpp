#include "platform/linux/directory/ForestCache.h"

#include <algorithm>

std::optional<ForestFacts> ForestCache::facts(const QString &domain) const
{
    const std::lock_guard guard(m_lock);
    const auto found = m_facts.constFind(domain);
    if (found == m_facts.constEnd() || Clock::now() >= found->until)
        return std::nullopt;
    return found->facts;
}

void ForestCache::setFacts(const QString &domain, const ForestFacts &facts)
{
    const std::lock_guard guard(m_lock);
    m_facts.insert(domain, {facts, Clock::now() + Lifetime});
}

void ForestCache::dropFacts()
{
    const std::lock_guard guard(m_lock);
    m_facts.clear();
}

void ForestCache::distrust(const DirectoryServerAddress &server)
{
    const std::lock_guard guard(m_lock);
    m_distrusted.insert(server.host.toLower(), Clock::now() + DistrustTime);
}

void ForestCache::trust(const DirectoryServerAddress &server)
{
    const std::lock_guard guard(m_lock);
    m_distrusted.remove(server.host.toLower());
}

QList<DirectoryServerAddress> ForestCache::trustedFirst(QList<DirectoryServerAddress> servers) const
{
    const std::lock_guard guard(m_lock);
    const Clock::time_point now = Clock::now();
    std::stable_partition(servers.begin(), servers.end(), [&](const auto &server) {
        const auto found = m_distrusted.constFind(server.host.toLower());
        return found == m_distrusted.constEnd() || now >= *found;
    });
    return servers;
}
