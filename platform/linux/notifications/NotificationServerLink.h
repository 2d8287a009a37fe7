#pragma once

#include "platform/linux/notifications/LinuxNotificationCenter.h"
#include "platform/linux/notifications/NotificationRecords.h"
#include "platform/linux/notifications/NotificationState.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QObject>
#include <QStringList>

#include <functional>
#include <list>
#include <memory>
#include <optional>

/// Speaks to the notification server for one NotificationState. Lives on the thread that makes it,
/// which runs an event loop; wakes only for the bus, for the callers and for limits under way.
class NotificationServerLink final : public QObject
{
    Q_OBJECT
public:
    NotificationServerLink(std::shared_ptr<NotificationState> state,
                           NotificationCenterOptions options, std::function<void()> quit);
    ~NotificationServerLink() override;

    /// Connects to the bus and takes up what an earlier process left. False without a bus.
    [[nodiscard]] bool open();

private Q_SLOTS:
    void onActionInvoked(const QDBusMessage &message);
    void onNotificationClosed(const QDBusMessage &message);
    void onNameOwnerChanged(const QString &name, const QString &oldOwner, const QString &newOwner);
    void onDisconnected();

private:
    using Reply = std::function<void(const QDBusMessage &reply)>;
    struct Sending
    {
        quint64 serial = 0;
        quint64 attempt = 0;
        quint32 replaces = 0;
        UserNotification notification;
    };
    struct ClosedEntry
    {
        NotificationEntry entry;
        NotificationEntry::TimePoint when;
    };

    void subscribe(bool on);
    void takeUpRecords();
    void woken();
    void step();
    void send(const Sending &sending);
    void sent(quint64 serial, quint64 attempt, const QString &server, const QDBusMessage &reply);
    void sendFailed(quint64 serial, quint64 attempt, const QString &server, const QString &error);
    void close(quint64 serial, quint32 id);
    void probe();
    void probed(bool succeeded, const QString &error);
    void scheduleUnsent();
    void redeliverLater(quint64 serial);
    void keepForLater(const QDBusMessage &signal); ///< with the state's lock held
    void takeUpKept();
    void saveRecords();
    void finishIfIdle();
    [[nodiscard]] QDBusMessage serverCall(const QString &service, const QString &method) const;
    void call(const QDBusMessage &message, Reply reply);
    [[nodiscard]] QStringList actions(const UserNotification &notification) const;
    [[nodiscard]] QString body(const UserNotification &notification) const;

    std::shared_ptr<NotificationState> m_state;
    NotificationCenterOptions m_options;
    std::function<void()> m_quit;
    QString m_connectionName;
    QDBusConnection m_connection;
    NotificationRecords m_records;
    NotificationRecordSet m_written;
    QString m_busId;

    QString m_server;     ///< unique name of the server; empty while there is none
    bool m_ready = false; ///< the server has told its capabilities
    bool m_probing = false;
    bool m_probeLate = false;
    quint64 m_probeNumber = 0;
    bool m_markup = false;
    bool m_showsDefaultAsButton = false;
    bool m_finishing = false;

    quint32 m_lastActivatedId = 0;
    QString m_lastActivatedKey;
    NotificationEntry::TimePoint m_lastActivation;
    std::list<ClosedEntry> m_recentlyClosed;
    /// Of notifications whose ids the server has given and this side does not know yet.
    QList<QDBusMessage> m_kept;
};
