#pragma once

#include "platform/Diagnostics.h"
#include "platform/StatusBar.h"

/// The status bar of the session: StatusNotifierItems on its bus. Main thread only.
class LinuxStatusBar final : public StatusBar
{
public:
    /// `title` is the name that hosts show in their tool tip and lists.
    LinuxStatusBar(QString applicationId, QString title, DiagnosticSink diagnostics);

    [[nodiscard]] std::unique_ptr<StatusItem> squareStatusItem() override;

private:
    QString m_applicationId;
    QString m_title;
    DiagnosticSink m_diagnostics;
};
