#pragma once

#include "platform/Result.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <string_view>

/// Record types that the program asks for.
enum class DirectoryRecordType {
    Users,
    /// The type under which the directory serves objects of the class "serviceConnectionPoint".
    FileMakerServers,
};

/// How a condition's value is compared. The values are part of the log format.
namespace DirectoryMatchType {
inline constexpr quint32 Any = 0x0001;
inline constexpr quint32 EqualTo = 0x2001;
inline constexpr quint32 BeginsWith = 0x2002;
} // namespace DirectoryMatchType

/// Node types. The authentication search node answers from local accounts, then from the directory.
namespace DirectoryNodeType {
inline constexpr quint32 Authentication = 0x2201;
} // namespace DirectoryNodeType

inline constexpr char16_t DirectoryLocalNode[] = u"/Local/Default";

/// Attribute names as they appear in record details. Raw directory attributes ("sAMAccountName",
/// "keywords", "serviceDNSName", "objectClass") keep their own names.
namespace DirectoryAttribute {
inline constexpr char16_t RecordName[] = u"dsAttrTypeStandard:RecordName";
inline constexpr char16_t GUID[] = u"dsAttrTypeStandard:GeneratedUID";
inline constexpr char16_t PrimaryNTDomain[] = u"dsAttrTypeStandard:PrimaryNTDomain";
inline constexpr char16_t OriginalNodeName[] = u"dsAttrTypeStandard:OriginalNodeName";
inline constexpr char16_t PrimaryGroupID[] = u"dsAttrTypeStandard:PrimaryGroupID";
inline constexpr char16_t OriginalNFSHomeDirectory[] =
    u"dsAttrTypeStandard:OriginalNFSHomeDirectory";
inline constexpr char16_t NFSHomeDirectory[] = u"dsAttrTypeStandard:NFSHomeDirectory";
/// Where a record comes from: /Active Directory/<NetBIOS domain>/All Domains, or the local node.
inline constexpr char16_t MetaNodeLocation[] = u"dsAttrTypeStandard:AppleMetaNodeLocation";
inline constexpr char16_t sAMAccountName[] = u"sAMAccountName";
inline constexpr char16_t keywords[] = u"keywords";
inline constexpr char16_t serviceDNSName[] = u"serviceDNSName";
inline constexpr char16_t objectClass[] = u"objectClass";
} // namespace DirectoryAttribute

/// Attribute name to values, in the directory's order. An absent attribute has no key.
using DirectoryDetails = QMap<QString, QStringList>;

/// Why a directory operation gave no answer.
struct DirectoryError
{
    enum class Code {
        NodeUnknown,           ///< no node of that name or type
        NotConfigured,         ///< no domain is known: the machine is not joined and none is set
        ServerUnreachable,     ///< no server of the domain answered
        CredentialsMissing,    ///< no Kerberos ticket, or it has expired
        AuthenticationRefused, ///< a wrong password or a refused bind
        ProtectionRefused,     ///< the connection could not be made authenticated and protected
        TimedOut,              ///< the operation's limit passed
        PartialResult,         ///< the server broke off or gave only part of the answer
        QueryInvalid,          ///< the query makes no sense to this node
        FileUnreadable,        ///< a file behind the node cannot be read or parsed
        CannotTell,            ///< this process may not ask that question
        Internal,
    };
    Code code = Code::Internal;
    /// One line for the log and for an administrator; carries no secret.
    QString localizedDescription;
};

/// One condition and the attributes wanted back.
struct DirectoryQuery
{
    DirectoryRecordType recordType = DirectoryRecordType::Users;
    QString attribute;
    quint32 matchType = DirectoryMatchType::EqualTo;
    QString value;
    QStringList returnAttributes;
    int maximumResults = 0; ///< 0: no limit
};

/// One record of a query's answer. Holds what was read; asks the directory nothing by itself but
/// for verifyPassword.
class DirectoryRecord
{
public:
    virtual ~DirectoryRecord() = default;

    /// The record as a log line shows it, such as its distinguished name.
    [[nodiscard]] virtual QString description() const = 0;

    /// Every attribute that the directory gives for the record.
    [[nodiscard]] virtual Result<DirectoryDetails, DirectoryError> details() = 0;

    /// Whether `password` (UTF-16, host byte order) is the record's. An error when this cannot be
    /// told or the answer is no for a reason worth a log line. Blocks; a wrong password may take
    /// seconds. Every copy made of the password is wiped before returning.
    [[nodiscard]] virtual Result<bool, DirectoryError>
    verifyPassword(std::u16string_view password) = 0;
};

using DirectoryRecords = QList<std::shared_ptr<DirectoryRecord>>;

/// A node that has been opened.
class DirectoryNode
{
public:
    virtual ~DirectoryNode() = default;

    /// The whole answer or an error, never a part of it. Blocks, with a limit of 20 s for
    /// everything that it takes.
    [[nodiscard]] virtual Result<DirectoryRecords, DirectoryError>
    query(const DirectoryQuery &query) = 0;
};

/// The default connection to the directory. Main thread; blocks.
class DirectoryService
{
public:
    virtual ~DirectoryService() = default;

    [[nodiscard]] virtual Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithName(const QString &name) = 0;
    [[nodiscard]] virtual Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithType(quint32 type) = 0;
};
