#include "platform/linux/settingsfiles/FileSystemUser.h"

#include <cerrno>
#include <system_error>
#include <thread>
#include <vector>

#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr auto ask = static_cast<uid_t>(-1);

/// For the calling thread alone; the library's setgroups() would change every thread. False with
/// errno set.
bool setGroupsOfThread(const QList<quint32> &groups)
{
    const std::vector<gid_t> numbers(groups.cbegin(), groups.cend());
    return ::syscall(SYS_setgroups, numbers.size(), numbers.data()) == 0;
}

/// Of the calling thread, for good. False with errno set.
bool dropCapabilities()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return ::syscall(SYS_capset, &header, none) == 0;
}

/// Makes the calling thread act for `user`, for good. False with errno set.
bool become(const FileSystemUser &user)
{
    // In this order, as each step needs what the later ones take away. The two calls tell no
    // failure, so what they did is asked for.
    if (!setGroupsOfThread(user.groups))
        return false;
    ::setfsgid(user.groupId);
    ::setfsuid(user.userId);
    if (static_cast<gid_t>(::setfsgid(static_cast<gid_t>(-1))) != user.groupId ||
        FileSystemUser::current() != user.userId) {
        errno = EPERM;
        return false;
    }
    return dropCapabilities();
}

SettingsFileResult failure(const FileSystemUser &user, const std::error_code &reason)
{
    return Failure{SettingsFileError{
        SettingsFileError::Code::System,
        QStringLiteral("Cannot act for the user %1: %2.")
            .arg(QString::number(user.userId), QString::fromStdString(reason.message()))}};
}

} // namespace

SettingsFileResult FileSystemUser::run(const std::function<void()> &work) const
{
    int error = 0;
    try {
        std::thread([&] {
            if (become(*this))
                work();
            else
                error = errno;
        }).join();
    } catch (const std::system_error &reason) { // no thread was made
        return failure(*this, reason.code());
    }
    if (error != 0)
        return failure(*this, std::error_code(error, std::generic_category()));
    return std::monostate();
}

uid_t FileSystemUser::current()
{
    return static_cast<uid_t>(::setfsuid(ask));
}

bool FileSystemUser::isSomebodyElse()
{
    return current() != ::geteuid();
}
