#include "platform/linux/statusbar/StatusItemImages.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QtEndian>

#include <array>

static void registerResources()
{
    Q_INIT_RESOURCE(selfservice);
}

QList<NotifierPixmap> statusItemPixmaps(const QString &imageName)
{
    registerResources();
    const QString path = QStringLiteral(":/selfservice/images/%1.svg").arg(imageName);
    QList<NotifierPixmap> pixmaps;
    if (!QFile::exists(path))
        return pixmaps;
    QSvgRenderer renderer(path);
    if (!renderer.isValid())
        return pixmaps;
    constexpr std::array sizes{16, 22, 24, 32, 48};
    for (const int size : sizes) {
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter);
        painter.end();
        image.convertTo(QImage::Format_ARGB32);
        NotifierPixmap pixmap{size, size, QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
        qToBigEndian<quint32>(image.constBits(), qsizetype{size} * size, pixmap.bytes.data());
        pixmaps.append(pixmap);
    }
    return pixmaps;
}
