#pragma once

#include "platform/SettingsFiles.h"

#include <QByteArray>

#include <sys/stat.h>

/// The errors of this folder's calls, in words for the log.
namespace FileErrors {

[[nodiscard]] Failure<SettingsFileError> of(SettingsFileError::Code code, const QString &text);

/// What the system said when `action` ("Cannot open") was tried on `path`; `number` is errno's.
[[nodiscard]] Failure<SettingsFileError> ofSystem(int number, const QString &action,
                                                  const QByteArray &path);

/// What stands at `path` is no regular file.
[[nodiscard]] Failure<SettingsFileError> notPlain(const struct stat &found, const QByteArray &path);

/// What stands at `path` stands in the way of a new folder.
[[nodiscard]] Failure<SettingsFileError> isThere(const struct stat &found, const QByteArray &path);

/// On the way to `path` stands something under `name` that is no folder, or a link that is not
/// trusted.
[[nodiscard]] Failure<SettingsFileError> inTheWay(const struct stat &found, const QByteArray &name,
                                                  const QByteArray &path);

/// The file at `path` has other names besides.
[[nodiscard]] Failure<SettingsFileError> severalNames(const struct stat &found,
                                                      const QByteArray &path);

/// The file at `path` is not that of the user who is acted for.
[[nodiscard]] Failure<SettingsFileError> anothers(const struct stat &found, const QByteArray &path);

[[nodiscard]] QString quoted(const QByteArray &path);

} // namespace FileErrors
