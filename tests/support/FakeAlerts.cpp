#include "tests/support/FakeAlerts.h"

#include <algorithm>
#include <stdexcept>

/// The target of buttons that nobody re-targeted.
class FakeAlertWindow::Ending final : public QObject
{
    Q_OBJECT
public:
    explicit Ending(FakeAlerts &alerts) : m_alerts(alerts) {}
    Q_INVOKABLE void endWithTag(QObject *button)
    {
        m_alerts.stopModal(qobject_cast<AlertButton *>(button)->tag());
    }

private:
    FakeAlerts &m_alerts;
};

FakeAlertWindow::FakeAlertWindow(FakeAlerts &alerts)
    : m_alerts(alerts), m_ending(std::make_shared<Ending>(alerts))
{
}

FakeAlertWindow::~FakeAlertWindow() = default;

std::shared_ptr<AlertButton> FakeAlertWindow::addButton(const QString &title, qint64 tag)
{
    auto button = std::make_shared<AlertButton>(title, tag);
    if (m_alerts.buttonsHaveTarget)
        button->setTarget(m_ending);
    button->setAction(m_alerts.buttonAction);
    buttons.append(button);
    return button;
}

qint64 FakeAlertWindow::runModal()
{
    m_alerts.windowsRun.append(messageText);
    if (!m_alerts.display || m_alerts.answers.isEmpty())
        return ModalResponse::Abort;
    const auto session = std::make_shared<FakeAlerts::Session>();
    m_alerts.m_sessions.append(session);
    const FakeAlerts::Answer answer = m_alerts.answers.takeFirst();
    answer(*this);
    m_alerts.m_sessions.removeOne(session);
    return session->code.value_or(ModalResponse::Abort);
}

void FakeAlertWindow::makeKeyAndOrderFront()
{
    m_alerts.broughtToFront.append(messageText);
}

void FakeAlertWindow::press(qint64 tag)
{
    if (buttons.isEmpty() && tag == ModalResponse::FirstButton) {
        m_alerts.stopModal(tag);
        return;
    }
    const auto found = std::find_if(buttons.begin(), buttons.end(),
                                    [tag](const auto &button) { return button->tag() == tag; });
    if (found == buttons.end())
        throw std::logic_error("there is no button of that tag to press");
    const std::shared_ptr<AlertButton> button = *found;
    if (const auto target = button->target().lock())
        QMetaObject::invokeMethod(target.get(), button->action().constData(), Qt::DirectConnection,
                                  Q_ARG(QObject *, button.get()));
}

void FakeAlertWindow::closeByWindowManager()
{
    m_alerts.stopModal(cancelTag.value_or(ModalResponse::FirstButton));
}

QList<qint64> FakeAlertWindow::tags() const
{
    QList<qint64> all;
    for (const auto &button : buttons)
        all.append(button->tag());
    return all;
}

QStringList FakeAlertWindow::titles() const
{
    QStringList all;
    for (const auto &button : buttons)
        all.append(button->title());
    return all;
}

std::unique_ptr<AlertWindow> FakeAlerts::makeWindow()
{
    return std::make_unique<FakeAlertWindow>(*this);
}

void FakeAlerts::stopModal(qint64 code)
{
    for (auto session = m_sessions.rbegin(); session != m_sessions.rend(); ++session) {
        if (!(*session)->code) {
            (*session)->code = code;
            return;
        }
    }
}

qint64 FakeAlerts::runModal(const Alert &alert)
{
    shown.append(alert);
    return response;
}

#include "FakeAlerts.moc"
