#pragma once

#include "platform/UserNotificationCenter.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <optional>

/// What the calls from the bus do.
struct ApplicationBusCalls
{
    std::function<void()> activate;
    std::function<void(const UserNotification &)> activateNotification;
    std::function<void()> terminate;
    std::function<QString()> role;
    /// Answers a call that made no sense with this error.
    std::function<void(const QDBusMessage &call, const QString &reason)> refuse;
};

/// The object that other programs reach on the session bus: org.freedesktop.Application and
/// com.zevrik.selfservice.Process. Main thread only.
class ApplicationBusObject final : public QObject
{
    Q_OBJECT
public:
    explicit ApplicationBusObject(ApplicationBusCalls calls);
    [[nodiscard]] const ApplicationBusCalls &calls() const { return m_calls; }

    /// The notification that the parameters of the action "notification" name: its identifier and
    /// the identifier of the chosen action, "" for none, as two strings or one array of two.
    [[nodiscard]] static std::optional<UserNotification>
    notificationFromParameters(const QVariantList &parameters);

private:
    ApplicationBusCalls m_calls;
};

class DesktopApplicationAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    explicit DesktopApplicationAdaptor(ApplicationBusObject *object);

public Q_SLOTS:
    void Activate(const QVariantMap &platformData);
    void Open(const QStringList &uris, const QVariantMap &platformData);
    void ActivateAction(const QString &actionName, const QVariantList &parameter,
                        const QVariantMap &platformData, const QDBusMessage &message);

private:
    ApplicationBusObject *m_object;
};

class ProcessAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.zevrik.selfservice.Process")
    Q_PROPERTY(QString Role READ role)
public:
    explicit ProcessAdaptor(ApplicationBusObject *object);
    /// "tray", "notification", or "starting" until it is known why the process was started.
    [[nodiscard]] QString role() const;

public Q_SLOTS:
    void Terminate();

private:
    ApplicationBusObject *m_object;
};
