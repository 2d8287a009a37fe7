#include "platform/linux/desktop/LinuxAlertPresenter.h"

#include <QApplication>
#include <QMessageBox>
#include <QPixmap>

#include <utility>

namespace {

QMessageBox::Icon messageBoxIcon(AlertStyle style)
{
    switch (style) {
    case AlertStyle::Warning:
        return QMessageBox::Warning;
    case AlertStyle::Informational:
        return QMessageBox::Information;
    case AlertStyle::Critical:
        break;
    }
    return QMessageBox::Critical;
}

} // namespace

LinuxAlertPresenter::LinuxAlertPresenter(DiagnosticSink diagnostics)
    : m_diagnostics(std::move(diagnostics))
{
}

qint64 LinuxAlertPresenter::runModal(const Alert &alert)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance())) {
        m_diagnostics(
            1, DiagnosticType::Error,
            QStringLiteral("Without a display this alert is not shown: %1").arg(alert.messageText));
        return ModalResponse::Abort;
    }
    QMessageBox box(messageBoxIcon(alert.style), QStringLiteral("Self-Service Password Reset"),
                    alert.messageText, QMessageBox::Ok);
    // Texts come from the directory: nothing in them is markup.
    box.setTextFormat(Qt::PlainText);
    if (alert.informativeText)
        box.setInformativeText(*alert.informativeText);
    if (alert.icon) {
        box.setWindowIcon(QPixmap::fromImage(*alert.icon));
        box.setIconPixmap(QPixmap::fromImage(
            alert.icon->scaled(QSize(64, 64), Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    }
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    box.exec();
    // Ended from outside, the box has no button pressed.
    return box.clickedButton() ? ModalResponse::FirstButton : ModalResponse::Abort;
}
