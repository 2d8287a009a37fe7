#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

/// One size of an icon: ARGB32 in network byte order. D-Bus "(iiay)".
struct NotifierPixmap
{
    int width = 0;
    int height = 0;
    QByteArray bytes;
};

/// D-Bus "(sa(iiay)ss)".
struct NotifierToolTip
{
    QString iconName;
    QList<NotifierPixmap> pixmaps;
    QString title;
    QString text;
};

/// One node of an exported menu. D-Bus "(ia{sv}av)".
struct MenuLayoutNode
{
    int id = 0;
    QVariantMap properties;
    QList<QDBusVariant> children;
};

/// D-Bus "(ia{sv})".
struct MenuItemProperties
{
    int id = 0;
    QVariantMap properties;
};

/// D-Bus "(isvu)".
struct MenuEvent
{
    int id = 0;
    QString type;
    QDBusVariant data;
    uint timestamp = 0;
};

Q_DECLARE_METATYPE(NotifierPixmap)
Q_DECLARE_METATYPE(NotifierToolTip)
Q_DECLARE_METATYPE(MenuLayoutNode)
Q_DECLARE_METATYPE(MenuItemProperties)
Q_DECLARE_METATYPE(MenuEvent)

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierPixmap &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierPixmap &value);
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierToolTip &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierToolTip &value);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuLayoutNode &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuLayoutNode &value);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuItemProperties &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuItemProperties &value);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuEvent &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuEvent &value);

/// Makes the types above known to QtDBus. Call before they are first sent.
void registerStatusNotifierTypes();
