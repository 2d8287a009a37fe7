#pragma once

#include "platform/StatusBar.h"
#include "platform/linux/statusbar/StatusNotifierTypes.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>

#include <functional>
#include <optional>

/// The object that serves com.canonical.dbusmenu: a flat menu, built anew whenever a host asks. It
/// keeps titles only; the actions come from the menu that is built at the click. Main thread only.
class MenuExporter final : public QDBusVirtualObject
{
public:
    using Provider = std::function<Menu()>;
    using ActionRunner = std::function<void(std::function<void()>)>;

    /// `run` is given the action of a chosen item and runs it after the call has returned.
    MenuExporter(Provider provider, ActionRunner run);

    [[nodiscard]] static QString interfaceName();
    [[nodiscard]] static QString objectPath();

    [[nodiscard]] QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    [[nodiscard]] QDBusMessage answer(const QDBusMessage &message);
    [[nodiscard]] QDBusMessage layout(const QDBusMessage &message);
    [[nodiscard]] QDBusMessage groupProperties(const QDBusMessage &message);
    [[nodiscard]] QDBusMessage eventGroup(const QDBusMessage &message);
    [[nodiscard]] QDBusMessage aboutToShowGroup(const QDBusMessage &message);
    [[nodiscard]] std::optional<QVariantMap> itemProperties(int id) const;
    /// Builds the menu anew; true when its titles changed.
    bool refresh();
    /// False when there is no such item.
    bool itemEvent(int id, const QString &type);
    [[nodiscard]] bool knows(int id) const;

    Provider m_provider;
    ActionRunner m_run;
    QStringList m_titles;
    // Items of a menu that has changed get new identifiers, so that a late click on an old item
    // never runs another one.
    int m_firstId = 1;
    uint m_revision = 1;
};
