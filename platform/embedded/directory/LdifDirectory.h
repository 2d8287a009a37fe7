#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"
#include "platform/embedded/directory/LdifDocument.h"

#include <vector>

/// An LDIF document understood as a computer's accounts and an Active Directory forest; see
/// LdifDirectoryService.h for the format. Immutable: readable from any thread.
class LdifDirectory
{
public:
    enum class Kind { Account, User, ConnectionPoint };

    /// Entries that cannot be what their class says are reported to `diagnostics`, each in a line
    /// that begins with `source`.
    LdifDirectory(LdifDocument document, const QString &source, const DiagnosticSink &diagnostics);

    /// Indexes of entries, in the file's order.
    [[nodiscard]] const std::vector<std::size_t> &entriesOfKind(Kind kind) const;

    /// Whether a value of the attribute compares as asked, ignoring case as Active Directory does.
    /// An empty attribute matches with DirectoryMatchType::Any alone.
    [[nodiscard]] bool matches(Kind kind, std::size_t entry, const DirectoryQuery &query) const;

    [[nodiscard]] DirectoryDetails details(Kind kind, std::size_t entry) const;
    [[nodiscard]] QString distinguishedName(std::size_t entry) const;

    /// The "userPassword" value as it stands in the file; a null view when there is none. Lives as
    /// long as this object.
    [[nodiscard]] QByteArrayView storedPassword(std::size_t entry) const;

private:
    [[nodiscard]] const LdifDocument::Entry &entry(std::size_t index) const
    {
        return m_document.entries()[index];
    }
    [[nodiscard]] bool hasClass(const LdifDocument::Entry &entry, QByteArrayView name) const;
    /// The name of the raw attribute behind a standard one; empty for one that is computed.
    [[nodiscard]] static QByteArrayView rawName(Kind kind, const QString &attribute);
    [[nodiscard]] QStringList computedValues(Kind kind, const LdifDocument::Entry &entry,
                                             const QString &attribute) const;
    [[nodiscard]] QString guid(Kind kind, const LdifDocument::Entry &entry) const;
    [[nodiscard]] QString netBiosName(const LdifDocument::Entry &entry) const;

    LdifDocument m_document;
    int m_objectClass;
    int m_objectGuid;
    int m_userPassword;
    std::vector<std::size_t> m_accounts;
    std::vector<std::size_t> m_users;
    std::vector<std::size_t> m_connectionPoints;
    QHash<QByteArray, QString> m_netBiosNames; ///< by normalized domain name
};
