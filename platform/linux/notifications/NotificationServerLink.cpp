#include "platform/linux/notifications/NotificationServerLink.h"

#include <QDBusPendingCallWatcher>
#include <QSocketNotifier>
#include <QTimer>
#include <QVariantMap>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <unistd.h>

using Stage = NotificationEntry::Stage;
using Clock = std::chrono::steady_clock;

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kBusService = QStringLiteral("org.freedesktop.DBus");
const QString kBusPath = QStringLiteral("/org/freedesktop/DBus");

const QString kDefaultAction = QStringLiteral("default");
const QString kMainAction = QStringLiteral("activate");

constexpr int kLimitMilliseconds = 5000;
constexpr int kNoTimeout = std::numeric_limits<int>::max();
constexpr std::chrono::milliseconds kClosedByActivation{1000};
constexpr std::chrono::milliseconds kRepeatedSignal{500};
constexpr quint64 kMaximumAttempts = 3;
constexpr std::size_t kClosedRemembered = 8;

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

void NotificationServerLink::probe()
{
    m_probing = true;
    m_probeLate = false;
    const quint64 number = ++m_probeNumber;
    // By the well-known name, so that the bus may start the server.
    call(serverCall(kService, QStringLiteral("GetCapabilities")),
         [this, number](const QDBusMessage &reply) {
             if (number != m_probeNumber)
                 return;
             if (reply.type() != QDBusMessage::ReplyMessage) {
                 probed(false, reply.errorMessage());
                 return;
             }
             m_server = reply.service();
             m_markup =
                 reply.arguments().value(0).toStringList().contains(QStringLiteral("body-markup"));
             call(serverCall(m_server, QStringLiteral("GetServerInformation")),
                  [this, number](const QDBusMessage &information) {
                      if (number != m_probeNumber)
                          return;
                      // This server shows the action of a click on the body as one more button.
                      m_showsDefaultAsButton = information.arguments().value(0).toString() ==
                                               QLatin1String("Xfce Notify Daemon");
                      probed(true, QString());
                  });
         });
    QTimer::singleShot(kLimitMilliseconds, this, [this, number] {
        if (number != m_probeNumber || !m_probing)
            return;
        m_probeLate = true;
        m_state->log(1, DiagnosticType::Error,
                     QStringLiteral("The notification server does not answer."));
        scheduleUnsent();
    });
}

void NotificationServerLink::probed(bool succeeded, const QString &error)
{
    m_probing = false;
    const bool late = std::exchange(m_probeLate, false);
    m_ready = succeeded;
    if (!succeeded) {
        m_state->log(1, DiagnosticType::Error,
                     QStringLiteral("No notification server can be reached: %1").arg(error));
        scheduleUnsent();
        return;
    }
    if (late) {
        const std::lock_guard guard(m_state->lock);
        for (NotificationEntry &entry : m_state->entries) {
            if (entry.stage == Stage::Scheduled)
                entry.stage = Stage::ToSend;
        }
    }
    step();
}

void NotificationServerLink::scheduleUnsent()
{
    const std::lock_guard guard(m_state->lock);
    QList<quint64> serials;
    for (const NotificationEntry &entry : m_state->entries) {
        if (entry.stage == Stage::ToSend)
            serials.append(entry.serial);
    }
    for (const quint64 serial : serials)
        m_state->schedule(serial);
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
            {
                const std::lock_guard guard(m_state->lock);
                NotificationEntry *entry = m_state->find(serial);
                if (!entry || entry->stage != Stage::Sending || entry->attempt != attempt)
                    return;
                identifier = entry->notification.identifier;
                m_state->schedule(serial);
            }
            m_state->log(1, DiagnosticType::Error,
                         QStringLiteral("The notification server does not answer; notification %1 "
                                        "waits.")
                             .arg(identifier));
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

void NotificationServerLink::onNotificationClosed(const QDBusMessage &message)
{
    if (message.service() != m_server || message.arguments().isEmpty())
        return;
    const quint32 id = message.arguments().at(0).toUInt();
    const quint32 reason = message.arguments().value(1).toUInt();
    quint64 redeliver = 0;
    QString identifier;
    {
        const std::lock_guard guard(m_state->lock);
        auto &entries = m_state->entries;
        const auto it =
            std::find_if(entries.begin(), entries.end(), [&](const NotificationEntry &entry) {
                return entry.id == id && entry.server == m_server && entry.stage == Stage::Shown;
            });
        if (it == entries.end())
            return;
        identifier = it->notification.identifier;
        const auto now = Clock::now();
        if (!it->removalAsked && it->activatedAt && now - *it->activatedAt < kClosedByActivation) {
            it->stage = Stage::ClosedByActivation;
            it->id = 0;
            redeliver = it->serial;
        } else {
            if (!it->removalAsked && !it->fromEarlierProcess)
                m_recentlyClosed.push_back({*it, now});
            if (m_recentlyClosed.size() > kClosedRemembered)
                m_recentlyClosed.pop_front();
            entries.erase(it);
        }
    }
    m_state->log(
        2, DiagnosticType::Info,
        QStringLiteral("Notification %1 was closed, reason %2.").arg(identifier).arg(reason));
    if (redeliver != 0)
        redeliverLater(redeliver);
    saveRecords();
    finishIfIdle();
}

void NotificationServerLink::redeliverLater(quint64 serial)
{
    // Whoever was told of the activation has this long to remove the notification.
    QTimer::singleShot(kClosedByActivation, this, [this, serial] {
        {
            const std::lock_guard guard(m_state->lock);
            NotificationEntry *entry = m_state->find(serial);
            if (!entry || entry->stage != Stage::ClosedByActivation)
                return;
            entry->stage = Stage::ToSend;
        }
        step();
    });
}

void NotificationServerLink::onActionInvoked(const QDBusMessage &message)
{
    if (message.service() != m_server || message.arguments().size() < 2)
        return;
    const quint32 id = message.arguments().at(0).toUInt();
    const QString key = message.arguments().at(1).toString();
    const auto now = Clock::now();
    // The same signal may come twice: addressed to this connection and to everybody.
    if (id == m_lastActivatedId && key == m_lastActivatedKey &&
        now - m_lastActivation < kRepeatedSignal)
        return;

    UserNotification notification;
    quint64 redeliver = 0;
    {
        const std::lock_guard guard(m_state->lock);
        auto &entries = m_state->entries;
        const auto matches = [&](const NotificationEntry &entry) {
            return entry.id == id && entry.server == m_server;
        };
        auto it = std::find_if(entries.begin(), entries.end(), matches);
        if (it == entries.end()) {
            // A server may tell of the closing before it tells of the activation that caused it.
            const auto closed = std::find_if(
                m_recentlyClosed.begin(), m_recentlyClosed.end(), [&](const ClosedEntry &recent) {
                    return matches(recent.entry) && now - recent.when < kClosedByActivation;
                });
            if (closed == m_recentlyClosed.end())
                return;
            it = entries.insert(entries.end(), closed->entry);
            m_recentlyClosed.erase(closed);
            it->stage = Stage::ClosedByActivation;
            it->id = 0;
            redeliver = it->serial;
        }
        it->activatedAt = now;
        notification = it->notification;
    }
    m_lastActivatedId = id;
    m_lastActivatedKey = key;
    m_lastActivation = now;
    if (key != kDefaultAction && key != kMainAction)
        notification.additionalActivationAction = key;
    m_state->log(2, DiagnosticType::Info,
                 QStringLiteral("Notification %1 was activated, action %2.")
                     .arg(notification.identifier, key));
    if (redeliver != 0)
        redeliverLater(redeliver);
    m_state->activate(notification);
}

void NotificationServerLink::onNameOwnerChanged(const QString &name, const QString &oldOwner,
                                                const QString &newOwner)
{
    if (name != kService || newOwner == m_server)
        return;
    qsizetype lost = 0;
    {
        const std::lock_guard guard(m_state->lock);
        for (auto it = m_state->entries.begin(); it != m_state->entries.end();) {
            NotificationEntry &entry = *it;
            const bool shown =
                entry.stage == Stage::Shown || entry.stage == Stage::ClosedByActivation;
            if (shown && entry.server == oldOwner) {
                it = m_state->entries.erase(it);
                ++lost;
                continue;
            }
            if (entry.stage == Stage::Scheduled && !newOwner.isEmpty())
                entry.stage = Stage::ToSend;
            ++it;
        }
    }
    m_recentlyClosed.clear();
    m_server = newOwner;
    m_ready = false;
    m_probing = false;
    m_probeLate = false;
    ++m_probeNumber;
    m_state->log(2, DiagnosticType::Info,
                 newOwner.isEmpty()
                     ? QStringLiteral("The notification server is gone, and with it %1 "
                                      "notification(s).")
                           .arg(lost)
                     : QStringLiteral("A notification server is there: %1.").arg(newOwner));
    step();
}

void NotificationServerLink::onDisconnected()
{
    m_state->log(1, DiagnosticType::Error, QStringLiteral("The session bus is gone."));
    m_state->setBusLost();
    m_quit();
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
