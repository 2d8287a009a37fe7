#include "platform/linux/statusbar/MenuExporter.h"

#include "platform/linux/statusbar/PropertyRequests.h"

#include <QDBusConnection>

#include <utility>

namespace {

// clang-format off
constexpr const char *Introspection = R"xml(<interface name="com.canonical.dbusmenu">
<property name="Version" type="u" access="read"/>
<property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="IconThemePath" type="as" access="read"/>
<method name="GetLayout"><arg type="i" direction="in"/><arg type="i" direction="in"/><arg type="as" direction="in"/><arg type="u" direction="out"/><arg type="(ia{sv}av)" direction="out"/></method>
<method name="GetGroupProperties"><arg type="ai" direction="in"/><arg type="as" direction="in"/><arg type="a(ia{sv})" direction="out"/></method>
<method name="GetProperty"><arg type="i" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
<method name="Event"><arg type="i" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="in"/><arg type="u" direction="in"/></method>
<method name="EventGroup"><arg type="a(isvu)" direction="in"/><arg type="ai" direction="out"/></method>
<method name="AboutToShow"><arg type="i" direction="in"/><arg type="b" direction="out"/></method>
<method name="AboutToShowGroup"><arg type="ai" direction="in"/><arg type="ai" direction="out"/><arg type="ai" direction="out"/></method>
<signal name="LayoutUpdated"><arg type="u"/><arg type="i"/></signal>
</interface>
)xml";
// clang-format on

QDBusMessage noSuchItem(const QDBusMessage &message)
{
    return message.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("No such menu item"));
}

} // namespace

MenuExporter::MenuExporter(Provider provider, ActionRunner run)
    : m_provider(std::move(provider)), m_run(std::move(run))
{
}

QString MenuExporter::interfaceName()
{
    return QStringLiteral("com.canonical.dbusmenu");
}

QString MenuExporter::objectPath()
{
    return QStringLiteral("/MenuBar");
}

QString MenuExporter::introspect(const QString & /*path*/) const
{
    return QString::fromLatin1(Introspection);
}

bool MenuExporter::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const uint before = m_revision;
    const QDBusMessage reply = answer(message);
    if (message.isReplyRequired())
        connection.send(reply);
    // GetLayout hands the new menu out itself; the other calls must make the host ask for it.
    if (m_revision != before && message.member() != QLatin1String("GetLayout")) {
        QDBusMessage signal = QDBusMessage::createSignal(objectPath(), interfaceName(),
                                                         QStringLiteral("LayoutUpdated"));
        signal << m_revision << 0;
        connection.send(signal);
    }
    return true;
}

QDBusMessage MenuExporter::answer(const QDBusMessage &message)
{
    // An object without children is not introspected by the library.
    if (message.member() == QLatin1String("Introspect"))
        return message.createReply(
            QStringLiteral("<node>%1</node>").arg(introspect(message.path())));
    if (isPropertyRequest(message))
        return answerPropertyRequest(message, interfaceName(),
                                     {{QStringLiteral("Version"), QVariant::fromValue<uint>(3)},
                                      {QStringLiteral("TextDirection"), QStringLiteral("ltr")},
                                      {QStringLiteral("Status"), QStringLiteral("normal")},
                                      {QStringLiteral("IconThemePath"), QStringList()}});
    if (!message.interface().isEmpty() && message.interface() != interfaceName())
        return message.createErrorReply(QDBusError::UnknownInterface,
                                        QStringLiteral("No interface %1").arg(message.interface()));
    const QString call = message.member() + QLatin1Char(':') + message.signature();
    const QList<QVariant> arguments = message.arguments();
    if (call == QLatin1String("GetLayout:iias"))
        return layout(message);
    if (call == QLatin1String("GetGroupProperties:aias"))
        return groupProperties(message);
    if (call == QLatin1String("GetProperty:is")) {
        const auto properties = itemProperties(arguments.at(0).toInt());
        if (!properties || !properties->contains(arguments.at(1).toString()))
            return noSuchItem(message);
        return message.createReply(
            QVariant::fromValue(QDBusVariant(properties->value(arguments.at(1).toString()))));
    }
    if (call == QLatin1String("Event:isvu"))
        return itemEvent(arguments.at(0).toInt(), arguments.at(1).toString())
                   ? message.createReply()
                   : noSuchItem(message);
    if (call == QLatin1String("EventGroup:a(isvu)"))
        return eventGroup(message);
    if (call == QLatin1String("AboutToShow:i")) {
        const bool updated = refresh();
        const int id = arguments.at(0).toInt();
        return id == 0 || knows(id) ? message.createReply(updated) : noSuchItem(message);
    }
    if (call == QLatin1String("AboutToShowGroup:ai"))
        return aboutToShowGroup(message);
    const bool known = introspect(QString()).contains(
        QStringLiteral("<method name=\"%1\">").arg(message.member()));
    return message.createErrorReply(known ? QDBusError::InvalidArgs : QDBusError::UnknownMethod,
                                    QStringLiteral("No method %1").arg(call));
}

QDBusMessage MenuExporter::layout(const QDBusMessage &message)
{
    refresh();
    const int parent = message.arguments().at(0).toInt();
    const int depth = message.arguments().at(1).toInt();
    const auto properties = itemProperties(parent);
    if (!properties)
        return noSuchItem(message);
    MenuLayoutNode node{parent, *properties, {}};
    if (parent == 0 && depth != 0) {
        for (int index = 0; index < m_titles.size(); ++index) {
            const int id = m_firstId + index;
            node.children.append(QDBusVariant(QVariant::fromValue(
                MenuLayoutNode{id, itemProperties(id).value_or(QVariantMap()), {}})));
        }
    }
    return message.createReply({m_revision, QVariant::fromValue(node)});
}

QDBusMessage MenuExporter::groupProperties(const QDBusMessage &message)
{
    QList<int> ids = qdbus_cast<QList<int>>(message.arguments().at(0));
    if (ids.isEmpty()) {
        for (int index = 0; index < m_titles.size(); ++index)
            ids.append(m_firstId + index);
    }
    const QStringList names = message.arguments().at(1).toStringList();
    const auto wanted = [&names](QVariantMap properties) {
        properties.removeIf([&names](const auto &property) {
            return !names.isEmpty() && !names.contains(property.key());
        });
        return properties;
    };
    QList<MenuItemProperties> found;
    for (const int id : std::as_const(ids)) {
        if (const auto properties = itemProperties(id))
            found.append({id, wanted(*properties)});
    }
    return message.createReply(QVariant::fromValue(found));
}

QDBusMessage MenuExporter::eventGroup(const QDBusMessage &message)
{
    const auto events = qdbus_cast<QList<MenuEvent>>(message.arguments().at(0));
    QList<int> unknown;
    for (const MenuEvent &one : events) {
        if (!itemEvent(one.id, one.type))
            unknown.append(one.id);
    }
    return message.createReply(QVariant::fromValue(unknown));
}

QDBusMessage MenuExporter::aboutToShowGroup(const QDBusMessage &message)
{
    const QList<int> updated = refresh() ? QList<int>{0} : QList<int>{};
    const auto ids = qdbus_cast<QList<int>>(message.arguments().at(0));
    QList<int> unknown;
    for (const int id : ids) {
        if (id != 0 && !knows(id))
            unknown.append(id);
    }
    return message.createReply({QVariant::fromValue(updated), QVariant::fromValue(unknown)});
}

std::optional<QVariantMap> MenuExporter::itemProperties(int id) const
{
    if (id == 0)
        return QVariantMap{{QStringLiteral("children-display"), QStringLiteral("submenu")}};
    if (!knows(id))
        return std::nullopt;
    // A single underscore would mark an access key.
    QString label = m_titles.at(id - m_firstId);
    label.replace(QLatin1Char('_'), QLatin1String("__"));
    return QVariantMap{{QStringLiteral("label"), label},
                       {QStringLiteral("enabled"), true},
                       {QStringLiteral("visible"), true}};
}

bool MenuExporter::refresh()
{
    QStringList titles;
    const Menu menu = m_provider ? m_provider() : Menu();
    for (const MenuItem &item : menu.items)
        titles.append(item.title);
    if (titles == m_titles)
        return false;
    m_firstId += static_cast<int>(m_titles.size());
    m_titles = titles;
    ++m_revision;
    return true;
}

bool MenuExporter::itemEvent(int id, const QString &type)
{
    if (id == 0)
        return true;
    if (!knows(id))
        return false;
    if (type != QLatin1String("clicked"))
        return true;
    const Menu menu = m_provider ? m_provider() : Menu();
    const int index = id - m_firstId;
    // The menu may have changed since the host drew it.
    if (index >= menu.items.size() || menu.items.at(index).title != m_titles.at(index))
        return false;
    m_run(menu.items.at(index).action);
    return true;
}

bool MenuExporter::knows(int id) const
{
    return id >= m_firstId && id - m_firstId < m_titles.size();
}
