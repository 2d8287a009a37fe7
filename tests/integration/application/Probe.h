#pragma once

#include <QDBusMessage>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <functional>

/// The program under test, and what every run of it reported.
namespace Probe {

[[nodiscard]] bool waitUntil(const std::function<bool()> &condition, int seconds = 60);
void clear();
/// All reports in their order, without the process ids.
[[nodiscard]] QStringList reports();
/// Those of one process.
[[nodiscard]] QStringList reports(qint64 pid);
[[nodiscard]] bool waitForReport(const QString &report, int count = 1, int seconds = 60);
/// The process that reported this first; 0 if none did.
[[nodiscard]] qint64 reporter(const QString &report);

void start(QProcess &process, const QStringList &arguments);
[[nodiscard]] QDBusMessage callApplication(const QString &method, const QVariantList &arguments);
[[nodiscard]] QDBusMessage activateNotification(const QVariantList &parameters);
[[nodiscard]] QString role();
[[nodiscard]] bool nameIsOwned();
[[nodiscard]] qint64 ownerPid();

} // namespace Probe
