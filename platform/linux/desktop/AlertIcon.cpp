#include "platform/linux/desktop/AlertIcon.h"

#include <QIcon>
#include <QPainter>
#include <QStyle>
#include <QWidget>

namespace {

constexpr int badgeSide = 30;
/// How much of the icon is taken away about the badge, so that it stands out on any colour.
constexpr int badgeRim = 2;

QStyle::StandardPixmap pixmapOfStyle(AlertStyle style)
{
    switch (style) {
    case AlertStyle::Warning:
        return QStyle::SP_MessageBoxWarning;
    case AlertStyle::Informational:
        return QStyle::SP_MessageBoxInformation;
    case AlertStyle::Critical:
        return QStyle::SP_MessageBoxCritical;
    }
    return QStyle::SP_MessageBoxWarning;
}

void addBadge(QPixmap &pixmap, const QIcon &badge, const QWidget &window)
{
    const QRect place = QStyle::alignedRect(
        window.layoutDirection(), Qt::AlignRight | Qt::AlignBottom, QSize(badgeSide, badgeSide),
        QRect(0, 0, AlertIcon::Side, AlertIcon::Side));
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::black);
    painter.drawEllipse(place.adjusted(-badgeRim, -badgeRim, badgeRim, badgeRim));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    badge.paint(&painter, place);
}

} // namespace

QPixmap AlertIcon::pixmap(const std::optional<QImage> &icon, AlertStyle style,
                          const QWidget &window)
{
    const qreal ratio = window.devicePixelRatioF();
    const QIcon own = window.style()->standardIcon(pixmapOfStyle(style), nullptr, &window);
    if (!icon || icon->isNull())
        return own.pixmap(QSize(Side, Side), ratio);
    const QImage scaled =
        icon->scaled(QSize(Side, Side) * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QPixmap pixmap(QSize(Side, Side) * ratio);
    pixmap.fill(Qt::transparent);
    {
        QPainter painter(&pixmap);
        painter.drawImage((pixmap.width() - scaled.width()) / 2,
                          (pixmap.height() - scaled.height()) / 2, scaled);
    }
    pixmap.setDevicePixelRatio(ratio);
    if (style == AlertStyle::Critical)
        addBadge(pixmap, own, window);
    return pixmap;
}
