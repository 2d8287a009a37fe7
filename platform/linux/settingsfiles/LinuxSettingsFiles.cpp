#include "platform/linux/settingsfiles/LinuxSettingsFiles.h"

#include "platform/linux/settingsfiles/FileAttributes.h"
#include "platform/linux/settingsfiles/FileErrors.h"
#include "platform/linux/settingsfiles/FileLock.h"
#include "platform/linux/settingsfiles/FilePlace.h"
#include "platform/linux/settingsfiles/FileSystemUser.h"
#include "platform/linux/settingsfiles/Replacement.h"
#include "platform/linux/settingsfiles/SettingsFilesOfUser.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>

namespace {

/// Bytes that are wiped unless they are handed on.
class WipedBytes
{
public:
    explicit WipedBytes(std::size_t size) : m_bytes(size) {}
    ~WipedBytes()
    {
        if (!m_bytes.empty())
            ::explicit_bzero(m_bytes.data(), m_bytes.size());
    }
    WipedBytes(const WipedBytes &) = delete;
    WipedBytes &operator=(const WipedBytes &) = delete;
    [[nodiscard]] std::span<std::byte> all() { return m_bytes; }
    [[nodiscard]] SettingsFileBytes take() { return std::move(m_bytes); }

private:
    SettingsFileBytes m_bytes;
};

/// Fills `bytes` from the beginning of `file`; how many there were. None with errno set.
std::optional<std::size_t> readInto(int file, std::span<std::byte> bytes)
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count =
            ::pread(file, bytes.data() + filled, bytes.size() - filled, static_cast<off_t>(filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

/// Whether a file may become so long. False with errno set; the write itself would end the process.
bool isWithinLimit(std::size_t size)
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
        size <= limit.rlim_cur)
        return true;
    errno = EFBIG;
    return false;
}

/// Whether the disk has room for so many bytes, before anything is given up for them. False with
/// errno set when it has none; what a file system cannot tell counts as room.
bool hasRoom(int file, std::size_t size)
{
    if (size == 0)
        return true;
    while (::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) != 0) {
        if (errno != EINTR)
            return errno != ENOSPC && errno != EDQUOT && errno != EFBIG;
    }
    return true;
}

Failure<SettingsFileError> cannotWrite(const QByteArray &path)
{
    return FileErrors::ofSystem(errno, QStringLiteral("Cannot write"), path);
}

/// Writes `bytes` from where `file` is.
SettingsFileResult write(int file, std::span<const std::byte> bytes, const QByteArray &path)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return cannotWrite(path);
        written += static_cast<std::size_t>(count);
    }
    return std::monostate();
}

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
            return cannotWrite(place.path());
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
    const auto file = place.value().open(O_RDONLY, true, found);
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
    const QByteArray &name = place.value().path();
    struct stat found = {};
    const auto file = place.value().open(O_RDONLY, false, found);
    if (!file)
        return Failure{file.error()};
    const auto locked =
        FileLock::take(file.value().number(), FileLock::Kind::Shared, FileLock::deadline(), name);
    if (!locked)
        return Failure{locked.error()};
    if (::fstat(file.value().number(), &found) != 0)
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot read"), name);
    if (trust == SettingsFileTrust::EffectiveUser) {
        if (const auto trusted = checkTrust(found, name); !trusted)
            return Failure{trusted.error()};
    }
    const auto size = static_cast<std::size_t>(found.st_size);
    if (size > limit) {
        return FileErrors::of(
            SettingsFileError::Code::TooLarge,
            QStringLiteral("%1 has %2 bytes, more than the %3 that are read.")
                .arg(FileErrors::quoted(name), QString::number(size), QString::number(limit)));
    }
    WipedBytes bytes(size);
    const auto filled = readInto(file.value().number(), bytes.all());
    if (!filled)
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot read"), name);
    if (*filled != size) {
        return FileErrors::of(
            SettingsFileError::Code::System,
            QStringLiteral("%1 became shorter while it was read.").arg(FileErrors::quoted(name)));
    }
    return bytes.take();
}

SettingsFileResult LinuxSettingsFiles::synced(int file, const QByteArray &path) const
{
    if (m_durability == SettingsFileDurability::Synced && ::fsync(file) != 0)
        return cannotWrite(path);
    return std::monostate();
}

SettingsFileResult LinuxSettingsFiles::writeAtomically(const QString &path,
                                                       std::span<const std::byte> bytes,
                                                       const SettingsFileAttributes &initial)
{
    const auto found = FilePlace::find(encoded(path));
    if (!found)
        return Failure{found.error()};
    const FilePlace &place = found.value();
    Replacement::removeLeftovers(place);
    if (const auto old = place.status()) {
        if (!S_ISREG(old->st_mode))
            return FileErrors::notPlain(*old, place.path());
        // Its owner could not be given back to the new one.
        if (FileSystemUser::isSomebodyElse() && old->st_uid != FileSystemUser::current())
            return FileErrors::anothers(*old, place.path());
    }
    if (!isWithinLimit(bytes.size()))
        return cannotWrite(place.path());
    auto replacement = Replacement::beside(place);
    if (!replacement)
        return Failure{replacement.error()};
    const int file = replacement.value().file();
    if (auto written = write(file, bytes, place.path()); !written)
        return written;
    // Whole before anybody else may open it.
    FileAttributes::giveWhatMayBe(file, initial, *m_identity);
    if (auto onDisk = synced(file, place.path()); !onDisk)
        return onDisk;
    if (auto taken = replacement.value().takePlace(); !taken)
        return taken;
    if (m_durability == SettingsFileDurability::Synced) {
        // The file is in its place already; that it may not survive a power failure is no reason
        // to say that it was not written.
        const Descriptor folder = place.openFolder();
        if (folder.isOpen())
            static_cast<void>(::fsync(folder.number()));
    }
    return std::monostate();
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
    if (!isWithinLimit(bytes.size()) || !hasRoom(file.value().number(), bytes.size()) ||
        ::ftruncate(file.value().number(), 0) != 0)
        return cannotWrite(place.value().path());
    if (auto written = write(file.value().number(), bytes, place.value().path()); !written)
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
