#include "platform/linux/application/SessionPlace.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QTimer>

#include <utility>

namespace {
constexpr int kTakeoverMilliseconds = 5000;
} // namespace

SessionPlace::SessionPlace(QString applicationIdentifier, QObject *object,
                           DiagnosticSink diagnostics)
    : m_identifier(std::move(applicationIdentifier))
    , m_trayName(m_identifier + QStringLiteral(".Tray"))
    , m_path(QLatin1Char('/') + QString(m_identifier).replace(QLatin1Char('.'), QLatin1Char('/')))
    , m_object(object)
    , m_diagnostics(std::move(diagnostics))
    , m_connectionName(QStringLiteral("application"))
    , m_connection(QString())
{
}

SessionPlace::~SessionPlace()
{
    release();
    m_connection = QDBusConnection(QString());
    QDBusConnection::disconnectFromBus(m_connectionName);
}

bool SessionPlace::open()
{
    m_connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    if (!m_connection.isConnected()) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("There is no session bus, so other processes of this program "
                                     "cannot be told from here: %1")
                          .arg(m_connection.lastError().message()));
        return false;
    }
    // Before the name, so that the first call finds it.
    m_connection.registerObject(m_path, m_object, QDBusConnection::ExportAdaptors);
    return true;
}

SessionPlace::Claim SessionPlace::claimResident()
{
    if (!open())
        return Claim::NoBus;
    QDBusConnectionInterface *bus = m_connection.interface();
    if (bus->registerService(m_trayName, QDBusConnectionInterface::DontQueueService,
                             QDBusConnectionInterface::DontAllowReplacement)
            .value() != QDBusConnectionInterface::ServiceRegistered)
        return Claim::Taken;

    const QString owner = bus->serviceOwner(m_identifier).value();
    if (!owner.isEmpty())
        waitForOtherToEnd(owner);
    if (bus->registerService(m_identifier, QDBusConnectionInterface::ReplaceExistingService,
                             QDBusConnectionInterface::DontAllowReplacement)
            .value() != QDBusConnectionInterface::ServiceRegistered) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("The name %1 stays with another process; clicks that the "
                                     "desktop reports do not reach this one.")
                          .arg(m_identifier));
    }
    return Claim::Claimed;
}

void SessionPlace::waitForOtherToEnd(const QString &owner)
{
    m_diagnostics(1, DiagnosticType::Info,
                  QStringLiteral("A process that was started for a notification is asked to end."));
    QEventLoop loop;
    bool answered = true;
    QDBusServiceWatcher watcher(m_identifier, m_connection,
                                QDBusServiceWatcher::WatchForUnregistration);
    connect(&watcher, &QDBusServiceWatcher::serviceUnregistered, &loop, &QEventLoop::quit);
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, [&] {
        answered = false;
        loop.quit();
    });
    limit.start(kTakeoverMilliseconds);
    QDBusPendingCallWatcher call(m_connection.asyncCall(QDBusMessage::createMethodCall(
        owner, m_path, QStringLiteral("com.zevrik.selfservice.Process"),
        QStringLiteral("Terminate"))));
    connect(&call, &QDBusPendingCallWatcher::finished, &loop, [&] {
        if (call.isError()) { // it has ended already, or is none of ours
            answered = false;
            loop.quit();
        }
    });
    // It may have ended before the watcher was there.
    if (m_connection.interface()->serviceOwner(m_identifier).value() == owner)
        loop.exec();
    if (!answered) {
        m_diagnostics(
            1, DiagnosticType::Error,
            QStringLiteral("The process that was asked to end did not; its place is taken "
                           "over."));
    }
}

SessionPlace::Claim SessionPlace::claimActivated(std::function<void()> lost)
{
    if (!open())
        return Claim::NoBus;
    m_lost = std::move(lost);
    QDBusConnectionInterface *bus = m_connection.interface();
    connect(bus, &QDBusConnectionInterface::serviceUnregistered, this, [this](const QString &name) {
        if (name == m_identifier && m_lost)
            m_lost();
    });
    return bus->registerService(m_identifier, QDBusConnectionInterface::DontQueueService,
                                QDBusConnectionInterface::AllowReplacement)
                       .value() == QDBusConnectionInterface::ServiceRegistered
               ? Claim::Claimed
               : Claim::Taken;
}

void SessionPlace::release()
{
    if (!m_connection.isConnected())
        return;
    m_lost = nullptr;
    // Without asking first: giving back what is not owned does nothing.
    for (const QString &name : {m_identifier, m_trayName})
        m_connection.unregisterService(name);
    m_connection.unregisterObject(m_path);
}

void SessionPlace::replyError(const QDBusMessage &call, const QString &reason)
{
    m_connection.send(call.createErrorReply(QDBusError::InvalidArgs, reason));
}
