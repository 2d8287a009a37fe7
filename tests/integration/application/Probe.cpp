#include "Probe.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusVariant>
#include <QFile>
#include <QTest>
#include <QVariantMap>

namespace Probe {

namespace {
const QString kName = QStringLiteral("com.zevrik.selfservice");

QString logPath()
{
    return qEnvironmentVariable("SESSION_FOLDER") + QStringLiteral("/probe.log");
}

QStringList lines()
{
    QFile file(logPath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
} // namespace

bool waitUntil(const std::function<bool()> &condition, int seconds)
{
    return QTest::qWaitFor(condition, seconds * 1000);
}

void clear()
{
    QFile::remove(logPath());
}

QStringList reports()
{
    QStringList result;
    for (const QString &line : lines())
        result.append(line.section(QLatin1Char(' '), 1));
    return result;
}

QStringList reports(qint64 pid)
{
    QStringList result;
    for (const QString &line : lines()) {
        if (line.section(QLatin1Char(' '), 0, 0).toLongLong() == pid)
            result.append(line.section(QLatin1Char(' '), 1));
    }
    return result;
}

bool waitForReport(const QString &report, int count, int seconds)
{
    return waitUntil([&] { return reports().count(report) >= count; }, seconds);
}

qint64 reporter(const QString &report)
{
    for (const QString &line : lines()) {
        if (line.section(QLatin1Char(' '), 1) == report)
            return line.section(QLatin1Char(' '), 0, 0).toLongLong();
    }
    return 0;
}

void start(QProcess &process, const QStringList &arguments)
{
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(qEnvironmentVariable("APPLICATION_PROBE"), arguments);
    QVERIFY(process.waitForStarted());
}

QDBusMessage callApplication(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(kName, QStringLiteral("/com/zevrik/selfservice"),
                                       QStringLiteral("org.freedesktop.Application"), method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

QDBusMessage activateNotification(const QVariantList &parameters)
{
    return callApplication(QStringLiteral("ActivateAction"),
                           {QStringLiteral("notification"), parameters, QVariantMap()});
}

QString role()
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        kName, QStringLiteral("/com/zevrik/selfservice"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message.setArguments(
        {QStringLiteral("com.zevrik.selfservice.Process"), QStringLiteral("Role")});
    message.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
    return reply.arguments().value(0).value<QDBusVariant>().variant().toString();
}

bool nameIsOwned()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(kName).value();
}

qint64 ownerPid()
{
    return QDBusConnection::sessionBus().interface()->servicePid(kName).value();
}

} // namespace Probe
