#include "platform/linux/settingsfiles/LinuxSettingsFiles.h"

#include "platform/linux/settingsfiles/FileAttributes.h"
#include "platform/linux/settingsfiles/FileContents.h"
#include "platform/linux/settingsfiles/FileErrors.h"
#include "platform/linux/settingsfiles/FileLock.h"
#include "platform/linux/settingsfiles/FilePlace.h"
#include "platform/linux/settingsfiles/FileSystemUser.h"
#include "platform/linux/settingsfiles/SettingsFilesOfUser.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>

namespace {

SettingsFileResult checkTrust(const struct stat &found, const QByteArray &path)
{
    if (found.st_nlink > 1)
        return FileErrors::severalNames(found, path);
    constexpr mode_t writableToOthers = 022;
    if (found.st_uid != FileSystemUser::current() || (found.st_mode & writableToOthers) != 0) {
        return FileErrors::of(
            SettingsFileError::Code::NotTrusted,
            QStringLiteral(
                "%1 is a file of user %2 with the mode %3: others could have written it.")
                .arg(FileErrors::quoted(path), QString::number(found.st_uid),
                     QString::number(found.st_mode & 07777U, 8).rightJustified(4, u'0')));
    }
    return std::monostate();
}

/// The file at `place` for writing over it, with its lock; a new one when there is none.
Result<Descriptor, SettingsFileError> openLocked(const FilePlace &place)
{
    const QDeadlineTimer deadline = FileLock::deadline();
    for (;;) {
        Descriptor file;
        struct stat found = {};
        if (auto opened = place.open(O_WRONLY, false, found)) {
            file = std::move(opened).value();
        } else if (opened.error().code != SettingsFileError::Code::Missing) {
            return Failure{opened.error()};
        } else {
            file = Descriptor(::openat(place.folder(), place.name().constData(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
            if (!file.isOpen() && errno != EEXIST)
                return FileErrors::ofSystem(errno, QStringLiteral("Cannot make"), place.path());
        }
        if (!file.isOpen()) { // another process was faster
            if (deadline.hasExpired())
                return FileLock::notTaken(place.path());
            continue;
        }
        const auto locked =
            FileLock::take(file.number(), FileLock::Kind::Exclusive, deadline, place.path());
        if (!locked)
            return Failure{locked.error()};
        if (::fstat(file.number(), &found) != 0)
            return FileContents::cannotWrite(place.path());
        if (!place.holds(found)) { // replaced while it was waited for
            if (deadline.hasExpired())
                return FileLock::notTaken(place.path());
            continue;
        }
        if (found.st_nlink > 1)
            return FileErrors::severalNames(found, place.path());
        return file;
    }
}

} // namespace

LinuxSettingsFiles::LinuxSettingsFiles(QString rootPrefix,
                                       std::shared_ptr<IdentityService> identity,
                                       SettingsFileDurability durability)
    : m_rootPrefix(std::move(rootPrefix)), m_identity(std::move(identity)), m_durability(durability)
{
}

QByteArray LinuxSettingsFiles::encoded(const QString &path) const
{
    return QFile::encodeName(m_rootPrefix + path);
}

bool LinuxSettingsFiles::exists(const QString &path)
{
    const QByteArray name = encoded(path);
    if (FilePlace::isSurelyTaken(name))
        return true;
    const auto place = FilePlace::find(name);
    if (!place)
        return place.error().code != SettingsFileError::Code::Missing;
    return place.value().status().has_value() || errno != ENOENT;
}

Result<SettingsFileAttributes, SettingsFileError>
LinuxSettingsFiles::attributes(const QString &path)
{
    const auto place = FilePlace::find(encoded(path));
    if (!place)
        return Failure{place.error()};
    const auto found = place.value().status();
    if (!found) {
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot look at"), place.value().path());
    }
    if (!S_ISREG(found->st_mode) && !S_ISDIR(found->st_mode))
        return FileErrors::notPlain(*found, place.value().path());
    const auto owner = m_identity->accountWithId(found->st_uid);
    if (!owner) {
        return FileErrors::of(SettingsFileError::Code::System, owner.error().localizedDescription);
    }
    SettingsFileAttributes result;
    result.mode = found->st_mode & 07777U;
    if (owner.value())
        result.owner = owner.value()->name;
    result.groupId = found->st_gid;
    return result;
}

SettingsFileResult LinuxSettingsFiles::createDirectory(const QString &path,
                                                       const SettingsFileAttributes &attributes)
{
    const auto place = FilePlace::find(encoded(path));
    if (!place)
        return Failure{place.error()};
    const char *name = place.value().name().constData();
    // The other bits come once the folder has its owner.
    if (::mkdirat(place.value().folder(), name, attributes.mode & 0700U) != 0) {
        const int number = errno;
        const auto found = place.value().status();
        if (number == EEXIST && found)
            return FileErrors::isThere(*found, place.value().path());
        return FileErrors::ofSystem(number, QStringLiteral("Cannot make the folder"),
                                    place.value().path());
    }
    const Descriptor folder(
        ::openat(place.value().folder(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat found = {};
    // Where others may write, one of them may have put something else there.
    if (folder.isOpen() && ::fstat(folder.number(), &found) == 0 &&
        found.st_uid == FileSystemUser::current())
        FileAttributes::giveWhatMayBe(folder.number(), attributes, *m_identity);
    return std::monostate();
}

SettingsFileResult LinuxSettingsFiles::setAttributes(const QString &path,
                                                     const SettingsFileAttributes &attributes)
{
    const auto place = FilePlace::find(encoded(path));
    if (!place)
        return Failure{place.error()};
    struct stat found = {};
    auto file = place.value().open(O_RDONLY, true, found);
    if (!file && file.error().code == SettingsFileError::Code::NotPermitted)
        file = place.value().open(O_PATH, true, found); // its mode may keep it from its own owner
    if (!file)
        return Failure{file.error()};
    // By its other name it may be a file of the system's.
    if (S_ISREG(found.st_mode) && found.st_nlink > 1)
        return FileErrors::severalNames(found, place.value().path());
    return FileAttributes::give(file.value().number(), attributes, *m_identity,
                                place.value().path());
}

Result<SettingsFileBytes, SettingsFileError>
LinuxSettingsFiles::read(const QString &path, SettingsFileTrust trust, std::size_t limit)
{
    const auto place = FilePlace::find(encoded(path));
    if (!place)
        return Failure{place.error()};
    struct stat found = {};
    const auto file = place.value().open(O_RDONLY, false, found);
    if (!file)
        return Failure{file.error()};
    return readOpen(file.value().number(), path, trust, limit);
}

Result<SettingsFileBytes, SettingsFileError> LinuxSettingsFiles::readOpen(int file,
                                                                          const QString &path,
                                                                          SettingsFileTrust trust,
                                                                          std::size_t limit) const
{
    const QByteArray name = encoded(path);
    const auto locked = FileLock::take(file, FileLock::Kind::Shared, FileLock::deadline(), name);
    if (!locked)
        return Failure{locked.error()};
    struct stat found = {};
    if (::fstat(file, &found) != 0)
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot read"), name);
    if (trust == SettingsFileTrust::EffectiveUser) {
        if (const auto trusted = checkTrust(found, name); !trusted)
            return Failure{trusted.error()};
    }
    return FileContents::read(file, static_cast<std::size_t>(found.st_size), limit, name);
}

SettingsFileResult LinuxSettingsFiles::synced(int file, const QByteArray &path) const
{
    if (m_durability == SettingsFileDurability::Synced && ::fsync(file) != 0)
        return FileContents::cannotWrite(path);
    return std::monostate();
}

SettingsFileResult LinuxSettingsFiles::writeAtomically(const QString &path,
                                                       std::span<const std::byte> bytes,
                                                       const SettingsFileAttributes &initial)
{
    auto replacement = writeBeside(path, bytes, initial);
    if (!replacement)
        return Failure{replacement.error()};
    return takePlace(replacement.value());
}

Result<Replacement, SettingsFileError>
LinuxSettingsFiles::writeBeside(const QString &path, std::span<const std::byte> bytes,
                                const SettingsFileAttributes &initial) const
{
    auto found = FilePlace::find(encoded(path));
    if (!found)
        return Failure{found.error()};
    const auto place = std::make_shared<const FilePlace>(std::move(found).value());
    Replacement::removeLeftovers(*place);
    if (const auto old = place->status()) {
        if (!S_ISREG(old->st_mode))
            return FileErrors::notPlain(*old, place->path());
        // Its owner could not be given back to the new one.
        if (FileSystemUser::isSomebodyElse() && old->st_uid != FileSystemUser::current())
            return FileErrors::anothers(*old, place->path());
    }
    if (!FileContents::isWithinLimit(bytes.size()))
        return FileContents::cannotWrite(place->path());
    auto replacement = Replacement::beside(place);
    if (!replacement)
        return replacement;
    const int file = replacement.value().file();
    if (auto written = FileContents::write(file, bytes, place->path()); !written)
        return Failure{written.error()};
    // Whole before anybody else may open it.
    FileAttributes::giveWhatMayBe(file, initial, *m_identity);
    return replacement;
}

SettingsFileResult LinuxSettingsFiles::takePlace(Replacement &replacement) const
{
    if (auto onDisk = synced(replacement.file(), replacement.place().path()); !onDisk)
        return onDisk;
    if (auto taken = replacement.takePlace(); !taken)
        return taken;
    if (m_durability == SettingsFileDurability::Synced) {
        // The file is in its place already; that it may not survive a power failure is no reason
        // to say that it was not written.
        const Descriptor folder = replacement.place().openFolder();
        if (folder.isOpen())
            static_cast<void>(::fsync(folder.number()));
    }
    return std::monostate();
}

Result<Descriptor, SettingsFileError> LinuxSettingsFiles::ownFile(const QString &path) const
{
    const auto place = FilePlace::find(encoded(path));
    if (!place)
        return Failure{place.error()};
    struct stat found = {};
    auto file = place.value().open(O_PATH, false, found);
    if (!file)
        return file;
    if (found.st_nlink > 1)
        return FileErrors::severalNames(found, place.value().path());
    if (found.st_uid != FileSystemUser::current())
        return FileErrors::anothers(found, place.value().path());
    return file;
}

SettingsFileResult LinuxSettingsFiles::writeInPlace(const QString &path,
                                                    std::span<const std::byte> bytes)
{
    const auto place = FilePlace::find(encoded(path));
    if (!place)
        return Failure{place.error()};
    const auto file = openLocked(place.value());
    if (!file)
        return Failure{file.error()};
    if (!FileContents::isWithinLimit(bytes.size()) ||
        !FileContents::hasRoom(file.value().number(), bytes.size()) ||
        ::ftruncate(file.value().number(), 0) != 0)
        return FileContents::cannotWrite(place.value().path());
    if (auto written = FileContents::write(file.value().number(), bytes, place.value().path());
        !written)
        return written;
    return synced(file.value().number(), place.value().path());
}

Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
LinuxSettingsFiles::asUser(const QString &accountName)
{
    const auto users = m_identity->usersWithName(accountName);
    if (!users) {
        return FileErrors::of(SettingsFileError::Code::System, users.error().localizedDescription);
    }
    const auto unknown = [&] {
        return FileErrors::of(SettingsFileError::Code::UnknownName,
                              QStringLiteral("There is no account \"%1\".").arg(accountName));
    };
    if (users.value().isEmpty())
        return unknown();
    const quint32 userId = users.value().first().id;
    if (::geteuid() != 0) {
        if (userId == ::geteuid())
            return std::shared_ptr<SettingsFiles>(std::make_shared<LinuxSettingsFiles>(*this));
        return FileErrors::of(
            SettingsFileError::Code::NotPermitted,
            QStringLiteral("Only root may act for the user \"%1\".").arg(accountName));
    }
    const auto account = m_identity->accountWithId(userId);
    if (!account) {
        return FileErrors::of(SettingsFileError::Code::System,
                              account.error().localizedDescription);
    }
    if (!account.value())
        return unknown();
    return std::shared_ptr<SettingsFiles>(std::make_shared<SettingsFilesOfUser>(
        *this,
        FileSystemUser{userId, account.value()->groupId, m_identity->groupsOf(*account.value())}));
}
