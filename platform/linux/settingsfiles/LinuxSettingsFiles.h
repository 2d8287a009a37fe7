#pragma once

#include "platform/Identity.h"
#include "platform/SettingsFiles.h"
#include "platform/linux/settingsfiles/Descriptor.h"
#include "platform/linux/settingsfiles/Replacement.h"

#include <QByteArray>

#include <memory>

/// Whether a file is on the disk, and not only in the system's memory, before a write returns.
enum class SettingsFileDurability { Synced, Unsynced };

/// The settings' files in the file system. Locks are advisory (flock): other programs that write to
/// the files in place take them as well. Stateless; any thread.
class LinuxSettingsFiles final : public SettingsFiles
{
public:
    /// `rootPrefix` is put before every path; `identity` knows accounts and groups by their names.
    LinuxSettingsFiles(QString rootPrefix, std::shared_ptr<IdentityService> identity,
                       SettingsFileDurability durability = SettingsFileDurability::Synced);

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

    // What the calls above are made of, for somebody who acts for another user.

    /// writeAtomically() up to the whole file beside its place.
    [[nodiscard]] Result<Replacement, SettingsFileError>
    writeBeside(const QString &path, std::span<const std::byte> bytes,
                const SettingsFileAttributes &initial) const;
    /// The rest of it.
    [[nodiscard]] SettingsFileResult takePlace(Replacement &replacement) const;
    /// The regular file of one name at `path`, if it is the calling thread's user's own, whatever
    /// its mode permits him. Good for looking at and for opening it anew.
    [[nodiscard]] Result<Descriptor, SettingsFileError> ownFile(const QString &path) const;
    /// read() of a file that was opened for it.
    [[nodiscard]] Result<SettingsFileBytes, SettingsFileError>
    readOpen(int file, const QString &path, SettingsFileTrust trust, std::size_t limit) const;

private:
    [[nodiscard]] QByteArray encoded(const QString &path) const;
    /// Brings `file` to the disk where that is wanted.
    [[nodiscard]] SettingsFileResult synced(int file, const QByteArray &path) const;

    QString m_rootPrefix;
    std::shared_ptr<IdentityService> m_identity;
    SettingsFileDurability m_durability;
};
