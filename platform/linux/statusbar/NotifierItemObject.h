#pragma once

#include <QDBusVirtualObject>
#include <QVariant>

#include <functional>
#include <optional>

/// The object that serves org.kde.StatusNotifierItem. Main thread only.
class NotifierItemObject final : public QDBusVirtualObject
{
public:
    /// What a host asks for. None may destroy this object.
    struct Handlers
    {
        std::function<QVariantMap()> properties;
        std::function<void()> activate;
        std::function<void(int x, int y)> contextMenu;
    };
    explicit NotifierItemObject(Handlers handlers);

    [[nodiscard]] static QString interfaceName();
    [[nodiscard]] static QString objectPath();

    [[nodiscard]] QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    [[nodiscard]] QDBusMessage answer(const QDBusMessage &message);

    Handlers m_handlers;
};
