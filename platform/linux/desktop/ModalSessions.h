#pragma once

#include <QEventLoop>
#include <QObject>

#include <optional>
#include <vector>

class AlertDialog;

/// The modal sessions that run, each inside the one before. Main thread only.
class ModalSessions final : public QObject
{
    Q_OBJECT
public:
    ModalSessions() = default;

    /// Shows the dialog before all others and runs a nested event loop until its session is ended;
    /// the code it was ended with, ModalResponse::Abort when the event loops were ended instead. A
    /// dialog that runs already is refused with Abort.
    [[nodiscard]] qint64 run(AlertDialog &dialog);
    /// Ends the innermost session that has not been ended yet.
    void stop(qint64 code);
    /// Ends that dialog's session, unless it has been ended or another runs inside it.
    void stop(const AlertDialog &dialog, qint64 code);
    /// Whether the dialog is the one that the user can answer.
    [[nodiscard]] bool isInnermost(const AlertDialog &dialog) const;
    /// Brings the dialog and those above it to the front, if it is on the screen.
    void raise(const AlertDialog &dialog) const;

    /// Aborts every session when the application is asked to quit: it would otherwise ask each
    /// window to close first, which counts as the user's answer.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Session
    {
        explicit Session(AlertDialog &shown) : dialog(&shown) {}
        AlertDialog *dialog;
        QEventLoop loop;
        std::optional<qint64> code;
    };

    static void end(Session &session, qint64 code);

    std::vector<Session *> m_sessions; ///< the innermost last
};
