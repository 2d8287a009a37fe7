#include "platform/linux/settingsfiles/FileErrors.h"

#include <QFile>

#include <cerrno>

namespace {

SettingsFileError::Code codeOf(int number)
{
    switch (number) {
    case ENOENT:
        return SettingsFileError::Code::Missing;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return SettingsFileError::Code::NoSpace;
    case EACCES:
    case EPERM:
    case EROFS:
        return SettingsFileError::Code::NotPermitted;
    default:
        return SettingsFileError::Code::System;
    }
}

QString nameOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return QStringLiteral("a file");
    case S_IFDIR:
        return QStringLiteral("a folder");
    case S_IFLNK:
        return QStringLiteral("a symbolic link");
    case S_IFIFO:
        return QStringLiteral("a FIFO");
    case S_IFSOCK:
        return QStringLiteral("a socket");
    default:
        return QStringLiteral("a device");
    }
}

QString described(const struct stat &found)
{
    return QStringLiteral("%1 of user %2").arg(nameOf(found.st_mode)).arg(found.st_uid);
}

} // namespace

QString FileErrors::quoted(const QByteArray &path)
{
    return QStringLiteral("\"%1\"").arg(QFile::decodeName(path));
}

Failure<SettingsFileError> FileErrors::of(SettingsFileError::Code code, const QString &text)
{
    return Failure{SettingsFileError{code, text}};
}

Failure<SettingsFileError> FileErrors::ofSystem(int number, const QString &action,
                                                const QByteArray &path)
{
    return of(codeOf(number),
              QStringLiteral("%1 %2: %3.").arg(action, quoted(path), qt_error_string(number)));
}

Failure<SettingsFileError> FileErrors::notPlain(const struct stat &found, const QByteArray &path)
{
    return of(SettingsFileError::Code::NotPlain,
              QStringLiteral("%1 is %2, not a file.").arg(quoted(path), described(found)));
}

Failure<SettingsFileError> FileErrors::isThere(const struct stat &found, const QByteArray &path)
{
    return of(SettingsFileError::Code::NotPlain,
              QStringLiteral("%1 is there already: %2.").arg(quoted(path), described(found)));
}

Failure<SettingsFileError> FileErrors::inTheWay(const struct stat &found, const QByteArray &name,
                                                const QByteArray &path)
{
    return of(S_ISLNK(found.st_mode) ? SettingsFileError::Code::NotTrusted
                                     : SettingsFileError::Code::NotPlain,
              QStringLiteral("On the way to %1, %2 is %3.")
                  .arg(quoted(path), quoted(name), described(found)));
}

Failure<SettingsFileError> FileErrors::severalNames(const struct stat &found,
                                                    const QByteArray &path)
{
    return of(
        SettingsFileError::Code::NotPlain,
        QStringLiteral("%1 is a file of user %2 that has %3 names (hard links), not one.")
            .arg(quoted(path), QString::number(found.st_uid), QString::number(found.st_nlink)));
}

Failure<SettingsFileError> FileErrors::anothers(const struct stat &found, const QByteArray &path)
{
    return of(
        SettingsFileError::Code::NotPermitted,
        QStringLiteral("%1 is %2, who is somebody else.").arg(quoted(path), described(found)));
}
