#include "NotificationTestSession.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QTest>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

using namespace std::chrono_literals;

DiagnosticSink LogRecorder::sink()
{
    return [lines = m_lines](unsigned, DiagnosticType, const QString &message) {
        const std::lock_guard guard(lines->lock);
        lines->lines.append(message);
    };
}

QString LogRecorder::all() const
{
    const std::lock_guard guard(m_lines->lock);
    return m_lines->lines.join(QLatin1Char('\n'));
}

bool LogRecorder::contains(const QString &text) const
{
    return all().contains(text);
}

void ActivationRecorder::didActivateNotification(const UserNotification &notification)
{
    if (onActivation)
        onActivation(notification);
    const std::lock_guard guard(m_lock);
    m_activations.append(notification);
    m_changed.notify_all();
}

QList<UserNotification> ActivationRecorder::waitFor(qsizetype count)
{
    std::unique_lock guard(m_lock);
    m_changed.wait_for(guard, 60s, [&] { return m_activations.size() >= count; });
    return m_activations;
}

namespace {
bool hasServer()
{
    return QDBusConnection::sessionBus()
        .interface()
        ->isServiceRegistered(QStringLiteral("org.freedesktop.Notifications"))
        .value();
}
} // namespace

bool ServerProcess::start(const QString &program, const QStringList &arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program, arguments);
    return m_process.waitForStarted() && NotificationTest::sleepUntil(hasServer);
}

void ServerProcess::stop(bool kill)
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    if (kill)
        m_process.kill();
    else
        m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished();
    }
    QVERIFY(NotificationTest::sleepUntil([] { return !hasServer(); }));
}

ServerProcess::~ServerProcess()
{
    m_process.kill();
    m_process.waitForFinished();
}

QByteArray ServerProcess::readLine()
{
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(60000))
            return QByteArray();
    }
    return m_process.readLine();
}

namespace NotificationTest {

NotificationCenterOptions options()
{
    NotificationCenterOptions result;
    result.applicationIdentifier = QStringLiteral("com.zevrik.selfservice");
    result.applicationName = QStringLiteral("Self Service");
    result.iconName = QStringLiteral("dialog-password");
    result.recordsDirectory =
        NotificationCenterOptions::defaultRecordsDirectory(result.applicationIdentifier);
    return result;
}

std::unique_ptr<LinuxNotificationCenter> center(const LogRecorder &log)
{
    return std::make_unique<LinuxNotificationCenter>(options(), LogRecorder(log).sink());
}

UserNotification enrollNotification()
{
    UserNotification notification;
    notification.identifier = QStringLiteral("{0DA0AD54-B798-4608-8B7E-A517AD2563A6}");
    notification.title = QStringLiteral("Password self-service");
    notification.informativeText =
        QStringLiteral("Enroll <now> & answer \"three\" questions, Zoë.");
    notification.actionButtonTitle = QStringLiteral("Enroll now");
    return notification;
}

UserNotification passwordNotification()
{
    UserNotification notification;
    notification.identifier = QStringLiteral("{09D26182-CA47-4E97-8B65-DC140A6A715D}");
    notification.title = QStringLiteral("Complete your password reset");
    notification.informativeText = QStringLiteral("It must be done.");
    notification.additionalActions = {
        {QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}"), QStringLiteral("Skip")},
        {QStringLiteral("{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}"), QStringLiteral("Later")}};
    return notification;
}

QStringList identifiers(const QList<UserNotification> &notifications)
{
    QStringList result;
    for (const UserNotification &notification : notifications)
        result.append(notification.identifier);
    return result;
}

bool sleepUntil(const std::function<bool()> &condition, int seconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(100ms); // the program's main thread does so as well
    }
    return true;
}

QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        QTest::qFail(qPrintable(program + QStringLiteral(" failed")), __FILE__, __LINE__);
        return QString();
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString script(const QString &name)
{
    return qEnvironmentVariable("NOTIF_TEST_SOURCES") + QLatin1Char('/') + name;
}

void screenshot(const QString &name)
{
    const QString folder = qEnvironmentVariable("NOTIF_SCREENSHOTS");
    QDir().mkpath(folder);
    (void)run(QStringLiteral("import"), {QStringLiteral("-window"), QStringLiteral("root"),
                                         folder + QLatin1Char('/') + name});
}

bool deliverFromKilledProcess()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--deliver-forever")});
    const bool shown = process.waitForReadyRead(60000);
    process.kill();
    process.waitForFinished();
    return shown;
}

bool isDeliveringProcess(int argc, char **argv)
{
    return argc == 2 && std::strcmp(argv[1], "--deliver-forever") == 0;
}

int deliverForever()
{
    LogRecorder log;
    const auto center = NotificationTest::center(log);
    center->deliver(enrollNotification());
    const QString record = options().recordsDirectory + QStringLiteral("/notifications");
    // Nothing tells of it but the file itself.
    if (!sleepUntil([&] { return QFile::exists(record); }))
        return 1;
    std::puts("shown");
    std::fflush(stdout);
    // Until it is killed, or its parent has gone.
    while (std::getchar() != EOF) {
    }
    return 0;
}

} // namespace NotificationTest
