#include "platform/linux/application/ApplicationBusObject.h"

#include <QDBusVariant>

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype kMaximumLength = 256;

bool isPlain(const QString &text)
{
    return text.size() <= kMaximumLength &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c.isPrint(); });
}

QVariant unwrapped(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<QDBusVariant>()
               ? value.value<QDBusVariant>().variant()
               : value;
}

} // namespace

ApplicationBusObject::ApplicationBusObject(ApplicationBusCalls calls) : m_calls(std::move(calls))
{
    new DesktopApplicationAdaptor(this);
    new ProcessAdaptor(this);
}

std::optional<UserNotification>
ApplicationBusObject::notificationFromParameters(const QVariantList &parameters)
{
    QStringList texts;
    for (const QVariant &parameter : parameters) {
        const QVariant value = unwrapped(parameter);
        if (value.metaType() == QMetaType::fromType<QString>())
            texts.append(value.toString());
        else if (value.metaType() == QMetaType::fromType<QStringList>() && parameters.size() == 1)
            texts = value.toStringList();
        else
            return std::nullopt;
    }
    if (texts.size() != 2 || texts.at(0).isEmpty() ||
        !std::all_of(texts.begin(), texts.end(), isPlain))
        return std::nullopt;
    UserNotification notification;
    notification.identifier = texts.at(0);
    if (!texts.at(1).isEmpty())
        notification.additionalActivationAction = texts.at(1);
    return notification;
}

DesktopApplicationAdaptor::DesktopApplicationAdaptor(ApplicationBusObject *object)
    : QDBusAbstractAdaptor(object), m_object(object)
{
}

void DesktopApplicationAdaptor::Activate(const QVariantMap &)
{
    m_object->calls().activate();
}

void DesktopApplicationAdaptor::Open(const QStringList &, const QVariantMap &)
{
    m_object->calls().activate();
}

void DesktopApplicationAdaptor::ActivateAction(const QString &actionName,
                                               const QVariantList &parameter, const QVariantMap &,
                                               const QDBusMessage &message)
{
    std::optional<UserNotification> notification;
    if (actionName == QLatin1String("notification"))
        notification = ApplicationBusObject::notificationFromParameters(parameter);
    if (notification) {
        m_object->calls().activateNotification(*notification);
        return;
    }
    const QString reason = actionName == QLatin1String("notification")
                               ? QStringLiteral("The action \"notification\" takes the identifiers "
                                                "of a notification and of its action or \"\".")
                               : QStringLiteral("There is no such action.");
    message.setDelayedReply(true);
    m_object->calls().refuse(message, reason);
}

ProcessAdaptor::ProcessAdaptor(ApplicationBusObject *object)
    : QDBusAbstractAdaptor(object), m_object(object)
{
}

QString ProcessAdaptor::role() const
{
    return m_object->calls().role();
}

void ProcessAdaptor::Terminate()
{
    m_object->calls().terminate();
}
