#pragma once

#include "platform/Alerts.h"
#include "platform/Diagnostics.h"

/// Alerts as message boxes. Escape and the window's close button press the one button there is. An
/// alert goes down with the application's event loop and then answers Abort.
class LinuxAlertPresenter final : public AlertPresenter
{
public:
    explicit LinuxAlertPresenter(DiagnosticSink diagnostics);
    [[nodiscard]] qint64 runModal(const Alert &alert) override;

private:
    DiagnosticSink m_diagnostics;
};
