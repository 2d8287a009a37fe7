#include "platform/linux/application/DisplayProbe.h"

#include <QDir>
#include <QFile>
#include <QLibraryInfo>

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

bool reachesWayland()
{
    QString path = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (path.isEmpty())
        return false;
    if (!path.startsWith(QLatin1Char('/')))
        path = qEnvironmentVariable("XDG_RUNTIME_DIR") + QLatin1Char('/') + path;
    const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) +
                       QStringLiteral("/platforms"));
    if (plugins.entryList({QStringLiteral("libqwayland*.so")}, QDir::Files).isEmpty())
        return false;

    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (probe < 0)
        return false;
    const bool reached =
        ::connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    ::close(probe);
    return reached;
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

} // namespace

std::optional<QByteArray> reachableDisplayPlugin()
{
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return QByteArray();
    if (reachesWayland())
        return QByteArrayLiteral("wayland");
    if (reachesX11())
        return QByteArrayLiteral("xcb");
    return std::nullopt;
}
