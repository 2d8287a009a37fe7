#pragma once

#include "platform/Alerts.h"

#include <QImage>
#include <QPixmap>

#include <optional>

class QWidget;

/// The picture beside an alert's texts.
namespace AlertIcon {

/// In points, both ways.
inline constexpr int Side = 64;

/// `icon`, or the style's own when that is absent or null. An icon on a critical alert carries the
/// style's own in its lower corner on the side where lines end. For the screen, theme and direction
/// that `window` has now.
[[nodiscard]] QPixmap pixmap(const std::optional<QImage> &icon, AlertStyle style,
                             const QWidget &window);

} // namespace AlertIcon
