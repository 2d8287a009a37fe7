#pragma once

#include "platform/Alerts.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class FakeAlerts;

/// An alert window that a test answers.
class FakeAlertWindow final : public AlertWindow
{
public:
    explicit FakeAlertWindow(FakeAlerts &alerts);
    ~FakeAlertWindow() override;

    void setMessageText(const QString &text) override { messageText = text; }
    void setInformativeText(const QString &text) override { informativeText = text; }
    void setAlertStyle(AlertStyle newStyle) override { style = newStyle; }
    void setIcon(const std::optional<QImage> &newIcon) override { icon = newIcon; }
    std::shared_ptr<AlertButton> addButton(const QString &title, qint64 tag) override;
    void setCancelTag(qint64 tag) override { cancelTag = tag; }
    void setAccessoryView(QWidget *view) override { accessoryView = view; }
    void layout() override { laidOut = true; }
    void makeFirstResponder(QWidget *view) override { firstResponder = view; }
    [[nodiscard]] qint64 runModal() override;
    void makeKeyAndOrderFront() override;

    /// Presses the button of that tag as the user would; it must be there.
    void press(qint64 tag);
    /// The window manager closes the window.
    void closeByWindowManager();
    [[nodiscard]] QList<qint64> tags() const;
    [[nodiscard]] QStringList titles() const;

    QString messageText;
    std::optional<QString> informativeText;
    AlertStyle style = AlertStyle::Warning;
    std::optional<QImage> icon;
    QList<std::shared_ptr<AlertButton>> buttons;
    std::optional<qint64> cancelTag;
    QWidget *accessoryView = nullptr;
    QWidget *firstResponder = nullptr;
    bool laidOut = false;

private:
    class Ending;
    FakeAlerts &m_alerts;
    std::shared_ptr<Ending> m_ending;
};

/// Answers simple alerts with `response`. A window that is run is given to the next answer of
/// `answers`, in which the test presses, types and aborts; without any answer left it ends with
/// Abort.
class FakeAlerts final : public AlertPresenter
{
public:
    using Answer = std::function<void(FakeAlertWindow &)>;

    [[nodiscard]] bool canShow() override { return display; }
    [[nodiscard]] std::unique_ptr<AlertWindow> makeWindow() override;
    void stopModal(qint64 code) override;
    [[nodiscard]] qint64 runModal(const Alert &alert) override;

    QList<Alert> shown;
    qint64 response = ModalResponse::FirstButton;

    bool display = true;
    /// What the buttons call as the window makes them; another action, or no target, does nothing.
    QByteArray buttonAction = QByteArrayLiteral("endWithTag");
    bool buttonsHaveTarget = true;
    QList<Answer> answers;
    /// Message texts of the windows that were run, in that order.
    QStringList windowsRun;
    /// Message texts of the windows brought to the front.
    QStringList broughtToFront;

private:
    friend class FakeAlertWindow;
    struct Session
    {
        std::optional<qint64> code;
    };
    QList<std::shared_ptr<Session>> m_sessions; ///< the innermost last
};
