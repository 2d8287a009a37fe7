#include "platform/linux/notifications/LinuxNotificationCenter.h"

#include "platform/linux/notifications/NotificationServerLink.h"
#include "platform/linux/notifications/NotificationState.h"

#include <QEventLoop>

#include <csignal>
#include <utility>

QString NotificationCenterOptions::defaultRecordsDirectory(const QString &applicationIdentifier)
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.startsWith(QLatin1Char('/')))
        return QString();
    return runtime + QLatin1Char('/') + applicationIdentifier;
}

LinuxNotificationCenter::LinuxNotificationCenter(NotificationCenterOptions options,
                                                 DiagnosticSink diagnostics)
    : m_options(std::move(options))
    , m_state(std::make_shared<NotificationState>(std::move(diagnostics)))
{
}

LinuxNotificationCenter::~LinuxNotificationCenter()
{
    if (!m_thread.joinable())
        return;
    m_state->requestStop();
    // A bus that accepts connections and never answers would hold the thread for longer.
    if (m_state->waitForEnd())
        m_thread.join();
    else
        m_thread.detach();
}

void LinuxNotificationCenter::ensureStarted()
{
    std::call_once(m_started, [this] {
        // Signals to the process are the main thread's, which waits for them in its event loop.
        sigset_t all;
        sigset_t previous;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &previous);
        m_thread = std::thread([state = m_state, options = m_options] {
            {
                QEventLoop loop;
                NotificationServerLink link(state, options, [&loop] { loop.quit(); });
                if (link.open())
                    loop.exec();
            }
            state->setEnded();
        });
        ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    });
}

void LinuxNotificationCenter::setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate)
{
    m_state->setDelegate(std::move(delegate));
    ensureStarted();
}

void LinuxNotificationCenter::deliver(const UserNotification &notification)
{
    ensureStarted();
    m_state->deliver(notification);
}

QList<UserNotification> LinuxNotificationCenter::scheduledNotifications()
{
    return m_state->scheduled();
}

void LinuxNotificationCenter::removeScheduledNotification(const QString &identifier)
{
    m_state->removeScheduled(identifier);
}

QList<UserNotification> LinuxNotificationCenter::deliveredNotifications()
{
    ensureStarted();
    return m_state->delivered();
}

void LinuxNotificationCenter::removeDeliveredNotification(const QString &identifier)
{
    ensureStarted();
    m_state->removeDelivered(identifier);
}

void LinuxNotificationCenter::removeAllDeliveredNotifications()
{
    ensureStarted();
    m_state->removeDelivered(std::nullopt);
}

void LinuxNotificationCenter::activateFromDesktop(const UserNotification &notification)
{
    m_state->activate(notification);
}
