#include "platform/linux/settingsfiles/SettingsFilesOfUser.h"

#include <optional>
#include <utility>

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
    return doneBy(m_user, [&] { return m_files.read(path, trust, limit); });
}

SettingsFileResult SettingsFilesOfUser::writeAtomically(const QString &path,
                                                        std::span<const std::byte> bytes,
                                                        const SettingsFileAttributes &initial)
{
    return doneBy(m_user, [&] { return m_files.writeAtomically(path, bytes, initial); });
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
