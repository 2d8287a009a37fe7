#pragma once

#include "platform/Diagnostics.h"
#include "platform/StatusBar.h"
#include "platform/linux/statusbar/StatusNotifierTypes.h"

#include <QDBusConnection>
#include <QPoint>
#include <QPointer>

#include <memory>
#include <optional>

class MenuExporter;
class NotifierItemObject;
class QDBusServiceWatcher;
class QMenu;

/// One StatusNotifierItem on a bus connection of its own, so that it is gone from every host the
/// moment it is destroyed. Actions run from the event loop; any of them may destroy the item.
class LinuxStatusItem final : public StatusItem
{
public:
    LinuxStatusItem(QString applicationId, QString title, DiagnosticSink diagnostics);
    ~LinuxStatusItem() override;
    LinuxStatusItem(const LinuxStatusItem &) = delete;
    LinuxStatusItem &operator=(const LinuxStatusItem &) = delete;

    void setImage(const QString &imageName) override;
    void setAction(std::function<void(StatusItemEvent)> action) override;
    void setMenuProvider(std::function<Menu()> provider) override;
    void popUpMenu(const Menu &menu) override;

private:
    void registerWithHost();
    void clicked(StatusItemEvent event);
    void post(std::function<void()> work);
    void emitSignal(const QString &name);
    [[nodiscard]] QVariantMap properties() const;
    [[nodiscard]] Menu currentMenu() const;
    void log(DiagnosticType type, const QString &message) const;

    QString m_applicationId;
    QString m_title;
    DiagnosticSink m_diagnostics;
    QString m_imageName;
    QList<NotifierPixmap> m_pixmaps;
    std::function<void(StatusItemEvent)> m_action;
    std::function<Menu()> m_menuProvider;
    std::optional<QPoint> m_menuPosition; ///< where the host saw the last right click
    QString m_connectionName;
    QDBusConnection m_connection;
    std::unique_ptr<NotifierItemObject> m_itemObject;
    std::unique_ptr<MenuExporter> m_menuExporter;
    std::unique_ptr<QDBusServiceWatcher> m_hostWatcher;
    QPointer<QMenu> m_popUp;
    std::shared_ptr<int> m_alive; ///< work in the queue holds it weakly
};
