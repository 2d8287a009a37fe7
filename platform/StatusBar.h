#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <memory>

/// A line of a menu. Chosen, it calls `action` on the main thread.
struct MenuItem
{
    QString title;
    std::function<void()> action;
    QString keyEquivalent; ///< for desktops whose menus have keys; empty for none
};

/// A menu of one level, its items from the top to the bottom.
struct Menu
{
    QString title;
    QList<MenuItem> items;
};

/// What made the item's button send its action.
enum class StatusItemEvent {
    LeftMouseUp,
    LeftMouseUpWithControl,
    RightMouseUp,
};

/// One item in the status bar. It shows from its creation until it is destroyed, and shows itself
/// again when a tray host comes later or restarts. Main thread only.
class StatusItem
{
public:
    virtual ~StatusItem() = default;

    /// Name of an image of the application's resources.
    virtual void setImage(const QString &imageName) = 0;
    virtual void setAction(std::function<void(StatusItemEvent)> action) = 0;

    /// The menu that hosts which draw menus themselves are offered; called when such a host asks,
    /// so that it is built anew each time. An empty function or a menu without items: none.
    virtual void setMenuProvider(std::function<Menu()> provider) = 0;

    /// Opens `menu` at the item or at the pointer and returns; a choice calls the item's action
    /// later. Replaces a menu that is still open.
    virtual void popUpMenu(const Menu &menu) = 0;
};

/// The desktop's status bar, or tray. Main thread only.
class StatusBar
{
public:
    virtual ~StatusBar() = default;
    /// A square item. Never null: without a tray host the item waits for one.
    [[nodiscard]] virtual std::unique_ptr<StatusItem> squareStatusItem() = 0;
};
