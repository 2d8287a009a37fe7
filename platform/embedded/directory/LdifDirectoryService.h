#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"

#include <QDateTime>
#include <QString>

#include <memory>

class LdifDirectory;

/// The directory read from one LDIF file: the demo's, the tests' and an administrator's dry run.
/// It serves "/Local/Default" and the authentication search node. The file is read when a node is
/// opened and again when its size or one of its times has changed; an unreadable or malformed
/// file makes opening fail with FileUnreadable and the number of the line at fault. At most
/// 256 MiB. No other process, network or account database is asked.
///
/// Directory entries are those that Active Directory exports:
///  - users: objectClass "user" (and not "computer"). Record name and sAMAccountName from
///    "sAMAccountName", the GUID from "objectGUID" (16 bytes in base64 as exported, or text).
///  - connection points: objectClass "serviceConnectionPoint" with "keywords", "serviceDNSName".
///  - domains: objectClass "crossRef" with "nCName" and "nETBIOSName". They name the NT domain of
///    users and the node location of users and connection points; the longest nCName that ends an
///    entry's name counts. In a file without any, the domain is the entry's first "dc" in upper
///    case.
///
/// Local accounts are entries of objectClass "posixAccount" (and not "user"), of any name:
///
///     dn: uid=jdoe,ou=accounts
///     objectClass: posixAccount
///     uid: jdoe                            record name; more values are more names
///     uidNumber: 1000                      gives the GUID when there is no objectGUID
///     gidNumber: 1000                      PrimaryGroupID
///     homeDirectory: /home/jdoe            NFSHomeDirectory
///     originalHomeDirectory: /net/jdoe     optional, OriginalNFSHomeDirectory
///     userPassword: {SSHA256}…             optional: {SSHA256}, {SHA256} or the password itself
///
/// and for the cached account of a directory user, in addition
///
///     originalNodeName: /Active Directory/CORP/corp.example.test
///     primaryNTDomain: CORP
///     sAMAccountName: jdoe
///     objectGUID: 0a1b2c3d-…               the directory user's
///
/// Comparisons ignore case. Passwords are never part of a record's details.
class LdifDirectoryService final : public DirectoryService
{
public:
    LdifDirectoryService(QString ldifPath, DiagnosticSink diagnostics);
    ~LdifDirectoryService() override;

    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithName(const QString &name) override;
    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithType(quint32 type) override;

private:
    struct Stamp
    {
        qint64 size = -1;
        QDateTime modified;
        QDateTime changed;
        bool operator==(const Stamp &) const = default;
    };
    [[nodiscard]] Result<std::shared_ptr<const LdifDirectory>, DirectoryError> load();

    QString m_path;
    DiagnosticSink m_diagnostics;
    Stamp m_stamp;
    std::shared_ptr<const LdifDirectory> m_directory; ///< null until a load went well
};
