#pragma once

#include "platform/Alerts.h"

#include <QDialog>
#include <QList>
#include <QPointer>

#include <functional>

class AlertText;
class QBoxLayout;
class QGridLayout;
class QLabel;
class QPushButton;

/// The window of an alert: icon, texts, view and buttons, fitted to the screen. It decides nothing:
/// what the user does is told to the callbacks. Main thread; needs a display.
class AlertDialog final : public QDialog
{
    Q_OBJECT
public:
    struct Contents
    {
        QString title;
        QString message;
        QString informative;
        std::optional<QImage> icon; ///< see AlertIcon
        AlertStyle style = AlertStyle::Warning;
        QStringList buttons; ///< the first is the default one; never empty
        /// Which of them Escape presses.
        std::optional<qsizetype> escapeButton;
    };

    AlertDialog();
    /// Leaves the view to its owner.
    ~AlertDialog() override;

    std::function<void(qsizetype)> onButton; ///< pressed by mouse or key
    std::function<void()> onClose;           ///< by the window manager

    void setContents(const Contents &contents);
    void setView(QWidget *view);
    /// Puts everything in its place for the present screen, fonts and texts.
    void fit();
    /// Which widget has the keyboard when the window is shown; now, when it is.
    void setFirstResponder(QWidget *widget);
    /// Shows the window above another, or above all, and gives it the keyboard.
    void showAbove(QWidget *below);
    [[nodiscard]] bool event(QEvent *event) override;

public Q_SLOTS:
    // The dialog's own way to end on Escape.
    void reject() override {}

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void setButtons(const QStringList &titles);
    void setTabOrders();
    void fitLater();
    void keepOn(const QRect &available, QSize before);
    void fitButtons(int widthLimit);
    [[nodiscard]] int buttonsWidth() const;

    QLabel *m_icon;
    std::optional<QImage> m_image;
    AlertStyle m_style = AlertStyle::Warning;
    AlertText *m_text;
    QGridLayout *m_grid;
    QBoxLayout *m_buttonRow;
    QList<QPushButton *> m_buttons;
    QPointer<QWidget> m_view;
    QPointer<QWidget> m_firstResponder;
    std::optional<qsizetype> m_escapeButton;
    QSize m_viewSize; ///< that it asked for when all was fitted last
    bool m_fitting = false;
    bool m_fitPending = false;
};
