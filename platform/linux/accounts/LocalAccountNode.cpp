#include "platform/linux/accounts/LocalAccountNode.h"

#include "platform/linux/accounts/AccountName.h"
#include "platform/linux/accounts/NameService.h"
#include "platform/linux/accounts/PamPasswordCheck.h"
#include "platform/linux/accounts/SuPasswordCheck.h"

#include <QSet>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include <unistd.h>

namespace {

constexpr QStringView localGuidPrefix = u"FFFFEEEE-DDDD-CCCC-BBBB-AAAA";

QString text(const char16_t *attribute)
{
    return QString::fromUtf16(attribute);
}

/// The domain of a cached directory account; none for an account of the computer's own.
std::optional<AccountDomain> directoryDomain(const LocalAccountNode::Options &options,
                                             const NameService::User &user, const AccountName &name)
{
    constexpr quint32 firstPersonalId = 1000;
    constexpr quint32 firstServiceId = 60000;
    constexpr quint32 lastServiceId = 65535;
    if (options.domains.isEmpty() || user.userId < firstPersonalId ||
        (user.userId >= firstServiceId && user.userId <= lastServiceId) ||
        NameService::isInFile(options.passwdFile.toLocal8Bit(), user))
        return std::nullopt;
    if (name.dnsDomain.isEmpty() && name.ntDomain.isEmpty())
        return options.domains.first();
    const auto found = std::find_if(
        options.domains.begin(), options.domains.end(), [&](const AccountDomain &domain) {
            return name.ntDomain.isEmpty()
                       ? domain.dnsName.compare(name.dnsDomain, Qt::CaseInsensitive) == 0
                       : domain.netBiosName.compare(name.ntDomain, Qt::CaseInsensitive) == 0;
        });
    if (found == options.domains.end())
        return std::nullopt;
    return *found;
}

class LocalAccountRecord final : public DirectoryRecord
{
public:
    LocalAccountRecord(std::shared_ptr<const LocalAccountNode::Options> options,
                       NameService::User user, DiagnosticSink diagnostics)
        : m_options(std::move(options))
        , m_user(std::move(user))
        , m_diagnostics(std::move(diagnostics))
    {
        const QString name = QString::fromUtf8(m_user.name);
        const AccountName parts = AccountName::parse(name);
        const auto domain = directoryDomain(*m_options, m_user, parts);
        m_isCached = domain.has_value();
        const auto add = [this](const char16_t *attribute, const QString &value) {
            if (!value.isEmpty())
                m_details.insert(text(attribute), {value});
        };
        add(DirectoryAttribute::RecordName, name);
        add(DirectoryAttribute::PrimaryGroupID, QString::number(m_user.groupId));
        add(DirectoryAttribute::NFSHomeDirectory, QString::fromUtf8(m_user.home));
        add(DirectoryAttribute::MetaNodeLocation, text(DirectoryLocalNode));
        if (domain) {
            add(DirectoryAttribute::PrimaryNTDomain, domain->netBiosName);
            add(DirectoryAttribute::sAMAccountName, parts.shortName);
            add(DirectoryAttribute::OriginalNodeName,
                QStringLiteral("/Active Directory/%1/%2")
                    .arg(domain->netBiosName, domain->dnsName));
        } else {
            add(DirectoryAttribute::GUID,
                localGuidPrefix.toString() +
                    QStringLiteral("%1").arg(m_user.userId, 8, 16, QLatin1Char('0')).toUpper());
        }
    }

    [[nodiscard]] QString description() const override
    {
        return QStringLiteral("%1/Users/%2")
            .arg(text(DirectoryLocalNode), QString::fromUtf8(m_user.name));
    }

    [[nodiscard]] Result<DirectoryDetails, DirectoryError> details() override { return m_details; }
    [[nodiscard]] const DirectoryDetails &attributes() const { return m_details; }

    [[nodiscard]] Result<bool, DirectoryError> verifyPassword(std::u16string_view password) override
    {
        // PAM answers root about everybody, an ordinary user about himself, and about a directory's
        // accounts anybody, as a service of root's carries that check out.
        const bool isSomebodyElses = geteuid() != 0 && getuid() != m_user.userId;
        if (isSomebodyElses && !m_isCached)
            return SuPasswordCheck::verify(m_user, password, m_diagnostics);
        return PamPasswordCheck::verify(m_options->pamService, m_user, m_isCached, password);
    }

private:
    std::shared_ptr<const LocalAccountNode::Options> m_options;
    NameService::User m_user;
    DiagnosticSink m_diagnostics;
    DirectoryDetails m_details;
    bool m_isCached = false;
};

bool matches(const LocalAccountRecord &record, const DirectoryQuery &query)
{
    if (query.attribute.isEmpty())
        return true; // only with the match type Any
    const QStringList values = record.attributes().value(query.attribute);
    return std::any_of(values.begin(), values.end(), [&](const QString &value) {
        switch (query.matchType) {
        case DirectoryMatchType::EqualTo:
            return value.compare(query.value, Qt::CaseInsensitive) == 0;
        case DirectoryMatchType::BeginsWith:
            return value.startsWith(query.value, Qt::CaseInsensitive);
        default:
            return true;
        }
    });
}

/// The account of that name. The process's own user goes by his short name as well if he is the
/// directory's: a joined computer's database may know his full name alone.
Result<std::optional<NameService::User>, NameService::Error>
userByEitherName(const LocalAccountNode::Options &options, const QString &name)
{
    auto user = NameService::userByName(name.toUtf8());
    if (!user || user.value())
        return user;
    auto caller = NameService::userById(getuid());
    if (!caller || !caller.value())
        return caller;
    const auto account = AccountName::parse(QString::fromUtf8(caller.value()->name));
    const bool isHis = account.shortName.compare(name, Qt::CaseInsensitive) == 0 &&
                       directoryDomain(options, *caller.value(), account).has_value();
    return isHis ? caller : user;
}

} // namespace

LocalAccountNode::LocalAccountNode(Options options, DiagnosticSink diagnostics)
    : m_options(std::make_shared<const Options>(std::move(options)))
    , m_diagnostics(std::move(diagnostics))
{
}

Result<DirectoryRecords, DirectoryError> LocalAccountNode::query(const DirectoryQuery &query)
{
    const auto invalid = [](const QString &reason) {
        return Failure{DirectoryError{DirectoryError::Code::QueryInvalid, reason}};
    };
    if (query.matchType != DirectoryMatchType::Any &&
        query.matchType != DirectoryMatchType::EqualTo &&
        query.matchType != DirectoryMatchType::BeginsWith)
        return invalid(QStringLiteral("Match type %1 is unknown.").arg(query.matchType));
    if (query.attribute.isEmpty() && query.matchType != DirectoryMatchType::Any)
        return invalid(QStringLiteral("The query names no attribute."));

    DirectoryRecords records;
    if (query.recordType != DirectoryRecordType::Users)
        return records;

    const auto single =
        [&](const Result<std::optional<NameService::User>, NameService::Error> &user)
        -> Result<DirectoryRecords, DirectoryError> {
        if (!user)
            return Failure{
                DirectoryError{DirectoryError::Code::Internal,
                               QStringLiteral("The account database does not answer: %1.")
                                   .arg(QString::fromLocal8Bit(strerror(user.error().number)))}};
        // The database decides what spelling names the account, so the name is not compared again.
        if (user.value())
            records.append(
                std::make_shared<LocalAccountRecord>(m_options, *user.value(), m_diagnostics));
        return records;
    };
    if (query.matchType == DirectoryMatchType::EqualTo &&
        query.attribute == QStringView(DirectoryAttribute::RecordName))
        return single(userByEitherName(*m_options, query.value));
    if (query.matchType == DirectoryMatchType::EqualTo &&
        query.attribute == QStringView(DirectoryAttribute::GUID) &&
        query.value.startsWith(localGuidPrefix, Qt::CaseInsensitive)) {
        bool ok = false;
        const quint32 id = query.value.mid(localGuidPrefix.size()).toUInt(&ok, 16);
        if (!ok || query.value.size() != localGuidPrefix.size() + 8)
            return records;
        return single(NameService::userById(id));
    }

    QSet<QByteArray> seen;
    const auto consider = [&](const NameService::User &user) {
        if ((query.maximumResults > 0 && records.size() >= query.maximumResults) ||
            seen.contains(user.name))
            return;
        seen.insert(user.name);
        auto record = std::make_shared<LocalAccountRecord>(m_options, user, m_diagnostics);
        if (matches(*record, query))
            records.append(std::move(record));
    };
    NameService::forEachUser(consider);
    const auto caller = NameService::userById(getuid());
    if (caller && caller.value())
        consider(*caller.value());
    return records;
}
