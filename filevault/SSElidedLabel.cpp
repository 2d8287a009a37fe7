#include "filevault/SSElidedLabel.h"

#include <QPainter>
#include <QStyle>

SSElidedLabel::SSElidedLabel(const QString &text, QWidget *parent)
    : QLabel(parent), m_plainText(text.simplified())
{
    setTextFormat(Qt::PlainText);
    QString doubled = m_plainText;
    doubled.replace(QLatin1Char('&'), QLatin1String("&&"));
    setText(doubled);
}

QString SSElidedLabel::shownText() const
{
    // Measuring for the dots rounds another way.
    if (width() >= sizeHint().width())
        return m_plainText;
    return fontMetrics().elidedText(m_plainText, Qt::ElideRight, contentsRect().width());
}

QSize SSElidedLabel::sizeHint() const
{
    const QMargins margins = contentsMargins();
    return {fontMetrics().horizontalAdvance(m_plainText) + margins.left() + margins.right(),
            fontMetrics().height() + margins.top() + margins.bottom()};
}

QSize SSElidedLabel::minimumSizeHint() const
{
    return {0, sizeHint().height()};
}

void SSElidedLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const auto flags = QStyle::visualAlignment(layoutDirection(), alignment()) | Qt::TextSingleLine;
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(flags), palette(), isEnabled(),
                          shownText(), foregroundRole());
}

void SSElidedLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    setToolTip(shownText() == m_plainText ? QString() : m_plainText);
}
