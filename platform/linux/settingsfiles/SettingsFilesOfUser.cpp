#include "platform/linux/settingsfiles/SettingsFilesOfUser.h"

#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// What `call` returns when it is made by `user`, or why it was not made.
template<typename Call>
auto doneBy(const FileSystemUser &user, Call call) -> decltype(call())
{
    std::optional<decltype(call())> result;
    if (const auto done = user.run([&] { result.emplace(call()); }); !done)
        return Failure{done.error()};
    return std::move(*result);
}

} // namespace

SettingsFilesOfUser::SettingsFilesOfUser(LinuxSettingsFiles files, FileSystemUser user)
    : m_files(std::move(files)), m_user(std::move(user))
{
}

bool SettingsFilesOfUser::exists(const QString &path)
{
    // What cannot be looked at counts as something.
    bool result = true;
    static_cast<void>(m_user.run([&] { result = m_files.exists(path); }));
    return result;
}

Result<SettingsFileAttributes, SettingsFileError>
SettingsFilesOfUser::attributes(const QString &path)
{
    return doneBy(m_user, [&] { return m_files.attributes(path); });
}

SettingsFileResult SettingsFilesOfUser::createDirectory(const QString &path,
                                                        const SettingsFileAttributes &attributes)
{
    return doneBy(m_user, [&] { return m_files.createDirectory(path, attributes); });
}

SettingsFileResult SettingsFilesOfUser::setAttributes(const QString &path,
                                                      const SettingsFileAttributes &attributes)
{
    return doneBy(m_user, [&] { return m_files.setAttributes(path, attributes); });
}

Result<SettingsFileBytes, SettingsFileError>
SettingsFilesOfUser::read(const QString &path, SettingsFileTrust trust, std::size_t limit)
{
    auto result = doneBy(m_user, [&] { return m_files.read(path, trust, limit); });
    if (result || result.error().code != SettingsFileError::Code::NotPermitted)
        return result;
    // A file of his that its mode keeps from himself root may read: it tells nothing of others'.
    const auto own = doneBy(m_user, [&] { return m_files.ownFile(path); });
    if (!own)
        return result;
    const QByteArray anew = "/proc/self/fd/" + QByteArray::number(own.value().number());
    const Descriptor file(::open(anew.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen())
        return result;
    return doneBy(m_user, [&] { return m_files.readOpen(file.number(), path, trust, limit); });
}

SettingsFileResult SettingsFilesOfUser::writeAtomically(const QString &path,
                                                        std::span<const std::byte> bytes,
                                                        const SettingsFileAttributes &initial)
{
    auto replacement = doneBy(m_user, [&] { return m_files.writeBeside(path, bytes, initial); });
    if (!replacement)
        return Failure{replacement.error()};
    // The group that the file of his has already stays, also one that he is not in. Should he have
    // changed the file meanwhile, it is that of another file of his.
    const auto old = replacement.value().place().status();
    if (old && S_ISREG(old->st_mode) && old->st_uid == m_user.userId &&
        initial.groupId == old->st_gid)
        static_cast<void>(
            ::fchown(replacement.value().file(), static_cast<uid_t>(-1), old->st_gid));
    return doneBy(m_user, [&] { return m_files.takePlace(replacement.value()); });
}

SettingsFileResult SettingsFilesOfUser::writeInPlace(const QString &path,
                                                     std::span<const std::byte> bytes)
{
    return doneBy(m_user, [&] { return m_files.writeInPlace(path, bytes); });
}

Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
SettingsFilesOfUser::asUser(const QString &accountName)
{
    return m_files.asUser(accountName);
}
