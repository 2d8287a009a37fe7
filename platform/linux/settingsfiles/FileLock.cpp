#include "platform/linux/settingsfiles/FileLock.h"

#include "platform/linux/settingsfiles/FileErrors.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <sys/file.h>

namespace {
using namespace std::chrono_literals;
constexpr auto longestWait = 1000ms;
/// flock() itself either does not wait or waits for ever.
constexpr auto betweenTries = 2ms;
} // namespace

QDeadlineTimer FileLock::deadline()
{
    return QDeadlineTimer(longestWait);
}

SettingsFileResult FileLock::take(int file, Kind kind, const QDeadlineTimer &deadline,
                                  const QByteArray &path)
{
    const int operation = (kind == Kind::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    while (::flock(file, operation) != 0) {
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK)
            return FileErrors::ofSystem(errno, QStringLiteral("Cannot lock"), path);
        if (deadline.hasExpired())
            return notTaken(path);
        std::this_thread::sleep_for(betweenTries);
    }
    return std::monostate();
}

Failure<SettingsFileError> FileLock::notTaken(const QByteArray &path)
{
    return FileErrors::of(
        SettingsFileError::Code::Locked,
        QStringLiteral("Another process keeps %1 locked.").arg(FileErrors::quoted(path)));
}

bool FileLock::tryTake(int file)
{
    return ::flock(file, LOCK_EX | LOCK_NB) == 0;
}
