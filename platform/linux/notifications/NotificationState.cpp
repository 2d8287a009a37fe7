#include "platform/linux/notifications/NotificationState.h"

#include <QStringList>

#include <algorithm>

#include <sys/eventfd.h>
#include <unistd.h>

using Stage = NotificationEntry::Stage;
using Clock = std::chrono::steady_clock;

NotificationState::NotificationState(DiagnosticSink sink)
    : m_sink(std::move(sink)), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

NotificationState::~NotificationState()
{
    ::close(m_wake);
}

void NotificationState::wake() const
{
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wake, &one, sizeof one);
}

void NotificationState::log(unsigned level, DiagnosticType type, const QString &message) const
{
    if (m_sink)
        m_sink(level, type, message);
}

void NotificationState::deliver(const UserNotification &notification)
{
    bool dropped = false;
    {
        const std::lock_guard guard(lock);
        if (!m_hasBus) {
            dropped = true;
        } else {
            const auto old =
                std::find_if(entries.begin(), entries.end(), [&](const NotificationEntry &entry) {
                    return entry.notification.identifier == notification.identifier &&
                           !entry.removalAsked;
                });
            if (old == entries.end()) {
                entries.emplace_back();
                entries.back().serial = nextSerial++;
                entries.back().notification = notification;
            } else {
                old->notification = notification;
                old->dropInsteadOfScheduling = false;
                old->fromEarlierProcess = false;
                if (old->stage == Stage::Sending || old->stage == Stage::Shown)
                    old->contentChanged = true;
                else
                    old->stage = Stage::ToSend;
            }
            wake();
        }
    }
    if (dropped) {
        log(1, DiagnosticType::Error,
            QStringLiteral("Notification %1 is dropped: there is no session bus.")
                .arg(notification.identifier));
    }
}

void NotificationState::removeScheduled(const QString &identifier)
{
    const std::lock_guard guard(lock);
    for (auto it = entries.begin(); it != entries.end();) {
        if (it->notification.identifier != identifier) {
            ++it;
        } else if (it->stage == Stage::Scheduled) {
            it = entries.erase(it);
        } else {
            // One on its way may turn out to have no server and must not wait for one then.
            it->dropInsteadOfScheduling = true;
            ++it;
        }
    }
}

void NotificationState::removeDelivered(const std::optional<QString> &identifier)
{
    const std::lock_guard guard(lock);
    if (!m_initialised)
        earlyRemovals.push_back(identifier);
    for (auto it = entries.begin(); it != entries.end();) {
        const bool matches = !identifier || it->notification.identifier == *identifier;
        if (!matches || it->stage == Stage::Scheduled || it->removalAsked) {
            ++it;
        } else if (it->stage == Stage::ToSend || it->stage == Stage::ClosedByActivation) {
            it = entries.erase(it);
        } else {
            it->removalAsked = true;
            it->removalDeadline = Clock::now() + kNotificationLimit;
            ++it;
        }
    }
    wake();
}

QList<UserNotification> NotificationState::scheduled()
{
    const std::lock_guard guard(lock);
    QList<UserNotification> result;
    for (const NotificationEntry &entry : entries) {
        if (entry.stage == Stage::Scheduled)
            result.append(entry.notification);
    }
    return result;
}

QList<UserNotification> NotificationState::delivered()
{
    QList<UserNotification> result;
    QStringList dropped;
    {
        std::unique_lock guard(lock);
        // What an earlier process left is known once the bus has answered.
        m_changed.wait_until(guard, m_start + kNotificationLimit, [this] { return m_initialised; });
        eraseOverdue(dropped);
        for (const NotificationEntry &entry : entries) {
            if (entry.stage != Stage::Scheduled)
                result.append(entry.notification);
        }
    }
    for (const QString &message : dropped)
        log(1, DiagnosticType::Error, message);
    return result;
}

void NotificationState::eraseOverdue(QStringList &dropped)
{
    const auto now = Clock::now();
    for (auto it = entries.begin(); it != entries.end();) {
        if (it->removalAsked && it->removalDeadline <= now) {
            dropped.append(QStringLiteral("The notification server did not confirm the removal of "
                                          "notification %1 within %2 s; it counts as removed.")
                               .arg(it->notification.identifier)
                               .arg(kNotificationLimit.count()));
            it = entries.erase(it);
        } else {
            ++it;
        }
    }
}

void NotificationState::dropOverdue()
{
    QStringList dropped;
    {
        const std::lock_guard guard(lock);
        eraseOverdue(dropped);
    }
    for (const QString &message : dropped)
        log(1, DiagnosticType::Error, message);
}

NotificationEntry *NotificationState::find(quint64 serial)
{
    for (NotificationEntry &entry : entries) {
        if (entry.serial == serial)
            return &entry;
    }
    return nullptr;
}

void NotificationState::schedule(quint64 serial)
{
    NotificationEntry *entry = find(serial);
    if (!entry)
        return;
    if (entry->removalAsked || entry->dropInsteadOfScheduling) {
        entries.remove_if([serial](const NotificationEntry &e) { return e.serial == serial; });
        return;
    }
    entry->stage = Stage::Scheduled;
    entry->id = 0;
    entry->server.clear();
    entry->contentChanged = false;
}

void NotificationState::setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate)
{
    const std::lock_guard guard(lock);
    m_delegate = std::move(delegate);
}

void NotificationState::activate(UserNotification notification)
{
    std::shared_ptr<UserNotificationCenterDelegate> delegate;
    {
        const std::lock_guard guard(lock);
        delegate = m_delegate.lock();
        for (const NotificationEntry &entry : entries) {
            if (entry.notification.identifier == notification.identifier &&
                !entry.fromEarlierProcess) {
                const auto action = notification.additionalActivationAction;
                notification = entry.notification;
                notification.additionalActivationAction = action;
                break;
            }
        }
    }
    if (delegate) {
        delegate->didActivateNotification(notification);
        return;
    }
    log(1, DiagnosticType::Error,
        QStringLiteral("Notification %1 was activated while nobody listens.")
            .arg(notification.identifier));
}

void NotificationState::setInitialised()
{
    const std::lock_guard guard(lock);
    m_initialised = true;
    m_changed.notify_all();
}

void NotificationState::setBusLost()
{
    std::size_t lost = 0;
    {
        const std::lock_guard guard(lock);
        m_hasBus = false;
        m_initialised = true;
        lost = entries.size();
        entries.clear();
        m_changed.notify_all();
    }
    if (lost > 0) {
        log(1, DiagnosticType::Error,
            QStringLiteral("%1 notification(s) dropped: there is no session bus.").arg(lost));
    }
}

void NotificationState::requestStop()
{
    const std::lock_guard guard(lock);
    stopRequested = true;
    wake();
}

void NotificationState::setEnded()
{
    const std::lock_guard guard(lock);
    m_ended = true;
    m_changed.notify_all();
}

bool NotificationState::waitForEnd()
{
    std::unique_lock guard(lock);
    return m_changed.wait_for(guard, kNotificationLimit, [this] { return m_ended; });
}
