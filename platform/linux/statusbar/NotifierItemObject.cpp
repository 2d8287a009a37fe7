#include "platform/linux/statusbar/NotifierItemObject.h"

#include "platform/linux/statusbar/PropertyRequests.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <utility>

namespace {

// clang-format off
constexpr const char *Introspection = R"xml(<interface name="org.kde.StatusNotifierItem">
<property name="Category" type="s" access="read"/>
<property name="Id" type="s" access="read"/>
<property name="Title" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="WindowId" type="i" access="read"/>
<property name="IconName" type="s" access="read"/>
<property name="IconPixmap" type="a(iiay)" access="read"/>
<property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
<property name="ItemIsMenu" type="b" access="read"/>
<property name="Menu" type="o" access="read"/>
<method name="Activate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="ContextMenu"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="SecondaryActivate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="Scroll"><arg type="i" direction="in"/><arg type="s" direction="in"/></method>
<signal name="NewTitle"></signal>
<signal name="NewIcon"></signal>
<signal name="NewToolTip"></signal>
<signal name="NewMenu"></signal>
<signal name="NewStatus"><arg type="s"/></signal>
</interface>
)xml";
// clang-format on

} // namespace

NotifierItemObject::NotifierItemObject(Handlers handlers) : m_handlers(std::move(handlers)) {}

QString NotifierItemObject::interfaceName()
{
    return QStringLiteral("org.kde.StatusNotifierItem");
}

QString NotifierItemObject::objectPath()
{
    return QStringLiteral("/StatusNotifierItem");
}

QString NotifierItemObject::introspect(const QString & /*path*/) const
{
    return QString::fromLatin1(Introspection);
}

bool NotifierItemObject::handleMessage(const QDBusMessage &message,
                                       const QDBusConnection &connection)
{
    const QDBusMessage reply = answer(message);
    if (message.isReplyRequired())
        connection.send(reply);
    return true;
}

QDBusMessage NotifierItemObject::answer(const QDBusMessage &message)
{
    // An object without children is not introspected by the library.
    if (message.member() == QLatin1String("Introspect"))
        return message.createReply(
            QStringLiteral("<node>%1</node>").arg(introspect(message.path())));
    if (isPropertyRequest(message))
        return answerPropertyRequest(message, interfaceName(), m_handlers.properties());
    const QString member = message.member();
    const bool forUs = message.interface().isEmpty() || message.interface() == interfaceName();
    if (forUs && message.signature() == QLatin1String("ii")) {
        if (member == QLatin1String("Activate")) {
            m_handlers.activate();
            return message.createReply();
        }
        if (member == QLatin1String("ContextMenu")) {
            m_handlers.contextMenu(message.arguments().at(0).toInt(),
                                   message.arguments().at(1).toInt());
            return message.createReply();
        }
        if (member == QLatin1String("SecondaryActivate"))
            return message.createReply();
    }
    if (forUs && member == QLatin1String("Scroll"))
        return message.createReply();
    return message.createErrorReply(
        QDBusError::UnknownMethod,
        QStringLiteral("No method %1 with signature \"%2\"").arg(member, message.signature()));
}
