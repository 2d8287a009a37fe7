#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

/// Runs a command to its end; its exit status, -1 when it did not run.
[[nodiscard]] int run(const QStringList &command, const QByteArray &input = {});

/// Forks, becomes that user for good, runs `work` and gives what it returns. Root's.
[[nodiscard]] QString asUser(quint32 userId, const std::function<QString()> &work);
