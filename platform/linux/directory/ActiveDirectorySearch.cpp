#include "platform/linux/directory/ActiveDirectorySearch.h"

#include "platform/linux/directory/KerberosTicket.h"
#include "platform/linux/directory/LdapNames.h"
#include "platform/linux/directory/LdapSession.h"

#include <algorithm>
#include <utility>

namespace {

using Code = DirectoryError::Code;
using Clock = BoundedOperation::Clock;

/// What one server may take at most while there is another one to ask.
constexpr std::chrono::seconds ServerShare{5};

class ReadRecord final : public DirectoryRecord
{
public:
    ReadRecord(QString name, DirectoryDetails details)
        : m_name(std::move(name)), m_details(std::move(details))
    {
    }
    [[nodiscard]] QString description() const override { return m_name; }
    [[nodiscard]] Result<DirectoryDetails, DirectoryError> details() override { return m_details; }
    [[nodiscard]] Result<bool, DirectoryError> verifyPassword(std::u16string_view) override
    {
        return Failure{DirectoryError{
            Code::CannotTell,
            QStringLiteral("Passwords are checked for records of this computer only")}};
    }

private:
    QString m_name;
    DirectoryDetails m_details;
};

QByteArray attributeOf(const DirectoryQuery &query)
{
    const bool isUsers = query.recordType == DirectoryRecordType::Users;
    if (isUsers && (query.attribute == DirectoryAttribute::RecordName ||
                    query.attribute == DirectoryAttribute::sAMAccountName))
        return "sAMAccountName";
    if (!isUsers && query.attribute == DirectoryAttribute::keywords)
        return "keywords";
    return {};
}

QByteArray filterOf(const DirectoryQuery &query)
{
    const QByteArray value = query.matchType == DirectoryMatchType::Any
                                 ? QByteArray("*")
                                 : LdapNames::escapedFilterValue(query.value);
    const char *end = query.matchType == DirectoryMatchType::BeginsWith ? "*" : "";
    const char *kind = query.recordType == DirectoryRecordType::Users
                           ? "(objectClass=user)(!(objectClass=computer))"
                           : "(objectClass=serviceConnectionPoint)";
    return QByteArray("(&") + kind + "(" + attributeOf(query) + "=" + value + end + "))";
}

QString text(const QByteArray &value)
{
    return QString::fromUtf8(value);
}

QStringList texts(const QByteArrayList &values)
{
    QStringList list;
    for (const QByteArray &value : values)
        list.append(text(value));
    return list;
}

/// How much a failed server tells about why the operation fails; the most telling one is reported.
int weightOf(Code code)
{
    switch (code) {
    case Code::CredentialsMissing:
        return 5;
    case Code::AuthenticationRefused:
        return 4;
    case Code::ProtectionRefused:
        return 3;
    case Code::PartialResult:
        return 2;
    case Code::TimedOut:
        return 1;
    default:
        return 0;
    }
}

} // namespace

std::optional<DirectoryError> ActiveDirectorySearch::problemOf(const DirectoryQuery &query)
{
    if (attributeOf(query).isEmpty())
        return DirectoryError{
            Code::QueryInvalid,
            QStringLiteral("Active Directory is not searched by '%1'").arg(query.attribute)};
    if (query.matchType != DirectoryMatchType::EqualTo &&
        query.matchType != DirectoryMatchType::BeginsWith &&
        query.matchType != DirectoryMatchType::Any)
        return DirectoryError{
            Code::QueryInvalid,
            QStringLiteral("Unknown match type %1").arg(query.matchType, 4, 16, QChar(u'0'))};
    return std::nullopt;
}

ActiveDirectorySearch::ActiveDirectorySearch(const DirectorySettings &settings,
                                             const DirectoryQuery &query, ForestCache &cache,
                                             BoundedOperation &operation)
    : m_settings(settings)
    , m_query(query)
    , m_cache(cache)
    , m_operation(operation)
    , m_filter(filterOf(query))
{
    m_attributes = query.recordType == DirectoryRecordType::Users
                       ? QByteArrayList{"sAMAccountName", "objectGUID", "objectClass"}
                       : QByteArrayList{"keywords", "serviceDNSName", "objectClass"};
    for (const QString &attribute : query.returnAttributes) {
        const QByteArray name = attribute.toUtf8();
        const bool isKnown =
            std::any_of(m_attributes.cbegin(), m_attributes.cend(), [&name](const auto &known) {
                return known.compare(name, Qt::CaseInsensitive) == 0;
            });
        if (!isKnown && !attribute.contains(u':'))
            m_attributes.append(name);
    }
}

ActiveDirectorySearch::Outcome<DirectoryRecords> ActiveDirectorySearch::run()
{
    // No directory string is empty or holds a zero character, and servers cut a value at one.
    const bool hasNoAnswer = m_query.matchType != DirectoryMatchType::Any &&
                             (m_query.value.isEmpty() || m_query.value.contains(QChar(0)));
    if (hasNoAnswer)
        return DirectoryRecords{};
    if (const auto problem = LdapSession::problemOf(m_settings))
        return Failure{*problem};
    if (const auto problem = findDomain())
        return Failure{*problem};
    if (const auto problem = findFacts())
        return Failure{*problem};
    const Outcome<QByteArrayList> names = findNames();
    if (!names.ok())
        return Failure{names.error()};

    QMap<QString, QByteArrayList> namesByDomain;
    for (const QByteArray &name : names.value())
        namesByDomain[LdapNames::domainOfName(name)].append(name);
    for (auto domain = namesByDomain.cbegin(); domain != namesByDomain.cend(); ++domain) {
        if (const auto problem = readRecords(domain.key(), domain.value()))
            return Failure{*problem};
    }
    DirectoryRecords records;
    for (const QByteArray &name : names.value()) {
        if (const auto record = m_records.take(name))
            records.append(record);
    }
    return records;
}

std::optional<DirectoryError> ActiveDirectorySearch::findDomain()
{
    m_domain = m_settings.domain.toLower();
    if (m_settings.bind == DirectorySettings::Bind::Gssapi) {
        const KerberosTicket ticket = KerberosTicket::ofUser();
        if (m_domain.isEmpty())
            m_domain = ticket.realm.toLower();
        const bool isKnown = !m_domain.isEmpty() || !KerberosTicket::defaultRealm().isEmpty();
        if (isKnown && ticket.state == KerberosTicket::State::Missing)
            return DirectoryError{Code::CredentialsMissing,
                                  QStringLiteral("The user has no Kerberos ticket")};
        if (isKnown && ticket.state == KerberosTicket::State::Expired)
            return DirectoryError{Code::CredentialsMissing,
                                  QStringLiteral("The user's Kerberos ticket has expired")};
    }
    if (m_domain.isEmpty())
        m_domain = KerberosTicket::defaultRealm().toLower();
    if (m_domain.isEmpty())
        return DirectoryError{Code::NotConfigured,
                              QStringLiteral("No Active Directory domain is known")};
    return std::nullopt;
}

std::optional<DirectoryError>
ActiveDirectorySearch::onSomeServer(Service service, const QString &domain, const Step &step)
{
    std::unique_ptr<LdapConnection> &connection = m_connections[{service, domain}];
    QString failedServer;
    std::optional<DirectoryError> worst;
    const auto note = [&](const DirectoryError &problem) {
        m_operation.log(1, DiagnosticType::Error,
                        QStringLiteral("Directory server %1").arg(problem.localizedDescription));
        if (!worst || weightOf(problem.code) > weightOf(worst->code))
            worst = problem;
    };
    const auto timedOut = [] {
        return DirectoryError{Code::TimedOut, QStringLiteral("The directory operation timed out")};
    };
    if (connection) {
        const Clock::time_point now = Clock::now();
        const auto problem = step(*connection, now + (m_operation.deadline() - now) / 2);
        if (!problem)
            return std::nullopt;
        failedServer = connection->serverName();
        connection.reset();
        note(*problem);
    }
    const Outcome<QList<DirectoryServerAddress>> known =
        ServerDiscovery::serversOf(m_settings, service, domain, domain == m_domain);
    if (!known.ok())
        return worst ? worst : known.error();
    const QList<DirectoryServerAddress> servers = m_cache.trustedFirst(known.value());
    for (qsizetype index = 0; index < servers.size(); ++index) {
        const DirectoryServerAddress &server = servers.at(index);
        if (QStringLiteral("%1:%2").arg(server.host).arg(server.port) == failedServer)
            continue;
        const Clock::time_point now = Clock::now();
        if (now >= m_operation.deadline())
            return timedOut();
        const auto left = m_operation.deadline() - now;
        const qsizetype others = servers.size() - index - 1;
        const auto limit =
            now +
            (others == 0 ? left : std::min<Clock::duration>(ServerShare, left / (others + 1)));

        auto opened = LdapConnection::open(server, m_settings, m_operation, limit);
        std::optional<DirectoryError> problem;
        if (opened.ok()) {
            connection = std::move(opened.value());
            problem = step(*connection, limit);
            if (!problem) {
                m_cache.trust(server);
                m_operation.log(
                    2, DiagnosticType::Debug,
                    QStringLiteral("Directory server %1 answered").arg(connection->serverName()));
                return std::nullopt;
            }
            connection.reset();
        } else {
            problem = opened.error();
        }
        note(*problem);
        // Another server would say the same, and a wrong password counts against the account.
        if (problem->code == Code::CredentialsMissing ||
            (problem->code == Code::AuthenticationRefused &&
             m_settings.bind == DirectorySettings::Bind::Simple))
            return problem;
        m_cache.distrust(server);
    }
    if (m_operation.isLate())
        return timedOut();
    return worst;
}

std::optional<DirectoryError> ActiveDirectorySearch::findFacts()
{
    if (const std::optional<ForestFacts> known = m_cache.facts(m_domain)) {
        m_facts = *known;
        m_factsAreCached = true;
        return std::nullopt;
    }
    m_factsAreCached = false;
    return onSomeServer(Service::Domain, m_domain,
                        [this](LdapConnection &connection, LdapConnection::TimePoint limit) {
                            return readFacts(connection, limit);
                        });
}

std::optional<DirectoryError> ActiveDirectorySearch::readFacts(LdapConnection &connection,
                                                               LdapConnection::TimePoint limit)
{
    const auto root = connection.read(
        {""}, "(objectClass=*)", {"configurationNamingContext", "rootDomainNamingContext"}, limit);
    if (!root.ok())
        return root.error();
    const LdapEntry rootEntry = root.value().value(0);
    const QByteArray configuration = rootEntry.firstValue("configurationnamingcontext");
    const auto notActiveDirectory = [&connection] {
        return DirectoryError{Code::Internal,
                              QStringLiteral("%1: does not describe a forest of Active Directory")
                                  .arg(connection.serverName())};
    };
    if (configuration.isEmpty())
        return notActiveDirectory();
    const auto partitions = connection.searchBelow("CN=Partitions," + configuration,
                                                   "(&(objectClass=crossRef)(nETBIOSName=*))",
                                                   {"nCName", "nETBIOSName"}, 0, limit);
    if (!partitions.ok())
        return partitions.error();
    ForestFacts facts;
    facts.rootDomain = LdapNames::domainOfName(rootEntry.firstValue("rootdomainnamingcontext"));
    for (const LdapEntry &partition : partitions.value()) {
        const QString domain = LdapNames::domainOfName(partition.firstValue("ncname"));
        if (!domain.isEmpty())
            facts.netbiosNames.insert(domain, text(partition.firstValue("netbiosname")));
    }
    if (facts.rootDomain.isEmpty() || facts.netbiosNames.isEmpty())
        return notActiveDirectory();
    m_facts = facts;
    m_cache.setFacts(m_domain, facts);
    return std::nullopt;
}

ActiveDirectorySearch::Outcome<QByteArrayList> ActiveDirectorySearch::findNames()
{
    QByteArrayList names;
    const auto problem =
        onSomeServer(Service::GlobalCatalog, m_facts.rootDomain,
                     [&](LdapConnection &connection,
                         LdapConnection::TimePoint limit) -> std::optional<DirectoryError> {
                         // The empty base stands for the whole forest; "1.1" for no attributes.
                         const auto found = connection.searchBelow("", m_filter, {"1.1"},
                                                                   m_query.maximumResults, limit);
                         if (!found.ok())
                             return found.error();
                         names.clear();
                         for (const LdapEntry &entry : found.value())
                             names.append(entry.name);
                         return std::nullopt;
                     });
    if (problem)
        return Failure{*problem};
    m_connections.erase({Service::GlobalCatalog, m_facts.rootDomain});
    return names;
}

std::optional<DirectoryError> ActiveDirectorySearch::readRecords(const QString &domain,
                                                                 const QByteArrayList &names)
{
    if (!m_facts.netbiosNames.contains(domain) && m_factsAreCached) {
        // A domain that is younger than what is known about the forest.
        m_cache.dropFacts();
        if (auto problem = findFacts())
            return problem;
    }
    const QString netbiosName = m_facts.netbiosNames.value(domain);
    if (netbiosName.isEmpty())
        return DirectoryError{
            Code::Internal,
            QStringLiteral("The domain of '%1' is not one of the forest").arg(text(names.first()))};
    return onSomeServer(Service::Domain, domain,
                        [&](LdapConnection &connection,
                            LdapConnection::TimePoint limit) -> std::optional<DirectoryError> {
                            const auto entries =
                                connection.read(names, m_filter, m_attributes, limit);
                            if (!entries.ok())
                                return entries.error();
                            for (const LdapEntry &entry : entries.value())
                                m_records.insert(entry.name, makeRecord(entry, netbiosName));
                            return std::nullopt;
                        });
}

std::shared_ptr<DirectoryRecord> ActiveDirectorySearch::makeRecord(const LdapEntry &entry,
                                                                   const QString &netbiosName) const
{
    DirectoryDetails details;
    for (const QByteArray &attribute : m_attributes) {
        const QByteArrayList values = entry.attributes.value(attribute.toLower());
        if (!values.isEmpty() && attribute != "objectGUID")
            details.insert(text(attribute), texts(values));
    }
    const auto key = [](const char16_t *name) { return QString::fromUtf16(name); };
    details.insert(key(DirectoryAttribute::MetaNodeLocation),
                   {QStringLiteral("/Active Directory/%1/All Domains").arg(netbiosName)});
    if (m_query.recordType == DirectoryRecordType::Users) {
        details.insert(key(DirectoryAttribute::RecordName),
                       texts(entry.attributes.value("samaccountname")));
        details.insert(key(DirectoryAttribute::PrimaryNTDomain), {netbiosName});
        if (const auto guid = LdapNames::guidText(entry.firstValue("objectguid")))
            details.insert(key(DirectoryAttribute::GUID), {*guid});
    }
    return std::make_shared<ReadRecord>(text(entry.name), details);
}
