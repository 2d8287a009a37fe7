#pragma once

#include "platform/Diagnostics.h"
#include "platform/Workspace.h"

/// Hands pages to the default browser through "xdg-open" and reads the images of an application
/// bundle. Needs no graphical application object.
class LinuxWorkspace final : public Workspace
{
public:
    /// `rootPrefix` is put before every path; empty in production.
    LinuxWorkspace(QString rootPrefix, DiagnosticSink diagnostics);

    /// Starts "xdg-open" and does not wait for it. False when the URL is refused, when "xdg-open"
    /// is not on PATH or when it could not be started; each with a log line.
    bool openUrl(const QString &url) override;

    /// The file `<bundlePath>/Contents/Resources/<imageName>.png`, or the same with ".svg" drawn at
    /// 256 pixels. Only a regular file of at most 4 MiB is read.
    [[nodiscard]] std::optional<QImage> bundleImage(const QString &bundlePath,
                                                    const QString &imageName) override;
    [[nodiscard]] bool fileExists(const QString &path) override;

private:
    void logError(const QString &message) const;

    QString m_rootPrefix;
    DiagnosticSink m_diagnostics;
};
