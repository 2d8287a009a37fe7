#pragma once

#include "platform/SettingsFiles.h"

#include <QByteArray>
#include <QDeadlineTimer>

/// The advisory lock of an open file, which goes with the descriptor.
namespace FileLock {

enum class Kind { Shared, Exclusive };

/// How long a lock is waited for.
[[nodiscard]] QDeadlineTimer deadline();

/// Takes the lock, or gives up at the deadline with Locked.
[[nodiscard]] SettingsFileResult take(int file, Kind kind, const QDeadlineTimer &deadline,
                                      const QByteArray &path);

/// What take() says at the deadline.
[[nodiscard]] Failure<SettingsFileError> notTaken(const QByteArray &path);

/// Takes it for itself alone if that is possible at once.
[[nodiscard]] bool tryTake(int file);

} // namespace FileLock
