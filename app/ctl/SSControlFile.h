#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// Files that the user of a command names.
namespace SSControlFile {

/// A file's contents, or why they cannot be had, which names the file.
struct Contents
{
    std::optional<QByteArray> bytes;
    QString failure;
};

/// A regular file of at most `most` bytes; `tooLong` is what is said of a longer one.
[[nodiscard]] Contents read(const QString &path, qint64 most, const QString &tooLong);

} // namespace SSControlFile
