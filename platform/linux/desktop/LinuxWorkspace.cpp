#include "platform/linux/desktop/LinuxWorkspace.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace {

constexpr qint64 maximumImageBytes = 4LL * 1024 * 1024;
constexpr QSize imageSize(128, 128);

/// The address as it is handed on, or nothing when it is not one of a web page.
std::optional<QString> webPage(const QString &text)
{
    if (text.size() > LinuxWorkspace::MaximumUrlLength)
        return std::nullopt;
    if (std::any_of(text.cbegin(), text.cend(),
                    [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7f; }))
        return std::nullopt;
    const QUrl url(text, QUrl::StrictMode);
    const QString scheme = url.scheme(); // in lower case
    if (!url.isValid() || url.host().isEmpty() ||
        (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return std::nullopt;
    return url.toString(QUrl::FullyEncoded);
}

} // namespace

LinuxWorkspace::LinuxWorkspace(QString rootPrefix, DiagnosticSink diagnostics)
    : m_rootPrefix(std::move(rootPrefix)), m_diagnostics(std::move(diagnostics))
{
}

bool LinuxWorkspace::openUrl(const QString &url)
{
    const std::optional<QString> page = webPage(url);
    if (!page) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("Not opened, since it is not the address of a web page: %1")
                          .arg(url.left(200)));
        return false;
    }
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (opener.isEmpty()) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("%1 cannot be opened: there is no xdg-open.").arg(*page));
        return false;
    }
    QProcess process;
    process.setProgram(opener);
    process.setArguments({*page});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    if (!process.startDetached()) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("%1 cannot be opened: %2").arg(*page, process.errorString()));
        return false;
    }
    m_diagnostics(2, DiagnosticType::Info, QStringLiteral("Opened in the browser: %1").arg(*page));
    return true;
}

std::optional<QImage> LinuxWorkspace::bundleImage(const QString &bundlePath,
                                                  const QString &imageName)
{
    for (const char *suffix : {"svg", "png"}) {
        const QString path =
            QStringLiteral("%1%2/Contents/Resources/%3.%4")
                .arg(m_rootPrefix, bundlePath, imageName, QString::fromLatin1(suffix));
        const QFileInfo file(path);
        if (!file.isFile() || file.size() > maximumImageBytes)
            continue;
        QImageReader reader(path, suffix);
        if (QByteArrayView(suffix) == "svg")
            reader.setScaledSize(imageSize);
        const QImage image = reader.read();
        if (!image.isNull())
            return image;
        m_diagnostics(
            1, DiagnosticType::Error,
            QStringLiteral("The image %1 cannot be read: %2").arg(path, reader.errorString()));
    }
    return std::nullopt;
}

bool LinuxWorkspace::fileExists(const QString &path)
{
    return QFile::exists(m_rootPrefix + path);
}
