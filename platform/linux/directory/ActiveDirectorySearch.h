#pragma once

#include "platform/Directory.h"
#include "platform/linux/directory/BoundedOperation.h"
#include "platform/linux/directory/DirectorySettings.h"
#include "platform/linux/directory/ForestCache.h"
#include "platform/linux/directory/LdapConnection.h"
#include "platform/linux/directory/ServerDiscovery.h"

#include <QByteArrayList>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <optional>

/// One query from the discovery of the servers to the records. The global catalog is asked for the
/// names of the objects alone, since it holds only part of their attributes; these are read from a
/// controller of the object's own domain. Used once, on the thread of `operation`.
class ActiveDirectorySearch
{
public:
    template<typename Value>
    using Outcome = Result<Value, DirectoryError>;

    /// What makes the query one that this directory cannot answer.
    [[nodiscard]] static std::optional<DirectoryError> problemOf(const DirectoryQuery &query);

    ActiveDirectorySearch(const DirectorySettings &settings, const DirectoryQuery &query,
                          ForestCache &cache, BoundedOperation &operation);

    [[nodiscard]] Outcome<DirectoryRecords> run();

private:
    using Service = ServerDiscovery::Service;
    using Step = std::function<std::optional<DirectoryError>(LdapConnection &,
                                                             LdapConnection::TimePoint limit)>;

    [[nodiscard]] std::optional<DirectoryError> findDomain();
    /// Runs the step on one server after the other until it succeeds.
    [[nodiscard]] std::optional<DirectoryError> onSomeServer(Service service, const QString &domain,
                                                             const Step &step);
    [[nodiscard]] std::optional<DirectoryError> findFacts();
    [[nodiscard]] std::optional<DirectoryError> readFacts(LdapConnection &connection,
                                                          LdapConnection::TimePoint limit);
    [[nodiscard]] Outcome<QByteArrayList> findNames();
    [[nodiscard]] std::optional<DirectoryError> readRecords(const QString &domain,
                                                            const QByteArrayList &names);
    [[nodiscard]] std::shared_ptr<DirectoryRecord> makeRecord(const LdapEntry &entry,
                                                              const QString &netbiosName) const;

    const DirectorySettings &m_settings;
    const DirectoryQuery &m_query;
    ForestCache &m_cache;
    BoundedOperation &m_operation;

    QByteArray m_filter;
    QByteArrayList m_attributes;
    QString m_domain;
    ForestFacts m_facts;
    bool m_factsAreCached = false;
    /// The connections in use, by service and domain.
    std::map<std::pair<Service, QString>, std::unique_ptr<LdapConnection>> m_connections;
    QMap<QByteArray, std::shared_ptr<DirectoryRecord>> m_records; ///< by distinguished name
};
