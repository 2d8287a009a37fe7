#include "platform/embedded/directory/SearchNode.h"

#include <QHash>

#include <optional>
#include <utility>

namespace {

QString firstValue(const DirectoryDetails &details, const char16_t *attribute)
{
    return details.value(QString::fromUtf16(attribute)).value(0);
}

/// "g:<GUID>" or "a:<domain>\<name>", ignoring case; none for a record that has neither.
std::optional<QString> guidKey(const DirectoryDetails &details)
{
    const QString guid = firstValue(details, DirectoryAttribute::GUID);
    if (guid.isEmpty())
        return std::nullopt;
    return QStringLiteral("g:") + guid.toLower();
}

std::optional<QString> accountKey(const DirectoryDetails &details)
{
    const QString domain = firstValue(details, DirectoryAttribute::PrimaryNTDomain);
    const QString name = firstValue(details, DirectoryAttribute::sAMAccountName);
    if (domain.isEmpty() || name.isEmpty())
        return std::nullopt;
    return QStringLiteral("a:") + domain.toLower() + u'\\' + name.toLower();
}

/// The cached account that the query asks for by a name with its domain in it, `CORP\jdoe` or
/// `jdoe@corp.example.test`, if the local answer is that account.
std::optional<DirectoryDetails>
accountAskedWithDomain(const DirectoryQuery &query,
                       const Result<DirectoryRecords, DirectoryError> &local)
{
    if (query.recordType != DirectoryRecordType::Users ||
        query.matchType != DirectoryMatchType::EqualTo ||
        query.attribute != QStringView(DirectoryAttribute::RecordName) || !local ||
        local.value().size() != 1)
        return std::nullopt;
    auto details = local.value().first()->details();
    if (!details)
        return std::nullopt;
    const QString name = firstValue(details.value(), DirectoryAttribute::sAMAccountName);
    const QString ntDomain = firstValue(details.value(), DirectoryAttribute::PrimaryNTDomain);
    const QString dnsDomain = firstValue(details.value(), DirectoryAttribute::OriginalNodeName)
                                  .section(QLatin1Char('/'), 3, 3);
    const auto isAsked = [&query](const QString &spelling) {
        return spelling.compare(query.value, Qt::CaseInsensitive) == 0;
    };
    if (name.isEmpty() || !((!ntDomain.isEmpty() && isAsked(ntDomain + QLatin1Char('\\') + name)) ||
                            (!dnsDomain.isEmpty() && isAsked(name + QLatin1Char('@') + dnsDomain))))
        return std::nullopt;
    return std::move(details).value();
}

bool namesIgnoreCase(const QString &attribute)
{
    return attribute == QStringView(DirectoryAttribute::GUID) ||
           attribute == QStringView(DirectoryAttribute::PrimaryNTDomain) ||
           attribute == QStringView(DirectoryAttribute::RecordName) ||
           attribute == QStringView(DirectoryAttribute::sAMAccountName);
}

/// One person's records seen as one. There may be none of the directory's.
class MergedRecord final : public DirectoryRecord
{
public:
    MergedRecord(std::shared_ptr<DirectoryRecord> local, std::shared_ptr<DirectoryRecord> directory,
                 DirectoryDetails details)
        : m_local(std::move(local))
        , m_directory(std::move(directory))
        , m_details(std::move(details))
    {
    }

    [[nodiscard]] QString description() const override
    {
        return m_directory ? m_directory->description() : m_local->description();
    }

    [[nodiscard]] Result<DirectoryDetails, DirectoryError> details() override { return m_details; }

    [[nodiscard]] Result<bool, DirectoryError> verifyPassword(std::u16string_view password) override
    {
        // The computer's answer counts also without a network; the directory is asked only where
        // the computer may not say.
        auto answer = m_local->verifyPassword(password);
        if (answer.ok() || !m_directory || answer.error().code != DirectoryError::Code::CannotTell)
            return answer;
        return m_directory->verifyPassword(password);
    }

private:
    std::shared_ptr<DirectoryRecord> m_local;
    std::shared_ptr<DirectoryRecord> m_directory;
    DirectoryDetails m_details;
};

DirectoryDetails mergedDetails(const DirectoryDetails &local, DirectoryDetails directory)
{
    for (auto it = local.cbegin(); it != local.cend(); ++it) {
        const auto sensitivity =
            namesIgnoreCase(it.key()) ? Qt::CaseInsensitive : Qt::CaseSensitive;
        QStringList &values = directory[it.key()];
        for (const QString &value : it.value()) {
            if (!values.contains(value, sensitivity))
                values.append(value);
        }
    }
    return directory;
}

/// The cached account that was asked for with its domain, and the directory's record of it if that
/// is among `directory`. It goes by the name that it was asked for: the directory's own name of it
/// would say that it is somebody else.
std::shared_ptr<DirectoryRecord> recordWithDomain(const std::shared_ptr<DirectoryRecord> &local,
                                                  DirectoryDetails details, const QString &asked,
                                                  const DirectoryRecords &directory)
{
    const auto key = guidKey(details) ? guidKey : accountKey;
    std::shared_ptr<DirectoryRecord> his;
    for (const auto &record : directory) {
        const auto found = record->details();
        if (!found || key(found.value()) != key(details))
            continue;
        details = mergedDetails(details, found.value());
        his = record;
        break;
    }
    details.remove(QString::fromUtf16(DirectoryAttribute::sAMAccountName));
    details.insert(QString::fromUtf16(DirectoryAttribute::RecordName), {asked});
    return std::make_shared<MergedRecord>(local, std::move(his), std::move(details));
}

DirectoryRecords mergedRecords(const DirectoryRecords &local, const DirectoryRecords &directory)
{
    struct Candidate
    {
        qsizetype index;
        DirectoryDetails details;
    };
    QHash<QString, Candidate> candidates;
    if (!local.isEmpty()) {
        for (qsizetype i = 0; i < directory.size(); ++i) {
            auto details = directory[i]->details();
            if (!details)
                continue; // stays a record of its own, whose reader learns of the failure
            for (const auto &key : {guidKey(details.value()), accountKey(details.value())}) {
                if (key && !candidates.contains(*key))
                    candidates.insert(*key, {i, details.value()});
            }
        }
    }

    DirectoryRecords result;
    QList<bool> merged(directory.size(), false);
    for (const auto &record : local) {
        auto details = record->details();
        std::optional<QString> key;
        if (details) {
            key = guidKey(details.value());
            if (!key)
                key = accountKey(details.value());
        }
        const auto found = key ? candidates.constFind(*key) : candidates.constEnd();
        if (found == candidates.constEnd()) {
            result.append(record);
            continue;
        }
        merged[found->index] = true;
        result.append(std::make_shared<MergedRecord>(
            record, directory[found->index], mergedDetails(details.value(), found->details)));
    }
    for (qsizetype i = 0; i < directory.size(); ++i) {
        if (!merged[i])
            result.append(directory[i]);
    }
    return result;
}

} // namespace

SearchNode::SearchNode(std::shared_ptr<DirectoryNode> localNode,
                       std::shared_ptr<DirectoryNode> directoryNode, DiagnosticSink diagnostics)
    : m_localNode(std::move(localNode))
    , m_directoryNode(std::move(directoryNode))
    , m_diagnostics(std::move(diagnostics))
{
}

Result<DirectoryRecords, DirectoryError> SearchNode::query(const DirectoryQuery &query)
{
    DirectoryQuery asked = query;
    if (asked.recordType == DirectoryRecordType::Users && !asked.returnAttributes.isEmpty()) {
        // What tells that two records are one person is needed whether the caller wants it or not.
        for (const char16_t *attribute :
             {DirectoryAttribute::GUID, DirectoryAttribute::PrimaryNTDomain,
              DirectoryAttribute::sAMAccountName}) {
            const QString name = QString::fromUtf16(attribute);
            if (!asked.returnAttributes.contains(name))
                asked.returnAttributes.append(name);
        }
    }

    const auto report = [this](const QString &message) {
        if (m_diagnostics)
            m_diagnostics(1, DiagnosticType::Error, message);
    };
    auto local = m_localNode->query(asked);
    const auto account = accountAskedWithDomain(query, local);
    if (account) {
        asked.value = firstValue(*account, DirectoryAttribute::sAMAccountName);
        asked.maximumResults = 0; // those of other domains are among them
    }
    auto directory = [&]() -> Result<DirectoryRecords, DirectoryError> {
        if (m_directoryNode)
            return m_directoryNode->query(asked);
        return Failure{DirectoryError{DirectoryError::Code::NotConfigured,
                                      QStringLiteral("No directory domain is configured.")}};
    }();

    if (account) {
        local =
            DirectoryRecords{recordWithDomain(local.value().first(), *account, query.value,
                                              directory ? directory.value() : DirectoryRecords())};
        if (directory)
            return local;
    }
    if (!directory) {
        const bool noDomain = directory.error().code == DirectoryError::Code::NotConfigured;
        if (noDomain && asked.recordType == DirectoryRecordType::Users)
            return local;
        if (!local || local.value().isEmpty()) {
            if (!local)
                report(QStringLiteral("The computer's accounts cannot be searched: %1")
                           .arg(local.error().localizedDescription));
            return directory;
        }
        report(QStringLiteral("The directory did not answer, so only the computer's accounts were "
                              "searched: %1")
                   .arg(directory.error().localizedDescription));
        return local;
    }
    if (!local) {
        report(QStringLiteral("The computer's accounts cannot be searched, so only the directory "
                              "was: %1")
                   .arg(local.error().localizedDescription));
        return directory;
    }
    DirectoryRecords records = mergedRecords(local.value(), directory.value());
    if (query.maximumResults > 0 && records.size() > query.maximumResults)
        records.resize(query.maximumResults);
    return records;
}
