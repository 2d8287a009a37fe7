#include "platform/linux/settingsfiles/Replacement.h"

#include "platform/linux/settingsfiles/FileErrors.h"
#include "platform/linux/settingsfiles/FileLock.h"

#include <QList>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>

namespace {

constexpr char digits[] = "0123456789abcdefghjkmnpqrstvwxyz"; // 32 of them
constexpr std::size_t randomSize = 16;
constexpr char suffix[] = ".tmp";
constexpr int mostTries = 100;

QByteArray prefixFor(const QByteArray &name)
{
    return '.' + name + '.';
}

std::optional<QByteArray> newName(const QByteArray &name)
{
    std::array<std::uint8_t, randomSize> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        return std::nullopt;
    QByteArray result = prefixFor(name);
    for (const std::uint8_t byte : random)
        result.append(digits[byte % 32U]);
    return result + suffix;
}

/// Whether a file of that name is one of ours beside the file `name`.
bool isReplacementOf(const QByteArray &name, const QByteArray &candidate)
{
    const QByteArray prefix = prefixFor(name);
    if (!candidate.startsWith(prefix) || !candidate.endsWith(suffix))
        return false;
    const QByteArray middle =
        candidate.sliced(prefix.size()).chopped(static_cast<qsizetype>(sizeof suffix) - 1);
    return middle.size() == randomSize &&
           std::all_of(middle.cbegin(), middle.cend(),
                       [](char character) { return QByteArrayView(digits).contains(character); });
}

struct FolderCloser
{
    void operator()(DIR *folder) const { ::closedir(folder); }
};

QList<QByteArray> namesIn(const FilePlace &place)
{
    Descriptor descriptor = place.openFolder();
    if (!descriptor.isOpen())
        return {};
    const std::unique_ptr<DIR, FolderCloser> folder(::fdopendir(descriptor.release()));
    QList<QByteArray> names;
    while (const dirent *entry = folder ? ::readdir(folder.get()) : nullptr) {
        if (isReplacementOf(place.name(), entry->d_name))
            names.append(entry->d_name);
    }
    return names;
}

} // namespace

Replacement::Replacement(std::shared_ptr<const FilePlace> place, QByteArray name, Descriptor file)
    : m_place(std::move(place)), m_name(std::move(name)), m_file(std::move(file))
{
}

Replacement::Replacement(Replacement &&other) noexcept
    : m_place(std::move(other.m_place))
    , m_name(std::exchange(other.m_name, {}))
    , m_file(std::move(other.m_file))
{
}

Replacement::~Replacement()
{
    if (!m_name.isEmpty())
        ::unlinkat(m_place->folder(), m_name.constData(), 0);
}

Result<Replacement, SettingsFileError>
Replacement::beside(const std::shared_ptr<const FilePlace> &place)
{
    for (int i = 0; i < mostTries; ++i) {
        const auto name = newName(place->name());
        Descriptor file;
        if (name) {
            file = Descriptor(::openat(place->folder(), name->constData(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        }
        if (!file.isOpen()) {
            if (errno == EEXIST)
                continue;
            return FileErrors::ofSystem(
                errno, QStringLiteral("Cannot make a temporary file beside"), place->path());
        }
        Replacement replacement(place, *name, std::move(file));
        // Before it was locked, somebody else may have taken it for a leftover and removed it.
        struct stat state = {};
        if (FileLock::tryTake(replacement.file()) && ::fstat(replacement.file(), &state) == 0 &&
            state.st_nlink > 0)
            return replacement;
    }
    return FileErrors::ofSystem(EEXIST, QStringLiteral("Cannot make a temporary file beside"),
                                place->path());
}

SettingsFileResult Replacement::takePlace()
{
    if (::renameat(m_place->folder(), m_name.constData(), m_place->folder(),
                   m_place->name().constData()) != 0)
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot replace"), m_place->path());
    m_name.clear();
    return std::monostate();
}

void Replacement::removeLeftovers(const FilePlace &place)
{
    for (const QByteArray &name : namesIn(place)) {
        const Descriptor file(::openat(place.folder(), name.constData(),
                                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
        struct stat state = {};
        if (file.isOpen() && ::fstat(file.number(), &state) == 0 && S_ISREG(state.st_mode) &&
            FileLock::tryTake(file.number()) && ::fstat(file.number(), &state) == 0 &&
            state.st_nlink > 0)
            ::unlinkat(place.folder(), name.constData(), 0);
    }
}
