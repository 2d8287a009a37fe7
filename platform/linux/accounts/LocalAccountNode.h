#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"

#include <QList>
#include <QString>

#include <memory>

/// A domain whose users may have accounts on this computer.
struct AccountDomain
{
    QString netBiosName; ///< CORP
    QString dnsName;     ///< corp.example.test
};

/// The local node: the computer's accounts as NSS knows them.
///
/// An account is taken for the cached account of a directory user when all of this holds:
///  - it is not in the passwd file, so that a network source (SSSD, winbind) must have given it;
///  - its numeric id is not below 1000 and not in 60000 to 65535, where the system's own services
///    make up accounts that are in no file either;
///  - its name is `CORP\jdoe` or `jdoe@corp.example.test` with a domain of `domains`, or it names
///    no domain, and then the first of `domains` is its.
/// Its record carries PrimaryNTDomain, sAMAccountName (the short name) and the original node name
/// `/Active Directory/CORP/corp.example.test`. NSS does not know the directory's GUID, so there is
/// none; the search node pairs such an account by domain and name. Any other account has the GUID
/// made from its numeric id and no NT domain.
///
/// A record's password is checked by PAM, or through su when it is somebody else's than the
/// process's user's ("the same user" is one of the same numeric id), no directory account's, and
/// the process is not root's. See PamPasswordCheck and SuPasswordCheck.
class LocalAccountNode final : public DirectoryNode
{
public:
    struct Options
    {
        QList<AccountDomain> domains; ///< the computer's own first; empty when it is not joined
        QString passwdFile = QStringLiteral("/etc/passwd");
        QString pamService = QStringLiteral("zevrikselfservice");
    };

    LocalAccountNode(Options options, DiagnosticSink diagnostics);

    /// Users only; there are no connection points here, so such a query has an empty answer. A
    /// query for a record name is one lookup, as is one for the GUID of a local account; others
    /// go through all accounts that NSS lists, and the caller's own, which may not be listed.
    [[nodiscard]] Result<DirectoryRecords, DirectoryError>
    query(const DirectoryQuery &query) override;

private:
    std::shared_ptr<const Options> m_options; ///< shared with the records
    DiagnosticSink m_diagnostics;
};
