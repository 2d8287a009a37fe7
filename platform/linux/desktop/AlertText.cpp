#include "platform/linux/desktop/AlertText.h"

#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {

/// Between the texts and the bar beside them.
constexpr int barGap = 8;

QLabel *makeLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setAlignment(Qt::AlignLeading | Qt::AlignTop);
    label->hide();
    return label;
}

int widestLine(const QLabel &label)
{
    // Explicitly shown labels count, whether or not their window is on the screen yet.
    if (label.isHidden())
        return 0;
    return label.fontMetrics().boundingRect(QRect(), Qt::TextExpandTabs, label.text()).width() + 1;
}

} // namespace

AlertText::AlertText(QWidget *parent)
    : QScrollArea(parent)
    , m_content(new QWidget(this))
    , m_message(makeLabel(m_content))
    , m_informative(makeLabel(m_content))
{
    setFrameShape(QFrame::NoFrame);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    auto *column = new QVBoxLayout(m_content);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(m_message);
    column->addWidget(m_informative);
    column->addStretch();
    setWidget(m_content);
    setWidgetResizable(true);
    // The pane shows the window's own ground.
    m_content->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
}

void AlertText::setTexts(const QString &message, const QString &informative)
{
    m_message->setText(message);
    m_message->setVisible(!message.isEmpty());
    m_informative->setText(informative);
    m_informative->setVisible(!informative.isEmpty());
    // What stands above something else is its headline.
    QFont headline = m_message->font();
    headline.setBold(!message.isEmpty() && !informative.isEmpty());
    m_message->setFont(headline);
}

int AlertText::unwrappedWidth() const
{
    return std::max(widestLine(*m_message), widestLine(*m_informative));
}

int AlertText::wordWidth() const
{
    int width = 0;
    for (const QLabel *label : {m_message, m_informative}) {
        if (!label->isHidden())
            width = std::max(width, label->minimumSizeHint().width());
    }
    return width;
}

int AlertText::lineHeight() const
{
    return m_message->fontMetrics().lineSpacing();
}

void AlertText::fit(int width, int heightLimit)
{
    QLayout &column = *m_content->layout();
    column.setContentsMargins(0, 0, 0, 0);
    // Without a text there is no height for a width.
    int height = std::max(0, column.totalHeightForWidth(width));
    int barWidth = 0;
    bool scrolls = wordWidth() > width;
    if (scrolls)
        height += horizontalScrollBar()->sizeHint().height();
    if (height > heightLimit) {
        scrolls = true;
        height = heightLimit;
        barWidth = verticalScrollBar()->sizeHint().width() + barGap;
        if (isRightToLeft())
            column.setContentsMargins(barGap, 0, 0, 0);
        else
            column.setContentsMargins(0, 0, barGap, 0);
    }
    m_size = QSize(width + barWidth, height);
    setFixedSize(m_size);
    setFocusPolicy(scrolls ? Qt::TabFocus : Qt::NoFocus);
}
