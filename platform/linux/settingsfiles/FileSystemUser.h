#pragma once

#include "platform/SettingsFiles.h"

#include <QList>

#include <functional>

#include <sys/types.h>

/// Somebody as whom root may use files: the numbers that the system checks rights by.
struct FileSystemUser
{
    quint32 userId = 0;
    quint32 groupId = 0;
    QList<quint32> groups; ///< the supplementary ones

    /// Runs `work` with his rights and without a capability, on a thread of its own, and waits for
    /// its end; nothing but that thread ever has other rights than before. On an error `work` was
    /// not begun.
    [[nodiscard]] SettingsFileResult run(const std::function<void()> &work) const;

    /// Whose files the calling thread makes.
    [[nodiscard]] static uid_t current();
    /// Whether the calling thread acts for somebody else than the process's effective user.
    [[nodiscard]] static bool isSomebodyElse();
};
