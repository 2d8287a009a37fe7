#include "platform/embedded/directory/LdifDirectoryService.h"

#include "platform/embedded/directory/LdifDirectory.h"
#include "platform/embedded/directory/LdifPassword.h"
#include "platform/embedded/directory/SearchNode.h"
#include "platform/text/PasswordBytes.h"

#include <QFile>
#include <QFileInfo>

#include <utility>

namespace {

Failure<DirectoryError> failure(DirectoryError::Code code, const QString &text)
{
    return Failure{DirectoryError{code, text}};
}

class LdifRecord final : public DirectoryRecord
{
public:
    LdifRecord(std::shared_ptr<const LdifDirectory> directory, LdifDirectory::Kind kind,
               std::size_t entry)
        : m_directory(std::move(directory)), m_kind(kind), m_entry(entry)
    {
    }

    [[nodiscard]] QString description() const override
    {
        return m_directory->distinguishedName(m_entry);
    }

    [[nodiscard]] Result<DirectoryDetails, DirectoryError> details() override
    {
        return m_directory->details(m_kind, m_entry);
    }

    [[nodiscard]] Result<bool, DirectoryError> verifyPassword(std::u16string_view password) override
    {
        const QByteArrayView stored = m_directory->storedPassword(m_entry);
        if (stored.isNull())
            return failure(DirectoryError::Code::CannotTell,
                           QStringLiteral("The file holds no password of %1.").arg(description()));
        const PasswordBytes bytes(password);
        if (!bytes.isValid())
            return failure(
                DirectoryError::Code::AuthenticationRefused,
                QStringLiteral("The password given for %1 is not valid text.").arg(description()));
        const std::optional<bool> answer = LdifPassword::matches(stored, bytes.bytes());
        if (!answer)
            return failure(DirectoryError::Code::CannotTell,
                           QStringLiteral("The stored password of %1 is of an unknown form.")
                               .arg(description()));
        if (!*answer)
            return failure(DirectoryError::Code::AuthenticationRefused,
                           QStringLiteral("The password of %1 is wrong.").arg(description()));
        return true;
    }

private:
    std::shared_ptr<const LdifDirectory> m_directory;
    LdifDirectory::Kind m_kind;
    std::size_t m_entry;
};

/// One half of the file: the computer's accounts, or the directory.
class LdifNode final : public DirectoryNode
{
public:
    LdifNode(std::shared_ptr<const LdifDirectory> directory, bool local)
        : m_directory(std::move(directory)), m_local(local)
    {
    }

    [[nodiscard]] Result<DirectoryRecords, DirectoryError>
    query(const DirectoryQuery &query) override
    {
        if (query.matchType != DirectoryMatchType::Any &&
            query.matchType != DirectoryMatchType::EqualTo &&
            query.matchType != DirectoryMatchType::BeginsWith)
            return failure(DirectoryError::Code::QueryInvalid,
                           QStringLiteral("Match type %1 is unknown.").arg(query.matchType));
        if (query.attribute.isEmpty() && query.matchType != DirectoryMatchType::Any)
            return failure(DirectoryError::Code::QueryInvalid,
                           QStringLiteral("The query names no attribute."));
        DirectoryRecords records;
        const bool users = query.recordType == DirectoryRecordType::Users;
        if (m_local && !users)
            return records;
        const auto kind = m_local ? LdifDirectory::Kind::Account
                          : users ? LdifDirectory::Kind::User
                                  : LdifDirectory::Kind::ConnectionPoint;
        for (const std::size_t entry : m_directory->entriesOfKind(kind)) {
            if (!m_directory->matches(kind, entry, query))
                continue;
            records.append(std::make_shared<LdifRecord>(m_directory, kind, entry));
            if (query.maximumResults > 0 && records.size() >= query.maximumResults)
                break;
        }
        return records;
    }

private:
    std::shared_ptr<const LdifDirectory> m_directory;
    bool m_local;
};

} // namespace

LdifDirectoryService::LdifDirectoryService(QString ldifPath, DiagnosticSink diagnostics)
    : m_path(std::move(ldifPath)), m_diagnostics(std::move(diagnostics))
{
}

LdifDirectoryService::~LdifDirectoryService() = default;

Result<std::shared_ptr<DirectoryNode>, DirectoryError>
LdifDirectoryService::nodeWithName(const QString &name)
{
    if (name != QStringView(DirectoryLocalNode))
        return failure(DirectoryError::Code::NodeUnknown,
                       QStringLiteral("There is no directory node \"%1\".").arg(name));
    auto directory = load();
    if (!directory)
        return Failure{directory.error()};
    return std::shared_ptr<DirectoryNode>(std::make_shared<LdifNode>(directory.value(), true));
}

Result<std::shared_ptr<DirectoryNode>, DirectoryError>
LdifDirectoryService::nodeWithType(quint32 type)
{
    if (type != DirectoryNodeType::Authentication)
        return failure(DirectoryError::Code::NodeUnknown,
                       QStringLiteral("There is no directory node of type %1.").arg(type));
    auto directory = load();
    if (!directory)
        return Failure{directory.error()};
    return std::shared_ptr<DirectoryNode>(std::make_shared<SearchNode>(
        std::make_shared<LdifNode>(directory.value(), true),
        std::make_shared<LdifNode>(directory.value(), false), m_diagnostics));
}

Result<std::shared_ptr<const LdifDirectory>, DirectoryError> LdifDirectoryService::load()
{
    const auto refuse = [this](const QString &reason) {
        return failure(DirectoryError::Code::FileUnreadable,
                       QStringLiteral("The LDIF file %1 cannot be used: %2.").arg(m_path, reason));
    };
    const QFileInfo info(m_path);
    if (!info.exists())
        return refuse(QStringLiteral("it does not exist"));
    // A pipe or a device would be waited for, or never end.
    if (!info.isFile())
        return refuse(QStringLiteral("it is not a regular file"));
    const Stamp stamp{info.size(), info.lastModified(),
                      info.fileTime(QFileDevice::FileMetadataChangeTime)};
    if (m_directory && stamp == m_stamp)
        return m_directory;

    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return refuse(file.errorString());
    const LdifLimits limits;
    if (file.size() > limits.fileBytes)
        return refuse(QStringLiteral("larger than %1 bytes").arg(limits.fileBytes));
    QByteArray text = file.read(file.size());
    if (file.error() != QFileDevice::NoError)
        return refuse(file.errorString());

    auto document = LdifDocument::parse(std::move(text), limits);
    if (!document)
        return refuse(document.error().line > 0 ? QStringLiteral("line %1: %2")
                                                      .arg(document.error().line)
                                                      .arg(document.error().text)
                                                : document.error().text);
    m_directory =
        std::make_shared<const LdifDirectory>(std::move(document).value(), m_path, m_diagnostics);
    m_stamp = stamp;
    return m_directory;
}
