#include "platform/linux/directory/ServerDiscovery.h"

#include "platform/linux/directory/DnsServiceRecords.h"

#include <QRandomGenerator>
#include <QStringList>

namespace {

constexpr quint16 LdapPort = 389;
constexpr quint16 LdapsPort = 636;
constexpr quint16 CatalogPort = 3268;
constexpr quint16 CatalogTlsPort = 3269;

} // namespace

Result<QList<DirectoryServerAddress>, DirectoryError>
ServerDiscovery::serversOf(const DirectorySettings &settings, Service service,
                           const QString &domain, bool isOwnDomain)
{
    const bool isCatalog = service == Service::GlobalCatalog;
    const bool isLdaps = settings.tls == DirectorySettings::Tls::Ldaps;
    const quint16 usualPort =
        isCatalog ? (isLdaps ? CatalogTlsPort : CatalogPort) : (isLdaps ? LdapsPort : LdapPort);

    QList<DirectoryServerAddress> servers;
    if (isCatalog && !settings.globalCatalogs.isEmpty()) {
        servers = settings.globalCatalogs;
    } else if (!settings.servers.isEmpty() && (isCatalog || isOwnDomain)) {
        servers = settings.servers;
        if (isCatalog) {
            for (DirectoryServerAddress &server : servers)
                server.port = 0; // that of the domain's service
        }
    }
    for (DirectoryServerAddress &server : servers) {
        if (server.port == 0)
            server.port = usualPort;
    }
    if (!servers.isEmpty())
        return servers;

    // The servers of the site come first, whatever the priorities of the others.
    QStringList names;
    const QString atSite = QStringLiteral("%1._sites.").arg(settings.site);
    if (isCatalog) {
        if (!settings.site.isEmpty())
            names.append(QStringLiteral("_gc._tcp.%1%2").arg(atSite, domain));
        names.append(QStringLiteral("_gc._tcp.%1").arg(domain));
    } else {
        if (!settings.site.isEmpty())
            names.append(QStringLiteral("_ldap._tcp.%1dc._msdcs.%2").arg(atSite, domain));
        names.append(QStringLiteral("_ldap._tcp.dc._msdcs.%1").arg(domain));
    }
    bool hasFailed = false;
    for (const QString &name : std::as_const(names)) {
        const auto found = DnsServiceRecords::lookUp(name);
        hasFailed = hasFailed || !found;
        const auto records = DnsServiceRecords::ordered(
            found.value_or(QList<DnsServiceRecord>{}), [](quint32 limit) {
                return static_cast<quint32>(
                    QRandomGenerator::system()->bounded(quint64{limit} + 1));
            });
        for (const DnsServiceRecord &record : records) {
            // The records tell the ports of the unencrypted services only.
            const DirectoryServerAddress server{record.host, isLdaps ? usualPort : record.port};
            if (!servers.contains(server))
                servers.append(server);
        }
    }
    if (!servers.isEmpty())
        return servers;
    const QString why = hasFailed ? QStringLiteral("the name service does not answer for %1")
                                  : QStringLiteral("the name service knows no %1");
    return Failure{DirectoryError{DirectoryError::Code::ServerUnreachable,
                                  QStringLiteral("No server of %1 is known: ").arg(domain) +
                                      why.arg(names.last())}};
}
