#pragma once

#include "platform/Diagnostics.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>

#include <functional>

/// The process's place on the session bus: the object that other programs call and the names under
/// which they find it. A resident process owns a second name ("….Tray") that tells even while its
/// main thread is busy that there is one. Main thread only.
class SessionPlace final : public QObject
{
    Q_OBJECT
public:
    enum class Claim {
        Claimed,
        Taken, ///< another process has the place
        NoBus,
    };

    /// `object` is offered by the claims and outlives this object or close().
    SessionPlace(QString applicationIdentifier, QObject *object, DiagnosticSink diagnostics);
    ~SessionPlace() override;

    /// The place of the session's one resident process. One that was started for a click is asked
    /// to end first, for 5 s at most.
    [[nodiscard]] Claim claimResident();

    /// The place of a process that the bus started; a resident process may take it over, of which
    /// `lost` tells.
    [[nodiscard]] Claim claimActivated(std::function<void()> lost);

    /// Gives the names and the object up.
    void release();

    void replyError(const QDBusMessage &call, const QString &reason);

private:
    [[nodiscard]] bool open();
    void waitForOtherToEnd(const QString &owner);

    QString m_identifier;
    QString m_trayName;
    QString m_path;
    QObject *m_object;
    DiagnosticSink m_diagnostics;
    QString m_connectionName;
    QDBusConnection m_connection;
    std::function<void()> m_lost;
};
