#include "platform/linux/desktop/LinuxAlertPresenter.h"

#include <QApplication>
#include <QEvent>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>

#include <utility>

namespace {

/// Takes the box down before the quitting application closes its windows, which would otherwise
/// count as the user's answer.
class QuitWatch final : public QObject
{
public:
    explicit QuitWatch(QMessageBox &box) : m_box(box) { qApp->installEventFilter(this); }
    [[nodiscard]] bool quitting() const { return m_quitting; }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == qApp && event->type() == QEvent::Quit) {
            m_quitting = true;
            m_box.done(0);
        }
        return false;
    }

private:
    QMessageBox &m_box;
    bool m_quitting = false;
};

bool hasDisplay()
{
    if (qobject_cast<QApplication *>(QCoreApplication::instance()) == nullptr)
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

QMessageBox::Icon iconOfStyle(AlertStyle style)
{
    switch (style) {
    case AlertStyle::Warning:
        return QMessageBox::Warning;
    case AlertStyle::Informational:
        return QMessageBox::Information;
    case AlertStyle::Critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::Warning;
}

QPixmap alertIcon(const QImage &image)
{
    constexpr int side = 64;
    const qreal ratio = qApp->devicePixelRatio();
    QPixmap pixmap = QPixmap::fromImage(
        image.scaled(QSize(side, side) * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    pixmap.setDevicePixelRatio(ratio);
    return pixmap;
}

} // namespace

LinuxAlertPresenter::LinuxAlertPresenter(QString windowTitle, DiagnosticSink diagnostics)
    : m_windowTitle(std::move(windowTitle)), m_diagnostics(std::move(diagnostics))
{
}

qint64 LinuxAlertPresenter::runModal(const Alert &alert)
{
    if (!hasDisplay()) {
        if (m_diagnostics) {
            QString text = alert.messageText;
            if (alert.informativeText)
                text += QLatin1Char(' ') + *alert.informativeText;
            m_diagnostics(1, DiagnosticType::Error,
                          QStringLiteral("No display to show the alert on: %1").arg(text));
        }
        return ModalResponse::Abort;
    }

    QMessageBox box;
    box.setAttribute(Qt::WA_QuitOnClose, false);
    box.setTextFormat(Qt::PlainText);
    box.setWindowTitle(m_windowTitle);
    box.setAccessibleName(m_windowTitle);
    box.setText(alert.messageText);
    if (alert.informativeText)
        box.setInformativeText(*alert.informativeText);
    if (alert.icon && !alert.icon->isNull())
        box.setIconPixmap(alertIcon(*alert.icon));
    else
        box.setIcon(iconOfStyle(alert.style));
    QPushButton *button = box.addButton(QStringLiteral("OK"), QMessageBox::AcceptRole);
    box.setDefaultButton(button);
    box.setEscapeButton(button);

    const QuitWatch watch(box);
    box.exec();
    // An event loop that was ended from outside leaves no button clicked.
    if (watch.quitting() || box.clickedButton() != button)
        return ModalResponse::Abort;
    return ModalResponse::FirstButton;
}

std::unique_ptr<AlertWindow> LinuxAlertPresenter::makeWindow()
{
    return nullptr;
}

void LinuxAlertPresenter::stopModal(qint64) {}
