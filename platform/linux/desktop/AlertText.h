#pragma once

#include <QScrollArea>

class QLabel;

/// The message of an alert and what explains it, as plain text that the user may select. Wraps at a
/// width, and scrolls beyond a height or where a word is too long to be wrapped.
class AlertText final : public QScrollArea
{
    Q_OBJECT
public:
    explicit AlertText(QWidget *parent = nullptr);

    void setTexts(const QString &message, const QString &informative);
    /// Gives the pane the height that its texts ask for at that width, and no more than
    /// `heightLimit`.
    void fit(int width, int heightLimit);
    /// The width of the texts when they are not wrapped at all.
    [[nodiscard]] int unwrappedWidth() const;
    /// The width of the longest word, which cannot be wrapped.
    [[nodiscard]] int wordWidth() const;
    [[nodiscard]] int lineHeight() const;

    [[nodiscard]] QSize sizeHint() const override { return m_size; }
    [[nodiscard]] QSize minimumSizeHint() const override { return m_size; }

private:
    QWidget *m_content;
    QLabel *m_message;
    QLabel *m_informative;
    QSize m_size;
};
