#include "platform/linux/accounts/LinuxIdentityService.h"

#include "platform/linux/accounts/AccountName.h"
#include "platform/linux/accounts/NameService.h"

#include <QFile>

#include <cstring>
#include <utility>

#include <unistd.h>

namespace {

Failure<IdentityError> failure(const QString &database, const NameService::Error &error)
{
    return Failure{
        IdentityError{QStringLiteral("The %1 database does not answer: %2.")
                          .arg(database, QString::fromLocal8Bit(strerror(error.number)))}};
}

} // namespace

LinuxIdentityService::LinuxIdentityService(QStringList administratorGroups)
    : m_administratorGroups(std::move(administratorGroups))
{
}

QString LinuxIdentityService::userName()
{
    return AccountName::parse(accountName()).shortName;
}

QString LinuxIdentityService::accountName()
{
    const auto user = NameService::userById(getuid());
    return user && user.value() ? QString::fromUtf8(user.value()->name) : QString();
}

quint32 LinuxIdentityService::effectiveUserId()
{
    return geteuid();
}

Result<std::optional<IdentityAccount>, IdentityError>
LinuxIdentityService::accountWithId(quint32 userId)
{
    const auto user = NameService::userById(userId);
    if (!user)
        return failure(QStringLiteral("account"), user.error());
    if (!user.value())
        return std::optional<IdentityAccount>();
    const NameService::User &found = *user.value();
    return std::optional(
        IdentityAccount{QString::fromUtf8(found.name), found.userId, found.groupId,
                        found.home.startsWith('/') ? QFile::decodeName(found.home) : QString()});
}

QList<quint32> LinuxIdentityService::groupsOf(const IdentityAccount &account)
{
    return NameService::groupsOfUser({account.name.toUtf8(), account.userId, account.groupId, {}});
}

Result<QList<IdentityRecord>, IdentityError>
LinuxIdentityService::usersWithName(const QString &name)
{
    const auto user = NameService::userByName(name.toUtf8());
    if (!user)
        return failure(QStringLiteral("account"), user.error());
    QList<IdentityRecord> records;
    if (user.value())
        records.append({QString::fromUtf8(user.value()->name), user.value()->userId});
    return records;
}

Result<QList<IdentityRecord>, IdentityError>
LinuxIdentityService::groupsWithName(const QString &name)
{
    const QStringList candidates =
        name == QStringLiteral("admin") ? m_administratorGroups : QStringList(name);
    QList<IdentityRecord> records;
    for (const QString &candidate : candidates) {
        const auto group = NameService::groupByName(candidate.toUtf8());
        if (!group)
            return failure(QStringLiteral("group"), group.error());
        if (group.value()) {
            records.append({QString::fromUtf8(group.value()->name), group.value()->groupId});
            break;
        }
    }
    return records;
}

bool LinuxIdentityService::isMember(const IdentityRecord &user, const IdentityRecord &group)
{
    const auto account = NameService::userByName(user.name.toUtf8());
    return account && account.value() && account.value()->userId == user.id &&
           NameService::groupsOfUser(*account.value()).contains(group.id);
}
