#include "platform/linux/desktop/LinuxAlertPresenter.h"

#include "platform/linux/desktop/LinuxAlertWindow.h"
#include "platform/linux/desktop/ModalSessions.h"

#include <utility>

LinuxAlertPresenter::LinuxAlertPresenter(QString windowTitle, DiagnosticSink diagnostics)
    : m_windowTitle(std::move(windowTitle))
    , m_diagnostics(std::move(diagnostics))
    , m_sessions(std::make_shared<ModalSessions>())
{
}

LinuxAlertPresenter::~LinuxAlertPresenter() = default;

bool LinuxAlertPresenter::canShow()
{
    return LinuxAlertWindow::canShow();
}

std::unique_ptr<AlertWindow> LinuxAlertPresenter::makeWindow()
{
    return std::make_unique<LinuxAlertWindow>(m_sessions, m_windowTitle, m_diagnostics);
}

void LinuxAlertPresenter::stopModal(qint64 code)
{
    m_sessions->stop(code);
}

qint64 LinuxAlertPresenter::runModal(const Alert &alert)
{
    const auto window = makeWindow();
    window->setMessageText(alert.messageText);
    window->setInformativeText(alert.informativeText.value_or(QString()));
    window->setAlertStyle(alert.style);
    window->setIcon(alert.icon);
    return window->runModal();
}
