#pragma once

#include "platform/Diagnostics.h"
#include "platform/UserNotificationCenter.h"

#include <QString>

#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

/// No wait for the notification server or the bus lasts longer.
inline constexpr std::chrono::seconds kNotificationLimit{5};

/// One notification between its delivery and its disappearance.
struct NotificationEntry
{
    using TimePoint = std::chrono::steady_clock::time_point;
    enum class Stage {
        ToSend,             ///< waits for the thread that sends it
        Sending,            ///< sent, the server has not given its id yet
        Shown,              ///< the server shows it
        ClosedByActivation, ///< the server took it down because it was clicked
        Scheduled,          ///< waits for a server
    };

    quint64 serial = 0;
    UserNotification notification;
    Stage stage = Stage::ToSend;
    quint64 attempt = 0; ///< number of the sending under way or of the last one
    quint32 id = 0;      ///< the server's; 0 while it has none
    QString server;      ///< unique name of the server that gave the id
    bool contentChanged = false;
    bool fromEarlierProcess = false;
    bool dropInsteadOfScheduling = false;
    bool removalAsked = false;
    bool closeSent = false;
    TimePoint removalDeadline;
    std::optional<TimePoint> activatedAt;
};

/// What the callers' threads and the thread that speaks to the server share, behind one lock.
class NotificationState
{
public:
    explicit NotificationState(DiagnosticSink sink);
    ~NotificationState();
    NotificationState(const NotificationState &) = delete;
    NotificationState &operator=(const NotificationState &) = delete;

    // The callers' side; any thread.
    void deliver(const UserNotification &notification);
    void removeScheduled(const QString &identifier);
    /// All of them without an identifier.
    void removeDelivered(const std::optional<QString> &identifier);
    [[nodiscard]] QList<UserNotification> scheduled();
    [[nodiscard]] QList<UserNotification> delivered();
    void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate);
    /// Tells the delegate of an activation, with the notification's full text if it is known.
    void activate(UserNotification notification);
    void requestStop();
    /// Whether the sending thread has ended within its time.
    [[nodiscard]] bool waitForEnd();

    // The sending thread's side. It takes the lock and works on the list; messages are logged
    // after the lock is released.
    /// The entry of a serial number; null when it is gone.
    [[nodiscard]] NotificationEntry *find(quint64 serial);
    /// Drops what was to be removed and was not answered in time.
    void dropOverdue();
    /// Lets the entry wait for a server, unless its removal was asked for meanwhile.
    void schedule(quint64 serial);
    void log(unsigned level, DiagnosticType type, const QString &message) const;
    void setInitialised();
    void setBusLost();
    void setEnded();
    [[nodiscard]] int wakeDescriptor() const { return m_wake; }

    std::mutex lock;
    std::list<NotificationEntry> entries;
    quint64 nextSerial = 1;
    bool stopRequested = false;
    /// Removals asked for before it was known what an earlier process left.
    std::list<std::optional<QString>> earlyRemovals;

private:
    void wake() const;
    void eraseOverdue(QStringList &dropped);

    DiagnosticSink m_sink;
    std::condition_variable m_changed;
    std::weak_ptr<UserNotificationCenterDelegate> m_delegate;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    int m_wake;
    bool m_initialised = false;
    bool m_hasBus = true;
    bool m_ended = false;
};
