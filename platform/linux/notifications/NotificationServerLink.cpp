#include "platform/linux/notifications/NotificationServerLink.h"

#include "platform/linux/notifications/NotificationProtocol.h"

#include <QDBusPendingCallWatcher>
#include <QSocketNotifier>
#include <QTimer>
#include <QVariantMap>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <unistd.h>

using Stage = NotificationEntry::Stage;
using Clock = std::chrono::steady_clock;

namespace {

const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kBusService = QStringLiteral("org.freedesktop.DBus");
const QString kBusPath = QStringLiteral("/org/freedesktop/DBus");

constexpr int kNoTimeout = std::numeric_limits<int>::max();
constexpr quint64 kMaximumAttempts = 3;

QString nextConnectionName()
{
    static std::atomic<unsigned> number{0};
    return QStringLiteral("notification-center-%1").arg(++number);
}

QDBusConnection none()
{
    return QDBusConnection(QString());
}

} // namespace

NotificationServerLink::NotificationServerLink(std::shared_ptr<NotificationState> state,
                                               NotificationCenterOptions options,
                                               std::function<void()> quit)
    : m_state(std::move(state))
    , m_options(std::move(options))
    , m_quit(std::move(quit))
    , m_connectionName(nextConnectionName())
    , m_connection(none())
    , m_records(m_options.recordsDirectory)
{
}

NotificationServerLink::~NotificationServerLink()
{
    // The connection is closed on a thread of QtDBus, which must find nothing of this object then.
    if (m_connection.isConnected())
        subscribe(false);
    m_connection = none();
    QDBusConnection::disconnectFromBus(m_connectionName);
}

bool NotificationServerLink::open()
{
    m_connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    if (!m_connection.isConnected()) {
        m_state->log(1, DiagnosticType::Error,
                     QStringLiteral("Notifications are off: there is no session bus."));
        m_state->setBusLost();
        return false;
    }
    subscribe(true);
    takeUpRecords();
    auto *notifier = new QSocketNotifier(m_state->wakeDescriptor(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { woken(); });
    m_state->setInitialised();
    step();
    return true;
}

void NotificationServerLink::subscribe(bool on)
{
    const auto signal = [&](const QString &service, const QString &path, const QString &interface,
                            const QString &name, const QStringList &match, const char *slot) {
        if (on)
            m_connection.connect(service, path, interface, name, match, QString(), this, slot);
        else
            m_connection.disconnect(service, path, interface, name, match, QString(), this, slot);
    };
    // Without a sender in the rule: signals are compared with the server's unique name here, since
    // one that is addressed to this connection passes any rule.
    signal(QString(), kPath, kService, QStringLiteral("ActionInvoked"), {},
           SLOT(onActionInvoked(QDBusMessage)));
    signal(QString(), kPath, kService, QStringLiteral("NotificationClosed"), {},
           SLOT(onNotificationClosed(QDBusMessage)));
    signal(kBusService, kBusPath, kBusService, QStringLiteral("NameOwnerChanged"), {kService},
           SLOT(onNameOwnerChanged(QString, QString, QString)));
    signal(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
           QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), {},
           SLOT(onDisconnected()));
}

void NotificationServerLink::takeUpRecords()
{
    const auto ask = [this](const QString &method, const QVariantList &arguments) {
        QDBusMessage message =
            QDBusMessage::createMethodCall(kBusService, kBusPath, kBusService, method);
        message.setArguments(arguments);
        const QDBusMessage reply = m_connection.call(message, QDBus::Block, kLimitMilliseconds);
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                          : QString();
    };
    m_busId = ask(QStringLiteral("GetId"), {});
    m_server = ask(QStringLiteral("GetNameOwner"), {kService});

    const std::optional<NotificationRecordSet> set = m_records.read();
    if (!set || m_server.isEmpty() || set->busId != m_busId || set->serverName != m_server)
        return;
    m_written = *set;
    const std::lock_guard guard(m_state->lock);
    for (const NotificationRecord &record : set->records) {
        NotificationEntry entry;
        entry.serial = m_state->nextSerial++;
        entry.notification.identifier = record.identifier;
        entry.stage = Stage::Shown;
        entry.id = record.id;
        entry.server = m_server;
        entry.fromEarlierProcess = true;
        for (const std::optional<QString> &removal : m_state->earlyRemovals) {
            if (!removal || *removal == record.identifier) {
                entry.removalAsked = true;
                entry.removalDeadline = Clock::now() + kNotificationLimit;
            }
        }
        m_state->entries.push_front(entry);
    }
}

void NotificationServerLink::woken()
{
    quint64 count = 0;
    [[maybe_unused]] const ssize_t got = ::read(m_state->wakeDescriptor(), &count, sizeof count);
    step();
}

void NotificationServerLink::step()
{
    std::list<Sending> sendings;
    std::list<std::pair<quint64, quint32>> closings;
    bool needsProbe = false;
    bool stop = false;
    m_state->dropOverdue();
    {
        const std::lock_guard guard(m_state->lock);
        stop = m_state->stopRequested;
        for (NotificationEntry &entry : m_state->entries) {
            const bool unsent = entry.stage == Stage::ToSend ||
                                (entry.stage == Stage::Shown && entry.contentChanged);
            if (entry.stage == Stage::Shown && entry.removalAsked && !entry.closeSent) {
                entry.closeSent = true;
                closings.emplace_back(entry.serial, entry.id);
            } else if (unsent && !entry.removalAsked && !stop) {
                if (!m_ready) {
                    needsProbe = true;
                    continue;
                }
                entry.stage = Stage::Sending;
                entry.contentChanged = false;
                entry.activatedAt.reset();
                ++entry.attempt;
                sendings.push_back({entry.serial, entry.attempt,
                                    entry.server == m_server ? entry.id : 0, entry.notification});
                entry.server = m_server;
            }
        }
    }
    for (const auto &[serial, id] : closings)
        close(serial, id);
    for (const Sending &sending : sendings)
        send(sending);
    if (needsProbe) {
        if (m_probing && m_probeLate)
            scheduleUnsent();
        else if (!m_probing)
            probe();
    }
    saveRecords();
    if (stop && !m_finishing) {
        m_finishing = true;
        QTimer::singleShot(kClosedByActivation, this, [this] { m_quit(); });
    }
    finishIfIdle();
}

void NotificationServerLink::finishIfIdle()
{
    if (!m_finishing)
        return;
    {
        const std::lock_guard guard(m_state->lock);
        for (const NotificationEntry &entry : m_state->entries) {
            if (entry.removalAsked)
                return;
        }
    }
    // The loop may not run yet.
    QTimer::singleShot(0, this, [this] { m_quit(); });
}

QDBusMessage NotificationServerLink::serverCall(const QString &service, const QString &method) const
{
    return QDBusMessage::createMethodCall(service, kPath, kService, method);
}

void NotificationServerLink::call(const QDBusMessage &message, Reply reply)
{
    // Limits are kept here, so that an answer that comes after its limit is still seen.
    auto *watcher = new QDBusPendingCallWatcher(m_connection.asyncCall(message, kNoTimeout), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [reply = std::move(reply)](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                reply(finished->reply());
            });
}

QStringList NotificationServerLink::actions(const UserNotification &notification) const
{
    const QString open = notification.actionButtonTitle.value_or(QStringLiteral("Open"));
    QStringList result{kDefaultAction, open};
    if (notification.actionButtonTitle && !m_showsDefaultAsButton)
        result << kMainAction << *notification.actionButtonTitle;
    for (const UserNotificationAction &action : notification.additionalActions)
        result << action.identifier << action.title;
    return result;
}

QString NotificationServerLink::body(const UserNotification &notification) const
{
    const QString text = notification.informativeText.value_or(QString());
    return m_markup ? text.toHtmlEscaped() : text;
}

void NotificationServerLink::send(const Sending &sending)
{
    const UserNotification &notification = sending.notification;
    QDBusMessage message = serverCall(m_server, QStringLiteral("Notify"));
    const QVariantMap hints{
        {QStringLiteral("resident"), true},
        {QStringLiteral("desktop-entry"), m_options.applicationIdentifier},
        {QStringLiteral("urgency"), QVariant::fromValue<uchar>(1)},
    };
    const QString title = notification.title.value_or(QString());
    message.setArguments({m_options.applicationName, sending.replaces, m_options.iconName,
                          title.isEmpty() ? m_options.applicationName : title, body(notification),
                          actions(notification), hints, 0});
    call(message, [this, serial = sending.serial, attempt = sending.attempt,
                   server = m_server](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage)
            sent(serial, attempt, server, reply);
        else
            sendFailed(serial, attempt, server, reply.errorMessage());
    });
    QTimer::singleShot(
        kLimitMilliseconds, this, [this, serial = sending.serial, attempt = sending.attempt] {
            QString identifier;
            bool waits = false;
            {
                const std::lock_guard guard(m_state->lock);
                NotificationEntry *entry = m_state->find(serial);
                if (!entry || entry->stage != Stage::Sending || entry->attempt != attempt)
                    return;
                identifier = entry->notification.identifier;
                m_state->schedule(serial);
                waits = m_state->find(serial) != nullptr;
            }
            m_state->log(1, DiagnosticType::Error,
                         QStringLiteral("The notification server does not answer; notification %1 "
                                        "%2.")
                             .arg(identifier,
                                  waits ? QStringLiteral("waits") : QStringLiteral("is dropped")));
        });
}

void NotificationServerLink::sent(quint64 serial, quint64 attempt, const QString &server,
                                  const QDBusMessage &reply)
{
    const quint32 id = reply.arguments().value(0).toUInt();
    bool orphan = false;
    QString identifier;
    {
        const std::lock_guard guard(m_state->lock);
        NotificationEntry *entry = m_state->find(serial);
        orphan = !entry || entry->attempt != attempt || server != m_server;
        if (!orphan) {
            entry->stage = Stage::Shown;
            entry->id = id;
            entry->server = server;
            identifier = entry->notification.identifier;
        }
    }
    if (orphan) {
        if (server == m_server)
            close(0, id);
        return;
    }
    m_state->log(2, DiagnosticType::Info,
                 QStringLiteral("Notification %1 is shown, id %2.").arg(identifier).arg(id));
    takeUpKept();
    step();
}

void NotificationServerLink::sendFailed(quint64 serial, quint64 attempt, const QString &server,
                                        const QString &error)
{
    {
        const std::lock_guard guard(m_state->lock);
        NotificationEntry *entry = m_state->find(serial);
        if (!entry || entry->stage != Stage::Sending || entry->attempt != attempt)
            return;
        m_state->schedule(serial);
        entry = m_state->find(serial);
        if (entry && server != m_server && attempt < kMaximumAttempts)
            entry->stage = Stage::ToSend;
    }
    m_state->log(1, DiagnosticType::Error,
                 QStringLiteral("The notification server refused a notification: %1").arg(error));
    step();
}

void NotificationServerLink::close(quint64 serial, quint32 id)
{
    QDBusMessage message = serverCall(m_server, QStringLiteral("CloseNotification"));
    message.setArguments({id});
    call(message, [this, serial](const QDBusMessage &reply) {
        {
            const std::lock_guard guard(m_state->lock);
            // An error means that the server shows none of this id. Some servers tell of the
            // closing only the process that had sent the notification.
            m_state->entries.remove_if([&](const NotificationEntry &entry) {
                return entry.serial == serial && entry.removalAsked &&
                       (entry.fromEarlierProcess || reply.type() == QDBusMessage::ErrorMessage);
            });
        }
        saveRecords();
        finishIfIdle();
    });
    QTimer::singleShot(kLimitMilliseconds, this, [this] {
        m_state->dropOverdue();
        saveRecords();
        finishIfIdle();
    });
}

void NotificationServerLink::saveRecords()
{
    NotificationRecordSet set{m_busId, m_server, {}};
    {
        const std::lock_guard guard(m_state->lock);
        for (const NotificationEntry &entry : m_state->entries) {
            if (entry.id != 0 && entry.server == m_server)
                set.records.append({entry.id, entry.notification.identifier});
        }
    }
    if (set.records == m_written.records &&
        (set.records.isEmpty() || set.serverName == m_written.serverName))
        return;
    m_written = set;
    if (!m_records.write(set)) {
        m_state->log(1, DiagnosticType::Error,
                     QStringLiteral("The record of the shown notifications could not be kept: %1.")
                         .arg(QString::fromLocal8Bit(std::strerror(errno))));
    }
}
