#pragma once

#include "platform/linux/settingsfiles/FileSystemUser.h"
#include "platform/linux/settingsfiles/LinuxSettingsFiles.h"

/// The settings' files in somebody else's hands: every call is one of LinuxSettingsFiles, made with
/// that user's rights, but for what SettingsFiles::asUser() leaves to root. Needs root. Any thread.
class SettingsFilesOfUser final : public SettingsFiles
{
public:
    SettingsFilesOfUser(LinuxSettingsFiles files, FileSystemUser user);

    [[nodiscard]] bool exists(const QString &path) override;
    [[nodiscard]] Result<SettingsFileAttributes, SettingsFileError>
    attributes(const QString &path) override;
    [[nodiscard]] SettingsFileResult
    createDirectory(const QString &path, const SettingsFileAttributes &attributes) override;
    [[nodiscard]] SettingsFileResult
    setAttributes(const QString &path, const SettingsFileAttributes &attributes) override;
    [[nodiscard]] Result<SettingsFileBytes, SettingsFileError>
    read(const QString &path, SettingsFileTrust trust, std::size_t limit) override;
    [[nodiscard]] SettingsFileResult
    writeAtomically(const QString &path, std::span<const std::byte> bytes,
                    const SettingsFileAttributes &initial) override;
    [[nodiscard]] SettingsFileResult writeInPlace(const QString &path,
                                                  std::span<const std::byte> bytes) override;
    [[nodiscard]] Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
    asUser(const QString &accountName) override;

private:
    LinuxSettingsFiles m_files;
    FileSystemUser m_user;
};
