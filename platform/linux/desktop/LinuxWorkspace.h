#pragma once

#include "platform/Diagnostics.h"
#include "platform/Workspace.h"

/// The user's desktop by the freedesktop tools: a page is opened by "xdg-open" of the search path,
/// in a process of its own that is not waited for. Works without a display.
class LinuxWorkspace final : public Workspace
{
public:
    /// Longer addresses are refused.
    static constexpr qsizetype MaximumUrlLength = 8192;

    /// `rootPrefix` is put before the paths of bundles and files.
    LinuxWorkspace(QString rootPrefix, DiagnosticSink diagnostics);

    bool openUrl(const QString &url) override;
    /// The image is "Contents/Resources/NAME" of the bundle with the suffix svg or png; one that is
    /// larger than 4 MiB or not readable counts as missing.
    [[nodiscard]] std::optional<QImage> bundleImage(const QString &bundlePath,
                                                    const QString &imageName) override;
    [[nodiscard]] bool fileExists(const QString &path) override;

private:
    QString m_rootPrefix;
    DiagnosticSink m_diagnostics;
};
