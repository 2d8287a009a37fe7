#include "app/ctl/SSControlFile.h"

#include <QFile>
#include <QFileInfo>

SSControlFile::Contents SSControlFile::read(const QString &path, qint64 most,
                                            const QString &tooLong)
{
    const auto failed = [&path](const QString &reason) {
        return Contents{std::nullopt, path + QStringLiteral(": ") + reason};
    };
    // A FIFO or a device might keep its reader waiting for ever.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        return failed(QStringLiteral("not a regular file"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(file.errorString());
    const QByteArray bytes = file.read(most + 1);
    if (file.error() != QFileDevice::NoError)
        return failed(file.errorString());
    if (bytes.size() > most)
        return failed(tooLong);
    return {bytes, {}};
}
