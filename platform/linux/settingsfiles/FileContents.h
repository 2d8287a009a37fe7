#pragma once

#include "platform/SettingsFiles.h"

#include <QByteArray>

#include <cstddef>
#include <span>

/// What is in open files.
namespace FileContents {

/// The `size` bytes that the file has, if that is no more than `limit`.
[[nodiscard]] Result<SettingsFileBytes, SettingsFileError>
read(int file, std::size_t size, std::size_t limit, const QByteArray &path);

/// Whether a file may become so long. False with errno set; the write itself would end the process.
[[nodiscard]] bool isWithinLimit(std::size_t size);

/// Whether the disk has room for so many bytes, before anything is given up for them. False with
/// errno set when it has none; what a file system cannot tell counts as room.
[[nodiscard]] bool hasRoom(int file, std::size_t size);

/// Writes `bytes` from where `file` is.
[[nodiscard]] SettingsFileResult write(int file, std::span<const std::byte> bytes,
                                       const QByteArray &path);

/// Why, by errno.
[[nodiscard]] Failure<SettingsFileError> cannotWrite(const QByteArray &path);

} // namespace FileContents
