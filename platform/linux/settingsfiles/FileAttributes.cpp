#include "platform/linux/settingsfiles/FileAttributes.h"

#include "platform/linux/settingsfiles/FileErrors.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t permissionBits = 07777;
constexpr auto unchanged = static_cast<uid_t>(-1);

/// Also for a file that is not open for anything. False with errno set.
bool own(int file, uid_t user, gid_t group)
{
    if (::fchown(file, user, group) == 0)
        return true;
    return errno == EBADF && ::fchownat(file, "", user, group, AT_EMPTY_PATH) == 0;
}

/// The same.
bool changeMode(int file, mode_t mode)
{
    if (::fchmod(file, mode) == 0)
        return true;
    return errno == EBADF &&
           ::chmod(("/proc/self/fd/" + QByteArray::number(file)).constData(), mode) == 0;
}

/// The number of the account or group in `found`, which was looked up by `name`.
Result<quint32, SettingsFileError> numberOf(Result<QList<IdentityRecord>, IdentityError> found,
                                            const QString &kind, const QString &name)
{
    if (!found) {
        return FileErrors::of(SettingsFileError::Code::System, found.error().localizedDescription);
    }
    if (found.value().isEmpty()) {
        return FileErrors::of(SettingsFileError::Code::UnknownName,
                              QStringLiteral("There is no %1 \"%2\".").arg(kind, name));
    }
    return found.value().first().id;
}

SettingsFileResult stateOf(int file, struct stat &state, const QByteArray &path)
{
    if (::fstat(file, &state) != 0)
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot look at"), path);
    return std::monostate();
}

SettingsFileResult giveOwner(int file, const QString &name, IdentityService &identity,
                             const QByteArray &path)
{
    const auto owner = numberOf(identity.usersWithName(name), QStringLiteral("account"), name);
    if (!owner)
        return Failure{owner.error()};
    struct stat state = {};
    if (auto seen = stateOf(file, state, path); !seen)
        return seen;
    if (state.st_uid != owner.value() && !own(file, owner.value(), unchanged)) {
        return FileErrors::ofSystem(
            errno, QStringLiteral("Cannot make \"%1\" the owner of").arg(name), path);
    }
    return std::monostate();
}

/// `name` is what the group is called in an error's text.
SettingsFileResult giveGroup(int file, quint32 group, const QString &name, const QByteArray &path)
{
    struct stat state = {};
    if (auto seen = stateOf(file, state, path); !seen)
        return seen;
    if (state.st_gid != group && !own(file, unchanged, group)) {
        return FileErrors::ofSystem(
            errno, QStringLiteral("Cannot make \"%1\" the group of").arg(name), path);
    }
    return std::monostate();
}

/// Whichever of the two forms it is given in, if any.
SettingsFileResult giveGroup(int file, const SettingsFileAttributes &attributes,
                             IdentityService &identity, const QByteArray &path)
{
    if (attributes.group) {
        const auto group = numberOf(identity.groupsWithName(*attributes.group),
                                    QStringLiteral("group"), *attributes.group);
        if (!group)
            return Failure{group.error()};
        return giveGroup(file, group.value(), *attributes.group, path);
    }
    if (attributes.groupId)
        return giveGroup(file, *attributes.groupId, QString::number(*attributes.groupId), path);
    return std::monostate();
}

SettingsFileResult giveMode(int file, quint32 mode, const QByteArray &path)
{
    struct stat state = {};
    if (auto seen = stateOf(file, state, path); !seen)
        return seen;
    if ((state.st_mode & permissionBits) != mode && !changeMode(file, mode)) {
        return FileErrors::ofSystem(
            errno, QStringLiteral("Cannot give the mode %1 to").arg(mode, 4, 8, QLatin1Char('0')),
            path);
    }
    return std::monostate();
}

} // namespace

SettingsFileResult FileAttributes::give(int file, const SettingsFileAttributes &attributes,
                                        IdentityService &identity, const QByteArray &path)
{
    // The mode comes last: a change of owner takes some of its bits away.
    if (attributes.owner) {
        if (auto given = giveOwner(file, *attributes.owner, identity, path); !given)
            return given;
    }
    if (auto given = giveGroup(file, attributes, identity, path); !given)
        return given;
    return giveMode(file, attributes.mode, path);
}

void FileAttributes::giveWhatMayBe(int file, const SettingsFileAttributes &attributes,
                                   IdentityService &identity)
{
    if (attributes.owner)
        static_cast<void>(giveOwner(file, *attributes.owner, identity, {}));
    static_cast<void>(giveGroup(file, attributes, identity, {}));
    static_cast<void>(giveMode(file, attributes.mode, {}));
}
