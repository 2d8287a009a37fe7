#pragma once

#include "platform/Alerts.h"
#include "platform/Diagnostics.h"

#include <QList>
#include <QPointer>
#include <QString>

#include <memory>
#include <optional>

class AlertDialog;
class ModalSessions;

/// An alert as a window of the desktop. The widgets are made when it is laid out, so that one can
/// be set up, and answered with Abort, where there is no display.
class LinuxAlertWindow final : public AlertWindow
{
public:
    LinuxAlertWindow(std::shared_ptr<ModalSessions> sessions, QString title,
                     DiagnosticSink diagnostics);
    ~LinuxAlertWindow() override;

    void setMessageText(const QString &text) override { m_message = text; }
    void setInformativeText(const QString &text) override { m_informative = text; }
    void setAlertStyle(AlertStyle style) override { m_style = style; }
    void setIcon(const std::optional<QImage> &icon) override { m_icon = icon; }
    std::shared_ptr<AlertButton> addButton(const QString &title, qint64 tag) override;
    void setCancelTag(qint64 tag) override { m_cancelTag = tag; }
    void setAccessoryView(QWidget *view) override;
    void layout() override;
    void makeFirstResponder(QWidget *view) override;
    [[nodiscard]] qint64 runModal() override;
    void makeKeyAndOrderFront() override;

    /// Whether there is a display.
    [[nodiscard]] static bool canShow();

private:
    class SessionEnd;

    void press(qsizetype index);
    void log(const QString &message) const;

    const std::shared_ptr<ModalSessions> m_sessions;
    const QString m_title;
    const DiagnosticSink m_diagnostics;
    QString m_message;
    QString m_informative;
    AlertStyle m_style = AlertStyle::Warning;
    std::optional<QImage> m_icon;
    QList<std::shared_ptr<AlertButton>> m_buttons;
    std::optional<qint64> m_cancelTag;
    QPointer<QWidget> m_view;
    QPointer<QWidget> m_firstResponder;
    std::shared_ptr<SessionEnd> m_end;
    std::unique_ptr<AlertDialog> m_dialog;
};
