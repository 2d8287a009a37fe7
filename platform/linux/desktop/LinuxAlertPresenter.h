#pragma once

#include "platform/Alerts.h"
#include "platform/Diagnostics.h"

#include <memory>

class ModalSessions;

/// Modal alerts as windows of the desktop. Texts are shown as they are, never as markup. An
/// application that quits takes them down.
class LinuxAlertPresenter final : public AlertPresenter
{
public:
    /// `windowTitle` is the title of every alert.
    LinuxAlertPresenter(QString windowTitle, DiagnosticSink diagnostics);
    ~LinuxAlertPresenter() override;

    [[nodiscard]] bool canShow() override;
    [[nodiscard]] std::unique_ptr<AlertWindow> makeWindow() override;
    void stopModal(qint64 code) override;
    [[nodiscard]] qint64 runModal(const Alert &alert) override;

private:
    const QString m_windowTitle;
    const DiagnosticSink m_diagnostics;
    const std::shared_ptr<ModalSessions> m_sessions;
};
