#pragma once

#include "platform/Identity.h"

#include <QStringList>

/// Who is who by NSS. The user is the one of the process's real user id; environment variables
/// have no say. Stateless: any thread.
class LinuxIdentityService final : public IdentityService
{
public:
    /// The first group of `administratorGroups` that exists stands for "admin".
    explicit LinuxIdentityService(QStringList administratorGroups = {QStringLiteral("admin"),
                                                                     QStringLiteral("sudo"),
                                                                     QStringLiteral("wheel")});

    /// Both are empty for a user id without an account.
    [[nodiscard]] QString userName() override;
    [[nodiscard]] QString accountName() override;
    [[nodiscard]] quint32 effectiveUserId() override;
    [[nodiscard]] Result<std::optional<IdentityAccount>, IdentityError>
    accountWithId(quint32 userId) override;
    [[nodiscard]] QList<quint32> groupsOf(const IdentityAccount &account) override;
    [[nodiscard]] Result<QList<IdentityRecord>, IdentityError>
    usersWithName(const QString &name) override;
    [[nodiscard]] Result<QList<IdentityRecord>, IdentityError>
    groupsWithName(const QString &name) override;
    /// By primary and supplementary groups. False when the user's name and number are no longer
    /// those of one account.
    [[nodiscard]] bool isMember(const IdentityRecord &user, const IdentityRecord &group) override;

private:
    QStringList m_administratorGroups;
};
