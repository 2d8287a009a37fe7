#include "platform/linux/desktop/LinuxWorkspace.h"

#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QSvgRenderer>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace {

constexpr qint64 MaximumImageBytes = 4LL * 1024 * 1024;
constexpr int VectorImageSide = 256;

std::optional<QUrl> webPage(const QString &text)
{
    // The parser trims and mends some of these, and a desktop file may hand the text to a shell.
    const bool unfit = std::any_of(text.cbegin(), text.cend(), [](QChar c) {
        return c.isSpace() || c.category() == QChar::Other_Control || c == QLatin1Char('\\');
    });
    if (unfit)
        return std::nullopt;
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty())
        return std::nullopt;
    if (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))
        return std::nullopt;
    return url;
}

std::optional<QByteArray> smallFile(const QString &path)
{
    // A FIFO would block the reader.
    if (!QFileInfo(path).isFile())
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > MaximumImageBytes)
        return std::nullopt;
    return file.read(MaximumImageBytes);
}

} // namespace

LinuxWorkspace::LinuxWorkspace(QString rootPrefix, DiagnosticSink diagnostics)
    : m_rootPrefix(std::move(rootPrefix)), m_diagnostics(std::move(diagnostics))
{
}

bool LinuxWorkspace::openUrl(const QString &url)
{
    const std::optional<QUrl> page = webPage(url);
    if (!page) {
        // The text is not repeated: it may hold a password or break the log's lines.
        logError(QStringLiteral("Refused to open a URL that is not http or https with a host."));
        return false;
    }
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (opener.isEmpty()) {
        logError(QStringLiteral("xdg-open was not found; cannot open the browser."));
        return false;
    }
    QProcess process;
    process.setProgram(opener);
    process.setArguments({QString::fromLatin1(page->toEncoded(QUrl::FullyEncoded))});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    if (!process.startDetached()) {
        logError(QStringLiteral("%1 could not be started.").arg(opener));
        return false;
    }
    return true;
}

std::optional<QImage> LinuxWorkspace::bundleImage(const QString &bundlePath,
                                                  const QString &imageName)
{
    if (imageName.isEmpty() || imageName.contains(QLatin1Char('/')))
        return std::nullopt;
    const QString base =
        m_rootPrefix + bundlePath + QStringLiteral("/Contents/Resources/") + imageName;
    if (const auto bytes = smallFile(base + QStringLiteral(".png"))) {
        QImage image;
        if (image.loadFromData(*bytes, "PNG"))
            return image;
    }
    if (const auto bytes = smallFile(base + QStringLiteral(".svg"))) {
        QSvgRenderer renderer(*bytes);
        if (renderer.isValid()) {
            QImage image(VectorImageSide, VectorImageSide, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            renderer.render(&painter);
            painter.end();
            return image;
        }
    }
    return std::nullopt;
}

bool LinuxWorkspace::fileExists(const QString &path)
{
    return QFileInfo::exists(m_rootPrefix + path);
}

void LinuxWorkspace::logError(const QString &message) const
{
    if (m_diagnostics)
        m_diagnostics(1, DiagnosticType::Error, message);
}
