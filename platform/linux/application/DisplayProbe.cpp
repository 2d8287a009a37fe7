#include "platform/linux/application/DisplayProbe.h"

#include "platform/linux/posix/Descriptor.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QPluginLoader>
#include <QStringList>

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

namespace {

/// Where Qt looks for platform plugins.
QStringList pluginFolders()
{
    QStringList folders;
    const QString own = qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH");
    if (!own.isEmpty())
        folders.append(own);
    for (const QString &path : QCoreApplication::libraryPaths())
        folders.append(path + QStringLiteral("/platforms"));
    return folders;
}

/// Whether the plugin is there and can be loaded: one whose libraries are missing ends Qt as well.
bool pluginLoads(const QString &name)
{
    for (const QString &folder : pluginFolders()) {
        for (const QString &file : QDir(folder).entryList({QStringLiteral("*.so")}, QDir::Files)) {
            QPluginLoader loader(folder + QLatin1Char('/') + file);
            const QJsonArray keys = loader.metaData()
                                        .value(QLatin1String("MetaData"))
                                        .toObject()
                                        .value(QLatin1String("Keys"))
                                        .toArray();
            for (const auto &key : keys) {
                if (key.toString().compare(name, Qt::CaseInsensitive) == 0 && loader.load())
                    return true;
            }
        }
    }
    return false;
}

bool reachesWayland()
{
    // Its library takes this name where none is given.
    QString path = qEnvironmentVariable("WAYLAND_DISPLAY", QStringLiteral("wayland-0"));
    if (!path.startsWith(QLatin1Char('/')))
        path = qEnvironmentVariable("XDG_RUNTIME_DIR") + QLatin1Char('/') + path;

    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
    const Descriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return probe.isOpen() && ::connect(probe.number(), reinterpret_cast<const sockaddr *>(&address),
                                       sizeof address) == 0;
}

bool reachesX11()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    xcb_connection_t *probe = xcb_connect(nullptr, nullptr);
    const bool reached = xcb_connection_has_error(probe) == 0;
    xcb_disconnect(probe);
    return reached;
}

/// Plugins that take over the machine's screen, and unknown ones, are never usable: nothing can
/// tell beforehand whether Qt would end the process over them.
bool isUsable(const QString &name)
{
    bool reached = name == QLatin1String("offscreen") || name == QLatin1String("minimal") ||
                   name == QLatin1String("vnc");
    if (name == QLatin1String("xcb"))
        reached = reachesX11();
    else if (name == QLatin1String("wayland") || name.startsWith(QLatin1String("wayland-")))
        reached = reachesWayland();
    return reached && pluginLoads(name);
}

} // namespace

std::optional<QByteArray> reachableDisplayPlugin(const DiagnosticSink &diagnostics)
{
    const QString named = qEnvironmentVariable("QT_QPA_PLATFORM");
    for (const QString &entry : named.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        // What follows the colon are the plugin's own parameters.
        if (isUsable(entry.section(QLatin1Char(':'), 0, 0).toLower()))
            return entry.toLocal8Bit();
    }
    if (!named.isEmpty()) {
        diagnostics(1, DiagnosticType::Error,
                    QStringLiteral("QT_QPA_PLATFORM is \"%1\", which cannot be used here: there is "
                                   "no such plugin or its display cannot be reached.")
                        .arg(named));
    }
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && isUsable(QStringLiteral("wayland")))
        return QByteArrayLiteral("wayland");
    if (isUsable(QStringLiteral("xcb")))
        return QByteArrayLiteral("xcb");
    return std::nullopt;
}
