#pragma once

#include "platform/SettingsFiles.h"
#include "platform/linux/posix/Descriptor.h"

#include <QByteArray>

#include <optional>

#include <sys/stat.h>

/// Where a file is or will be: the folder it lies in, held open, and its name there. Whatever is
/// done to the file goes by the two, so that nobody can move the way there in between.
class FilePlace
{
public:
    /// Goes to the folder of the absolute `path`, following those links alone that root or the
    /// effective user owns.
    [[nodiscard]] static Result<FilePlace, SettingsFileError> find(const QByteArray &path);

    /// Whether something is there, a link itself and not its target, and that could be found out at
    /// once. False says nothing.
    [[nodiscard]] static bool isSurelyTaken(const QByteArray &path);

    /// Of the folder; good for *at() calls only.
    [[nodiscard]] int folder() const { return m_folder.number(); }
    [[nodiscard]] const QByteArray &name() const { return m_name; }
    /// The whole path, for messages.
    [[nodiscard]] const QByteArray &path() const { return m_path; }

    /// What is there now, a link itself and not its target. Absent with errno set when it cannot be
    /// looked at.
    [[nodiscard]] std::optional<struct stat> status() const;
    /// Whether `file` is what is there now.
    [[nodiscard]] bool holds(const struct stat &file) const;

    /// Opens what is there, a regular file or, with `folders`, a folder; nothing else is touched.
    /// `flags` say for what; the result's state is put into `found`.
    [[nodiscard]] Result<Descriptor, SettingsFileError> open(int flags, bool folders,
                                                             struct stat &found) const;

    /// The folder, for listing it or bringing it to the disk; closed when that is not permitted.
    [[nodiscard]] Descriptor openFolder() const;

private:
    /// The same as find(), for a path with links on it and for a system that cannot refuse them.
    [[nodiscard]] static Result<FilePlace, SettingsFileError> walkTo(const QByteArray &path);

    FilePlace(Descriptor folder, QByteArray name, QByteArray path);

    Descriptor m_folder;
    QByteArray m_name;
    QByteArray m_path;
};
