#include "platform/linux/statusbar/LinuxStatusItem.h"

#include "platform/linux/statusbar/MenuExporter.h"
#include "platform/linux/statusbar/NotifierItemObject.h"
#include "platform/linux/statusbar/StatusItemImages.h"

#include <QApplication>
#include <QCursor>
#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QMenu>

#include <optional>
#include <utility>

namespace {

QString watcherService()
{
    return QStringLiteral("org.kde.StatusNotifierWatcher");
}

QString nextConnectionName()
{
    static quint64 count = 0;
    return QStringLiteral("status-item-%1").arg(++count);
}

bool controlIsHeld()
{
    // The protocol tells no modifiers; only X11 lets a client without focus ask for them.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()) == nullptr ||
        QGuiApplication::platformName() != QLatin1String("xcb"))
        return false;
    return QGuiApplication::queryKeyboardModifiers().testFlag(Qt::ControlModifier);
}

bool hasDisplay()
{
    if (qobject_cast<QApplication *>(QCoreApplication::instance()) == nullptr)
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

} // namespace

LinuxStatusItem::LinuxStatusItem(QString applicationId, QString title, DiagnosticSink diagnostics)
    : m_applicationId(std::move(applicationId))
    , m_title(std::move(title))
    , m_diagnostics(std::move(diagnostics))
    , m_connectionName(nextConnectionName())
    , m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName))
    , m_alive(std::make_shared<int>(0))
{
    if (!m_connection.isConnected()) {
        log(DiagnosticType::Error,
            QStringLiteral("No session bus: the status-bar item cannot be shown."));
        return;
    }
    registerStatusNotifierTypes();
    m_itemObject = std::make_unique<NotifierItemObject>(NotifierItemObject::Handlers{
        [this] { return properties(); },
        [this] {
            clicked(controlIsHeld() ? StatusItemEvent::LeftMouseUpWithControl
                                    : StatusItemEvent::LeftMouseUp);
        },
        [this](int x, int y) {
            m_menuPosition = QPoint(x, y);
            clicked(StatusItemEvent::RightMouseUp);
        }});
    m_menuExporter = std::make_unique<MenuExporter>(
        [this] { return currentMenu(); },
        [this](std::function<void()> action) { post(std::move(action)); });
    m_connection.registerVirtualObject(NotifierItemObject::objectPath(), m_itemObject.get());
    m_connection.registerVirtualObject(MenuExporter::objectPath(), m_menuExporter.get());

    m_hostWatcher = std::make_unique<QDBusServiceWatcher>(watcherService(), m_connection,
                                                          QDBusServiceWatcher::WatchForOwnerChange);
    QObject::connect(m_hostWatcher.get(), &QDBusServiceWatcher::serviceOwnerChanged,
                     m_hostWatcher.get(),
                     [this](const QString &, const QString &, const QString &newOwner) {
                         if (newOwner.isEmpty())
                             log(DiagnosticType::Info,
                                 QStringLiteral("The tray host has gone; waiting for one."));
                         else
                             registerWithHost();
                     });
    registerWithHost();
}

LinuxStatusItem::~LinuxStatusItem()
{
    m_alive.reset();
    if (m_popUp) {
        m_popUp->hide();
        m_popUp->deleteLater();
    }
    m_hostWatcher.reset();
    m_connection.unregisterObject(NotifierItemObject::objectPath());
    m_connection.unregisterObject(MenuExporter::objectPath());
    QDBusConnection::disconnectFromBus(m_connectionName);
}

void LinuxStatusItem::setImage(const QString &imageName)
{
    m_imageName = imageName;
    m_pixmaps = statusItemPixmaps(imageName);
    if (m_pixmaps.isEmpty())
        log(DiagnosticType::Error,
            QStringLiteral("The status-bar image \"%1\" is missing.").arg(imageName));
    emitSignal(QStringLiteral("NewIcon"));
}

void LinuxStatusItem::setAction(std::function<void(StatusItemEvent)> action)
{
    m_action = std::move(action);
}

void LinuxStatusItem::setMenuProvider(std::function<Menu()> provider)
{
    m_menuProvider = std::move(provider);
    emitSignal(QStringLiteral("NewMenu"));
}

void LinuxStatusItem::popUpMenu(const Menu &menu)
{
    if (m_popUp) {
        m_popUp->hide();
        m_popUp->deleteLater();
        m_popUp.clear();
    }
    const std::optional<QPoint> asked = std::exchange(m_menuPosition, std::nullopt);
    if (menu.items.isEmpty())
        return;
    if (!hasDisplay()) {
        log(DiagnosticType::Error, QStringLiteral("No display to open the status-bar menu on."));
        return;
    }
    auto popUp = std::make_unique<QMenu>();
    for (const MenuItem &item : menu.items) {
        // Qt reads "&" as an access key and a tabulator as the column of shortcuts.
        QString title = item.title;
        title.replace(QLatin1Char('&'), QLatin1String("&&"));
        title.replace(QLatin1Char('\t'), QLatin1Char(' '));
        const QAction *entry = popUp->addAction(title);
        QObject::connect(entry, &QAction::triggered, popUp.get(),
                         [this, action = item.action] { post(action); });
    }
    // The choice is reported after the menu hid itself: the deletion has to wait for it.
    QObject::connect(popUp.get(), &QMenu::aboutToHide, popUp.get(), &QObject::deleteLater);
    m_popUp = popUp.release();
    // Hosts that know no position send the origin.
    m_popUp->popup(asked && !asked->isNull() ? *asked : QCursor::pos());
}

void LinuxStatusItem::registerWithHost()
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        watcherService(), QStringLiteral("/StatusNotifierWatcher"), watcherService(),
        QStringLiteral("RegisterStatusNotifierItem"));
    call << m_connection.baseService();
    auto pending = std::make_unique<QDBusPendingCallWatcher>(m_connection.asyncCall(call));
    QObject::connect(pending.get(), &QDBusPendingCallWatcher::finished, m_hostWatcher.get(),
                     [this](QDBusPendingCallWatcher *finished) {
                         const QDBusPendingReply<> reply = *finished;
                         finished->deleteLater();
                         if (reply.isError())
                             log(DiagnosticType::Error,
                                 QStringLiteral("No tray host takes the status-bar item (%1); "
                                                "waiting for one.")
                                     .arg(reply.error().name()));
                     });
    // Ends with the answer, or with the item.
    pending.release()->setParent(m_hostWatcher.get());
}

void LinuxStatusItem::clicked(StatusItemEvent event)
{
    post([this, event] {
        if (const auto action = m_action)
            action(event);
    });
}

void LinuxStatusItem::post(std::function<void()> work)
{
    if (!work)
        return;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [alive = std::weak_ptr<int>(m_alive), work = std::move(work)] {
            if (!alive.expired())
                work();
        },
        Qt::QueuedConnection);
}

void LinuxStatusItem::emitSignal(const QString &name)
{
    if (m_itemObject)
        m_connection.send(QDBusMessage::createSignal(NotifierItemObject::objectPath(),
                                                     NotifierItemObject::interfaceName(), name));
}

QVariantMap LinuxStatusItem::properties() const
{
    const QString iconName =
        m_applicationId + QLatin1Char('-') + m_imageName.toLower() + QLatin1String("-symbolic");
    const bool hasMenu = !currentMenu().items.isEmpty();
    return {
        {QStringLiteral("Category"), QStringLiteral("ApplicationStatus")},
        {QStringLiteral("Id"), m_applicationId},
        {QStringLiteral("Title"), m_title},
        {QStringLiteral("Status"), QStringLiteral("Active")},
        {QStringLiteral("WindowId"), 0},
        {QStringLiteral("IconName"), m_imageName.isEmpty() ? QString() : iconName},
        {QStringLiteral("IconPixmap"), QVariant::fromValue(m_pixmaps)},
        {QStringLiteral("ToolTip"),
         QVariant::fromValue(NotifierToolTip{QString(), {}, m_title, QString()})},
        {QStringLiteral("ItemIsMenu"), false},
        {QStringLiteral("Menu"),
         QVariant::fromValue(QDBusObjectPath(hasMenu ? MenuExporter::objectPath()
                                                     : QStringLiteral("/NO_DBUSMENU")))},
    };
}

Menu LinuxStatusItem::currentMenu() const
{
    return m_menuProvider ? m_menuProvider() : Menu();
}

void LinuxStatusItem::log(DiagnosticType type, const QString &message) const
{
    if (m_diagnostics)
        m_diagnostics(1, type, message);
}
