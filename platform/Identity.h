#pragma once

#include "platform/Result.h"

#include <QList>
#include <QString>

#include <optional>

struct IdentityError
{
    QString localizedDescription;
};

/// A user or a group as the computer knows it.
struct IdentityRecord
{
    QString name;
    quint32 id = 0; ///< numeric user or group id
};

/// An account as the computer's database has it.
struct IdentityAccount
{
    QString name;
    quint32 userId = 0;
    quint32 groupId = 0; ///< the primary group
    QString homeFolder;  ///< an absolute path; empty when the database names none
};

/// Who is who on this computer.
class IdentityService
{
public:
    virtual ~IdentityService() = default;

    /// The login name of the user that this process runs for, in its short form (`jdoe` for
    /// `jdoe@corp.example.test` and `CORP\jdoe`). Directory queries and the web interface use it.
    [[nodiscard]] virtual QString userName() = 0;

    /// The same user's name as the computer's account database spells it, and with it PAM, `su`,
    /// `sudo` and the tools of disk encryption.
    [[nodiscard]] virtual QString accountName() = 0;

    [[nodiscard]] virtual quint32 effectiveUserId() = 0;

    /// The account with that number; none when there is none.
    [[nodiscard]] virtual Result<std::optional<IdentityAccount>, IdentityError>
    accountWithId(quint32 userId) = 0;

    /// The numbers of every group of the account, the primary one included.
    [[nodiscard]] virtual QList<quint32> groupsOf(const IdentityAccount &account) = 0;

    /// User identities of exactly that name; empty when there is none.
    [[nodiscard]] virtual Result<QList<IdentityRecord>, IdentityError>
    usersWithName(const QString &name) = 0;

    /// Group identities of that name; "admin" stands for the administrators' group of this
    /// computer, the first that exists of those configured.
    [[nodiscard]] virtual Result<QList<IdentityRecord>, IdentityError>
    groupsWithName(const QString &name) = 0;

    [[nodiscard]] virtual bool isMember(const IdentityRecord &user,
                                        const IdentityRecord &group) = 0;
};
