#pragma once

#include "platform/linux/notifications/LinuxNotificationCenter.h"

#include <QDBusConnection>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

/// Keeps what was logged.
class LogRecorder
{
public:
    [[nodiscard]] DiagnosticSink sink();
    [[nodiscard]] bool contains(const QString &text) const;
    [[nodiscard]] QString all() const;

private:
    struct Lines
    {
        std::mutex lock;
        QStringList lines;
    };
    std::shared_ptr<Lines> m_lines = std::make_shared<Lines>();
};

/// Keeps the activations that it is told of.
class ActivationRecorder final : public UserNotificationCenterDelegate
{
public:
    void didActivateNotification(const UserNotification &notification) override;
    [[nodiscard]] bool shouldPresentNotification(const UserNotification &) override { return true; }

    /// Waits, without turning an event loop, for `count` activations; all that came.
    [[nodiscard]] QList<UserNotification> waitFor(qsizetype count);

    std::function<void(const UserNotification &)> onActivation;

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    QList<UserNotification> m_activations;
};

/// A notification server of the test; killed with this object.
class ServerProcess
{
public:
    /// Starts it and waits until it owns the name. False when it does not.
    [[nodiscard]] bool start(const QString &program, const QStringList &arguments = {});
    /// Ends it and waits until the bus has no server.
    void stop(bool kill = false);
    ~ServerProcess();
    [[nodiscard]] QByteArray readLine();

private:
    QProcess m_process;
};

namespace NotificationTest {

[[nodiscard]] NotificationCenterOptions options();
[[nodiscard]] std::unique_ptr<LinuxNotificationCenter> center(const LogRecorder &log);
[[nodiscard]] UserNotification enrollNotification();
/// Without a main button, with the actions "Skip" and "Later".
[[nodiscard]] UserNotification passwordNotification();
[[nodiscard]] QStringList identifiers(const QList<UserNotification> &notifications);

/// Sleeps like the program's main thread, 0.1 s a time and no event loop, until `condition` holds.
[[nodiscard]] bool sleepUntil(const std::function<bool()> &condition, int seconds = 60);

/// Output of a command that must succeed.
[[nodiscard]] QString run(const QString &program, const QStringList &arguments);
/// The file of a script beside the tests.
[[nodiscard]] QString script(const QString &name);
/// Saves the screen under `name` in the build folder.
void screenshot(const QString &name);

/// Runs this program again as the process that delivers `notification` and never ends, and kills
/// it once the notification is shown.
[[nodiscard]] bool deliverFromKilledProcess();
/// What that process does; called first in main().
[[nodiscard]] bool isDeliveringProcess(int argc, char **argv);
int deliverForever();

} // namespace NotificationTest
