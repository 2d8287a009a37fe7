#include "platform/linux/settingsfiles/FileContents.h"

#include "platform/linux/settingsfiles/FileErrors.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

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

} // namespace

Result<SettingsFileBytes, SettingsFileError>
FileContents::read(int file, std::size_t size, std::size_t limit, const QByteArray &path)
{
    if (size > limit) {
        return FileErrors::of(
            SettingsFileError::Code::TooLarge,
            QStringLiteral("%1 has %2 bytes, more than the %3 that are read.")
                .arg(FileErrors::quoted(path), QString::number(size), QString::number(limit)));
    }
    WipedBytes bytes(size);
    const auto filled = readInto(file, bytes.all());
    if (!filled)
        return FileErrors::ofSystem(errno, QStringLiteral("Cannot read"), path);
    if (*filled != size) {
        return FileErrors::of(
            SettingsFileError::Code::System,
            QStringLiteral("%1 became shorter while it was read.").arg(FileErrors::quoted(path)));
    }
    return bytes.take();
}

bool FileContents::isWithinLimit(std::size_t size)
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
        size <= limit.rlim_cur)
        return true;
    errno = EFBIG;
    return false;
}

bool FileContents::hasRoom(int file, std::size_t size)
{
    if (size == 0)
        return true;
    while (::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) != 0) {
        if (errno != EINTR)
            return errno != ENOSPC && errno != EDQUOT && errno != EFBIG;
    }
    return true;
}

Failure<SettingsFileError> FileContents::cannotWrite(const QByteArray &path)
{
    return FileErrors::ofSystem(errno, QStringLiteral("Cannot write"), path);
}

SettingsFileResult FileContents::write(int file, std::span<const std::byte> bytes,
                                       const QByteArray &path)
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
