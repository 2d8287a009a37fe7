#pragma once

#include <QImage>
#include <QString>

#include <optional>

/// The user's desktop.
class Workspace
{
public:
    virtual ~Workspace() = default;

    /// Opens the page in the default browser. Only an http or https URL with a host is handed on;
    /// anything else is refused with a log line. False when nothing could be opened.
    virtual bool openUrl(const QString &url) = 0;

    /// An image of the application bundle at `bundlePath` (a path below the root prefix), absent
    /// when the bundle or the image is missing.
    [[nodiscard]] virtual std::optional<QImage> bundleImage(const QString &bundlePath,
                                                            const QString &imageName) = 0;

    /// Whether something exists at `path` (below the root prefix).
    [[nodiscard]] virtual bool fileExists(const QString &path) = 0;
};
