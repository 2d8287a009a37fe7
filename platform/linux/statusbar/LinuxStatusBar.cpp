#include "platform/linux/statusbar/LinuxStatusBar.h"

#include "platform/linux/statusbar/LinuxStatusItem.h"

#include <utility>

LinuxStatusBar::LinuxStatusBar(QString applicationId, QString title, DiagnosticSink diagnostics)
    : m_applicationId(std::move(applicationId))
    , m_title(std::move(title))
    , m_diagnostics(std::move(diagnostics))
{
}

std::unique_ptr<StatusItem> LinuxStatusBar::squareStatusItem()
{
    return std::make_unique<LinuxStatusItem>(m_applicationId, m_title, m_diagnostics);
}
