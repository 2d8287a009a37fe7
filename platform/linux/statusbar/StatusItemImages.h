#pragma once

#include "platform/linux/statusbar/StatusNotifierTypes.h"

#include <QList>
#include <QString>

/// The named vector image of the application's resources drawn at the sizes of usual panels,
/// square. Empty when there is no such image.
[[nodiscard]] QList<NotifierPixmap> statusItemPixmaps(const QString &imageName);
