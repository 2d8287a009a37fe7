#include "platform/linux/desktop/LinuxAlertWindow.h"

#include "platform/linux/desktop/AlertDialog.h"
#include "platform/linux/desktop/ModalSessions.h"

#include <QApplication>

#include <algorithm>
#include <utility>

/// The target of the buttons that nobody re-targeted.
class LinuxAlertWindow::SessionEnd final : public QObject
{
    Q_OBJECT
public:
    explicit SessionEnd(LinuxAlertWindow &window) : m_window(window) {}
    Q_INVOKABLE void endWithTag(QObject *sender)
    {
        const auto *button = qobject_cast<AlertButton *>(sender);
        if (button && m_window.m_dialog)
            m_window.m_sessions->stop(*m_window.m_dialog, button->tag());
    }

private:
    LinuxAlertWindow &m_window;
};

LinuxAlertWindow::LinuxAlertWindow(std::shared_ptr<ModalSessions> sessions, QString title,
                                   DiagnosticSink diagnostics)
    : m_sessions(std::move(sessions))
    , m_title(std::move(title))
    , m_diagnostics(std::move(diagnostics))
    , m_end(std::make_shared<SessionEnd>(*this))
{
}

LinuxAlertWindow::~LinuxAlertWindow() = default;

bool LinuxAlertWindow::canShow()
{
    if (qobject_cast<QApplication *>(QCoreApplication::instance()) == nullptr)
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

std::shared_ptr<AlertButton> LinuxAlertWindow::addButton(const QString &title, qint64 tag)
{
    auto button = std::make_shared<AlertButton>(title, tag);
    button->setTarget(m_end);
    button->setAction("endWithTag");
    m_buttons.append(button);
    return button;
}

void LinuxAlertWindow::setAccessoryView(QWidget *view)
{
    m_view = view;
}

void LinuxAlertWindow::layout()
{
    if (!canShow())
        return;
    AlertDialog::Contents contents;
    contents.title = m_title;
    contents.message = m_message;
    contents.informative = m_informative;
    contents.icon = m_icon;
    contents.style = m_style;
    if (m_buttons.isEmpty()) {
        addButton(QStringLiteral("OK"), ModalResponse::FirstButton);
        m_cancelTag = ModalResponse::FirstButton;
    }
    for (const auto &button : std::as_const(m_buttons)) {
        if (button->tag() == m_cancelTag && !contents.escapeButton)
            contents.escapeButton = contents.buttons.size();
        contents.buttons.append(button->title());
    }
    if (!m_dialog) {
        m_dialog = std::make_unique<AlertDialog>();
        m_dialog->onButton = [this](qsizetype index) { press(index); };
        m_dialog->onClose = [this] {
            m_sessions->stop(*m_dialog, m_cancelTag.value_or(ModalResponse::FirstButton));
        };
    }
    m_dialog->setContents(contents);
    m_dialog->setView(m_view);
    m_dialog->fit();
    m_dialog->setFirstResponder(m_firstResponder);
}

void LinuxAlertWindow::makeFirstResponder(QWidget *view)
{
    m_firstResponder = view;
    if (m_dialog)
        m_dialog->setFirstResponder(view);
}

qint64 LinuxAlertWindow::runModal()
{
    if (!canShow()) {
        const QString texts =
            m_informative.isEmpty() ? m_message : m_message + QLatin1Char(' ') + m_informative;
        log(QStringLiteral("No display to show the alert on: %1").arg(texts));
        return ModalResponse::Abort;
    }
    if (!m_dialog)
        layout();
    return m_sessions->run(*m_dialog);
}

void LinuxAlertWindow::makeKeyAndOrderFront()
{
    if (m_dialog)
        m_sessions->raise(*m_dialog);
}

void LinuxAlertWindow::press(qsizetype index)
{
    // Input that came while the handler of an earlier press was at work, or an alert above.
    if (!m_sessions->isInnermost(*m_dialog))
        return;
    const std::shared_ptr<AlertButton> button = m_buttons[index];
    const auto target = button->target().lock();
    if (!target || !QMetaObject::invokeMethod(target.get(), button->action().constData(),
                                              Qt::DirectConnection, Q_ARG(QObject *, button.get())))
        log(QStringLiteral("The button \"%1\" has nothing to call.").arg(button->title()));
}

void LinuxAlertWindow::log(const QString &message) const
{
    if (m_diagnostics)
        m_diagnostics(1, DiagnosticType::Error, message);
}

#include "LinuxAlertWindow.moc"
