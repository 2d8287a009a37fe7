#include "platform/linux/accounts/NameService.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

constexpr std::size_t firstBufferSize = 1024;
/// An account whose entry is larger than this is broken.
constexpr std::size_t largestBufferSize = std::size_t{16} * 1024 * 1024;

NameService::User userOf(const passwd &entry)
{
    return {QByteArray(entry.pw_name), entry.pw_uid, entry.pw_gid, QByteArray(entry.pw_dir)};
}

/// Runs a reentrant lookup with a buffer that grows until the entry fits.
template<typename Entry, typename Lookup, typename Convert>
auto find(Lookup lookup, Convert convert)
    -> Result<std::optional<decltype(convert(std::declval<const Entry &>()))>, NameService::Error>
{
    using Found = std::optional<decltype(convert(std::declval<const Entry &>()))>;
    std::vector<char> buffer(firstBufferSize);
    for (;;) {
        Entry entry{};
        Entry *found = nullptr;
        const int number = lookup(&entry, buffer.data(), buffer.size(), &found);
        if (found)
            return Found(convert(*found));
        switch (number) {
        case ERANGE:
            if (buffer.size() >= largestBufferSize)
                return Failure{NameService::Error{number}};
            buffer.resize(buffer.size() * 4);
            break;
        case EINTR:
            break;
        // By the manual, each of these may say that there is no such entry.
        case 0:
        case ENOENT:
        case ESRCH:
        case EBADF:
        case EPERM:
            return Found();
        default:
            return Failure{NameService::Error{number}};
        }
    }
}

struct FileCloser
{
    void operator()(std::FILE *file) const { std::fclose(file); }
};

} // namespace

Result<std::optional<NameService::User>, NameService::Error>
NameService::userByName(const QByteArray &name)
{
    if (name.isEmpty() || name.contains('\0'))
        return std::optional<User>();
    return find<passwd>(
        [&](passwd *entry, char *buffer, std::size_t size, passwd **found) {
            return getpwnam_r(name.constData(), entry, buffer, size, found);
        },
        userOf);
}

Result<std::optional<NameService::User>, NameService::Error> NameService::userById(quint32 userId)
{
    return find<passwd>(
        [&](passwd *entry, char *buffer, std::size_t size, passwd **found) {
            return getpwuid_r(userId, entry, buffer, size, found);
        },
        userOf);
}

Result<std::optional<NameService::Group>, NameService::Error>
NameService::groupByName(const QByteArray &name)
{
    if (name.isEmpty() || name.contains('\0'))
        return std::optional<Group>();
    return find<group>(
        [&](group *entry, char *buffer, std::size_t size, group **found) {
            return getgrnam_r(name.constData(), entry, buffer, size, found);
        },
        [](const group &entry) {
            return Group{QByteArray(entry.gr_name), entry.gr_gid};
        });
}

QList<quint32> NameService::groupsOfUser(const User &user)
{
    constexpr int mostGroups = 1 << 20;
    int count = 64;
    std::vector<gid_t> groups;
    for (;;) {
        const int size = count;
        groups.resize(static_cast<std::size_t>(size));
        if (getgrouplist(user.name.constData(), user.groupId, groups.data(), &count) >= 0)
            break;
        // The count says what is needed, but databases may change between two calls.
        count = std::max(count, size * 2);
        if (count > mostGroups)
            return {user.groupId};
    }
    groups.resize(static_cast<std::size_t>(count));
    return {groups.begin(), groups.end()};
}

void NameService::forEachUser(const std::function<void(const User &)> &each)
{
    setpwent();
    std::vector<char> buffer(firstBufferSize);
    for (;;) {
        passwd entry{};
        passwd *found = nullptr;
        const int number = getpwent_r(&entry, buffer.data(), buffer.size(), &found);
        if (number == ERANGE && buffer.size() < largestBufferSize) {
            buffer.resize(buffer.size() * 4);
            continue;
        }
        if (number == EINTR)
            continue;
        if (number != 0 || !found)
            break;
        each(userOf(*found));
    }
    endpwent();
}

bool NameService::isInFile(const QByteArray &passwdFile, const User &user)
{
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(passwdFile.constData(), "re"));
    if (!file)
        return false;
    std::vector<char> buffer(firstBufferSize);
    for (;;) {
        passwd entry{};
        passwd *found = nullptr;
        const int number = fgetpwent_r(file.get(), &entry, buffer.data(), buffer.size(), &found);
        if (number == ERANGE && buffer.size() < largestBufferSize) {
            buffer.resize(buffer.size() * 4);
            continue;
        }
        if (number != 0 || !found)
            return false;
        if (user.name == found->pw_name && user.userId == found->pw_uid)
            return true;
    }
}
