// What the notification server and the bus tell of themselves: activations, closings, the server's
// coming and going.

#include "platform/linux/notifications/NotificationProtocol.h"
#include "platform/linux/notifications/NotificationServerLink.h"

#include <QTimer>

#include <algorithm>
#include <utility>

using Stage = NotificationEntry::Stage;
using Clock = std::chrono::steady_clock;

namespace {
constexpr std::chrono::milliseconds kRepeatedSignal{500};
constexpr std::size_t kClosedRemembered = 8;
constexpr qsizetype kKept = 16;
} // namespace

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
        if (it == entries.end()) {
            keepForLater(message);
            return;
        }
        identifier = it->notification.identifier;
        const auto now = Clock::now();
        // Of an earlier process's notification nothing is known that could be shown again.
        if (!it->removalAsked && !it->fromEarlierProcess && it->activatedAt &&
            now - *it->activatedAt < kClosedByActivation) {
            it->stage = Stage::ClosedByActivation;
            it->id = 0;
            redeliver = it->serial;
        } else {
            if (!it->removalAsked)
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

void NotificationServerLink::keepForLater(const QDBusMessage &signal)
{
    // A server may tell of a notification right after its answer, and the answer of a call be seen
    // here later than a signal that came after it.
    const auto &entries = m_state->entries;
    const bool awaited =
        std::any_of(entries.begin(), entries.end(),
                    [](const NotificationEntry &entry) { return entry.stage == Stage::Sending; });
    if (!awaited)
        m_kept.clear();
    else if (m_kept.size() < kKept)
        m_kept.append(signal);
}

void NotificationServerLink::takeUpKept()
{
    const QList<QDBusMessage> kept = std::exchange(m_kept, {});
    for (const QDBusMessage &signal : kept) {
        if (signal.member() == QLatin1String("ActionInvoked"))
            onActionInvoked(signal);
        else
            onNotificationClosed(signal);
    }
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
            if (closed == m_recentlyClosed.end()) {
                keepForLater(message);
                return;
            }
            notification = closed->entry.notification;
            if (!closed->entry.fromEarlierProcess) {
                it = entries.insert(entries.end(), closed->entry);
                it->stage = Stage::ClosedByActivation;
                it->id = 0;
                it->activatedAt = now;
                redeliver = it->serial;
            }
            m_recentlyClosed.erase(closed);
        } else {
            it->activatedAt = now;
            notification = it->notification;
        }
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
    m_kept.clear();
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
