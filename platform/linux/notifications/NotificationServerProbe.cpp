// Finding out whether a notification server is there, what it can do, and what becomes of the
// unsent notifications when none answers.

#include "platform/linux/notifications/NotificationProtocol.h"
#include "platform/linux/notifications/NotificationServerLink.h"

#include <QTimer>

#include <utility>

using Stage = NotificationEntry::Stage;

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
