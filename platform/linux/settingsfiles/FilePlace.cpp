#include "platform/linux/settingsfiles/FilePlace.h"

#include "platform/linux/settingsfiles/FileErrors.h"

#include <QByteArrayList>

#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

namespace {

/// As many as the kernel follows.
constexpr int mostLinks = 40;

QByteArrayList componentsOf(const QByteArray &path)
{
    QByteArrayList components = path.split('/');
    components.removeIf(
        [](const QByteArray &component) { return component.isEmpty() || component == "."; });
    return components;
}

Descriptor openAt(int folder, const char *name)
{
    return Descriptor(::openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

/// Opens what is at the end of an absolute path in one call, provided that no link of anybody's is
/// on the way. Closed, for whatever reason, when the Walk has to tell.
Descriptor openWithoutLinks(const char *path, quint64 flags)
{
    open_how how = {};
    how.flags = flags | O_PATH | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return Descriptor(static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, path, &how, sizeof how)));
}

/// Goes from the root folder down, one name at a time.
class Walk
{
public:
    explicit Walk(const QByteArray &path) : m_path(path) {}

    Result<Descriptor, SettingsFileError> to(QByteArrayList folders)
    {
        m_folder = openAt(AT_FDCWD, "/");
        int links = 0;
        while (!folders.isEmpty()) {
            const QByteArray name = folders.takeFirst();
            Descriptor next = openAt(m_folder.number(), name.constData());
            struct stat found = {};
            if (!next.isOpen() || ::fstat(next.number(), &found) != 0)
                return FileErrors::ofSystem(errno, QStringLiteral("There is no way to"), m_path);
            if (S_ISDIR(found.st_mode)) {
                m_folder = std::move(next);
                continue;
            }
            const bool isLink = S_ISLNK(found.st_mode);
            // A link of the user's whom root acts for is none of these.
            if (!isLink || (found.st_uid != 0 && found.st_uid != ::geteuid()))
                return FileErrors::inTheWay(found, name, m_path);
            const auto target = targetOf(next);
            if (!target)
                return Failure{target.error()};
            if (++links > mostLinks)
                return FileErrors::ofSystem(ELOOP, QStringLiteral("There is no way to"), m_path);
            if (target.value().startsWith('/'))
                m_folder = openAt(AT_FDCWD, "/");
            folders = componentsOf(target.value()) + folders;
        }
        return std::move(m_folder);
    }

private:
    [[nodiscard]] Result<QByteArray, SettingsFileError> targetOf(const Descriptor &link) const
    {
        std::array<char, PATH_MAX> target{};
        const ssize_t size = ::readlinkat(link.number(), "", target.data(), target.size());
        if (size <= 0)
            return FileErrors::ofSystem(errno, QStringLiteral("There is no way to"), m_path);
        return QByteArray(target.data(), size);
    }

    QByteArray m_path;
    Descriptor m_folder;
};

} // namespace

FilePlace::FilePlace(Descriptor folder, QByteArray name, QByteArray path)
    : m_folder(std::move(folder)), m_name(std::move(name)), m_path(std::move(path))
{
}

bool FilePlace::isSurelyTaken(const QByteArray &path)
{
    return path.startsWith('/') && !path.contains('\0') &&
           openWithoutLinks(path.constData(), 0).isOpen();
}

Result<FilePlace, SettingsFileError> FilePlace::find(const QByteArray &path)
{
    const qsizetype end = path.lastIndexOf('/') + 1;
    QByteArray last = path.sliced(end);
    if (path.startsWith('/') && !path.contains('\0') && !last.isEmpty() && last != "." &&
        last != "..") {
        Descriptor folder =
            openWithoutLinks(path.first(end).constData(), static_cast<quint64>(O_DIRECTORY));
        if (folder.isOpen())
            return FilePlace(std::move(folder), std::move(last), path);
    }
    return walkTo(path);
}

Result<FilePlace, SettingsFileError> FilePlace::walkTo(const QByteArray &path)
{
    QByteArrayList components = componentsOf(path);
    if (!path.startsWith('/') || path.contains('\0') || components.isEmpty() ||
        components.last() == "..") {
        return FileErrors::of(
            SettingsFileError::Code::System,
            QStringLiteral("%1 is no absolute path of a file.").arg(FileErrors::quoted(path)));
    }
    QByteArray name = components.takeLast();
    auto folder = Walk(path).to(std::move(components));
    if (!folder)
        return Failure{folder.error()};
    return FilePlace(std::move(folder).value(), std::move(name), path);
}

std::optional<struct stat> FilePlace::status() const
{
    struct stat found = {};
    if (::fstatat(folder(), m_name.constData(), &found, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return found;
}

bool FilePlace::holds(const struct stat &file) const
{
    const auto found = status();
    return found && found->st_dev == file.st_dev && found->st_ino == file.st_ino;
}

Result<Descriptor, SettingsFileError> FilePlace::open(int flags, bool folders,
                                                      struct stat &found) const
{
    const auto isWanted = [&] {
        return S_ISREG(found.st_mode) || (folders && S_ISDIR(found.st_mode));
    };
    const auto refusal = [&] { return FileErrors::notPlain(found, m_path); };
    const QString cannotOpen = QStringLiteral("Cannot open");
    // Looked at first, as to open a device may already do something.
    const auto before = status();
    if (!before)
        return FileErrors::ofSystem(errno, cannotOpen, m_path);
    found = *before;
    if (!isWanted())
        return refusal();
    Descriptor file(::openat(folder(), m_name.constData(),
                             flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen() || ::fstat(file.number(), &found) != 0)
        return FileErrors::ofSystem(errno, cannotOpen, m_path);
    if (!isWanted()) // replaced meanwhile
        return refusal();
    return file;
}

Descriptor FilePlace::openFolder() const
{
    return Descriptor(::openat(folder(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}
