#pragma once

#include <QDBusMessage>
#include <QDBusVariant>
#include <QString>
#include <QVariantMap>

[[nodiscard]] inline bool isPropertyRequest(const QDBusMessage &message)
{
    return message.interface() == QLatin1String("org.freedesktop.DBus.Properties");
}

/// The answer to Get or GetAll of read-only properties; an error for anything else.
[[nodiscard]] inline QDBusMessage answerPropertyRequest(const QDBusMessage &message,
                                                        const QString &interfaceName,
                                                        const QVariantMap &properties)
{
    const QList<QVariant> arguments = message.arguments();
    if (message.member() == QLatin1String("GetAll") && message.signature() == QLatin1String("s"))
        return message.createReply(arguments.at(0).toString() == interfaceName ? properties
                                                                               : QVariantMap());
    if (message.member() == QLatin1String("Get") && message.signature() == QLatin1String("ss")) {
        const auto found = properties.constFind(arguments.at(1).toString());
        if (arguments.at(0).toString() == interfaceName && found != properties.cend())
            return message.createReply(QVariant::fromValue(QDBusVariant(*found)));
        return message.createErrorReply(QDBusError::UnknownProperty,
                                        QStringLiteral("No such property"));
    }
    if (message.member() == QLatin1String("Set") && message.signature() == QLatin1String("ssv"))
        return message.createErrorReply(QDBusError::PropertyReadOnly,
                                        QStringLiteral("The properties are read-only"));
    const bool known = message.member() == QLatin1String("GetAll") ||
                       message.member() == QLatin1String("Get") ||
                       message.member() == QLatin1String("Set");
    return message.createErrorReply(known ? QDBusError::InvalidArgs : QDBusError::UnknownMethod,
                                    QStringLiteral("No method %1 with signature \"%2\"")
                                        .arg(message.member(), message.signature()));
}
