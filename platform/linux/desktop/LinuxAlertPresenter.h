#pragma once

#include "platform/Alerts.h"
#include "platform/Diagnostics.h"

/// Modal alerts as message boxes. Texts are shown as they are, never as markup. Escape and the
/// window's close button answer "OK"; an application that quits takes the alert down.
class LinuxAlertPresenter final : public AlertPresenter
{
public:
    /// `windowTitle` is the title of every alert.
    LinuxAlertPresenter(QString windowTitle, DiagnosticSink diagnostics);

    [[nodiscard]] std::unique_ptr<AlertWindow> makeWindow() override;
    void stopModal(qint64 code) override;
    [[nodiscard]] qint64 runModal(const Alert &alert) override;

private:
    QString m_windowTitle;
    DiagnosticSink m_diagnostics;
};
