#include "filevault/SSCredentialsView.h"

#include "filevault/SSElidedLabel.h"
#include "filevault/SSSecureTextField.h"

#include <QEvent>
#include <QLineEdit>
#include <QStyle>

#include <algorithm>

namespace {

constexpr int panelMinimumWidth = 300;
constexpr int panelMaximumWidth = 1000;
constexpr int panelMargin = 5;
constexpr int labelGap = 4;
constexpr int rowGap = 6;
constexpr int entryMinimumWidth = 80;
constexpr int entryPreferredWidth = 200;

} // namespace

std::unique_ptr<SSCredentialsView>
SSCredentialsView::initWithUserNameString(const std::optional<QString> &userNameString,
                                          const QString &passwordString)
{
    std::unique_ptr<SSCredentialsView> view(new SSCredentialsView);
    view->createControlsWithUserNameString(userNameString, passwordString);
    view->initControlsStyle();
    view->appendControls();
    view->initControlsLayoutConstraints();
    view->initAccessibility();
    return view;
}

SSCredentialsView::SSCredentialsView() = default;
SSCredentialsView::~SSCredentialsView() = default;

void SSCredentialsView::createControlsWithUserNameString(
    const std::optional<QString> &userNameString, const QString &passwordString)
{
    m_plate = new QWidget(this);
    if (userNameString) {
        m_userNameLabel = new SSElidedLabel(*userNameString, this);
        m_userNameEdit = new QLineEdit(this);
    }
    m_passwordLabel = new SSElidedLabel(passwordString, this);
    m_passwordEdit = new SSSecureTextField(this);
}

void SSCredentialsView::initControlsStyle()
{
    for (SSElidedLabel *label : {m_userNameLabel, m_passwordLabel}) {
        if (label)
            label->setAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    }
}

void SSCredentialsView::appendControls()
{
    // In the order in which the keyboard goes through them.
    for (QWidget *control : std::initializer_list<QWidget *>{m_userNameLabel, m_userNameEdit,
                                                             m_passwordLabel, m_passwordEdit}) {
        if (control)
            control->setParent(m_plate);
    }
}

void SSCredentialsView::initControlsLayoutConstraints()
{
    setMinimumWidth(panelMinimumWidth);
    setMaximumWidth(panelMaximumWidth);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    resize(sizeHint());
    layoutControls();
}

void SSCredentialsView::initAccessibility()
{
    if (userName()) {
        m_userNameLabel->setBuddy(m_userNameEdit);
        m_userNameEdit->setAccessibleName(m_userNameLabel->plainText());
    }
    m_passwordLabel->setBuddy(m_passwordEdit);
    m_passwordEdit->setAccessibleName(m_passwordLabel->plainText());
}

int SSCredentialsView::labelsWidth() const
{
    const int passwordWidth = m_passwordLabel->sizeHint().width();
    return userName() ? std::max(m_userNameLabel->sizeHint().width(), passwordWidth)
                      : passwordWidth;
}

int SSCredentialsView::rowHeight() const
{
    return std::max(m_passwordEdit->sizeHint().height(), m_passwordLabel->sizeHint().height());
}

QSize SSCredentialsView::sizeHint() const
{
    const int width = labelsWidth() + labelGap + entryPreferredWidth + 2 * panelMargin;
    const int height = userName() ? 2 * rowHeight() + rowGap : rowHeight();
    return {std::clamp(width, panelMinimumWidth, panelMaximumWidth), height};
}

QSize SSCredentialsView::minimumSizeHint() const
{
    return {panelMinimumWidth, sizeHint().height()};
}

void SSCredentialsView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutControls();
}

void SSCredentialsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::StyleChange:
    case QEvent::LayoutDirectionChange:
        if (m_passwordEdit) {
            updateGeometry();
            layoutControls();
        }
        break;
    default:
        break;
    }
}

void SSCredentialsView::layoutControls()
{
    const int room = width() - 2 * panelMargin - labelGap;
    // The entry gives way before the labels do, and the labels before the entry is too small.
    const int labels = std::min(labelsWidth(), room - entryMinimumWidth);
    const int entry = std::clamp(room - labels, entryMinimumWidth, entryPreferredWidth);
    const int plateWidth = labels + labelGap + entry;
    m_plate->setGeometry((width() - plateWidth) / 2, 0, plateWidth, height());

    // A label as high as its entry has its base line where the entry has it.
    const int row = rowHeight();
    int top = 0;
    const auto place = [&](SSElidedLabel *label, QLineEdit *edit) {
        const int own = std::min(label->sizeHint().width(), labels);
        const QRect plate = m_plate->rect();
        label->setGeometry(
            QStyle::visualRect(layoutDirection(), plate, QRect(labels - own, top, own, row)));
        edit->setGeometry(QStyle::visualRect(layoutDirection(), plate,
                                             QRect(labels + labelGap, top, entry, row)));
        top += row + rowGap;
    };
    if (userName())
        place(m_userNameLabel, m_userNameEdit);
    place(m_passwordLabel, m_passwordEdit);
}
