#pragma once

#include <QLabel>

/// A label of one line of plain text that ends in dots where there is no room for all of it, and
/// then shows the whole in its tool tip. The text is never read for a shortcut.
class SSElidedLabel final : public QLabel
{
    Q_OBJECT
public:
    explicit SSElidedLabel(const QString &text, QWidget *parent = nullptr);

    /// As it was given; text() has it with its ampersands doubled.
    [[nodiscard]] const QString &plainText() const { return m_plainText; }
    /// What is seen of it at the present width.
    [[nodiscard]] QString shownText() const;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QString m_plainText;
};
