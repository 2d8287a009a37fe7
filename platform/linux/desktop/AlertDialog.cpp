#include "platform/linux/desktop/AlertDialog.h"

#include "platform/linux/desktop/AlertIcon.h"
#include "platform/linux/desktop/AlertText.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace {

/// How much of the screen a window may take; the rest is for its frame and the panels.
constexpr double screenShare = 0.9;
/// How much of it the texts may take before they scroll.
constexpr double textShare = 0.6;
constexpr int outerMargin = 16;
constexpr int rowSpacing = 12;
constexpr int buttonSpacing = 6;
constexpr int preferredCharacters = 56;
constexpr int leastLines = 3;

/// Those that the Tab key reaches, in their present order.
QList<QWidget *> reachedByTab(QWidget *view)
{
    QList<QWidget *> all;
    QWidget *widget = view;
    do {
        if ((widget == view || view->isAncestorOf(widget)) &&
            (widget->focusPolicy() & Qt::TabFocus) != 0)
            all.append(widget);
        widget = widget->nextInFocusChain();
    } while (widget && widget != view);
    return all;
}

/// Leaves Return to the dialog. By itself a button takes it where the desktop's theme says so, and
/// the default one also from a key that is held down.
class AlertPushButton final : public QPushButton
{
public:
    using QPushButton::QPushButton;

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
            event->ignore();
        else
            QPushButton::keyPressEvent(event);
    }
};

} // namespace

AlertDialog::AlertDialog()
    : m_icon(new QLabel(this))
    , m_text(new AlertText(this))
    , m_grid(new QGridLayout(this))
    , m_buttonRow(new QBoxLayout(QBoxLayout::LeftToRight))
{
    m_buttonRow->setSpacing(buttonSpacing);
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowModality(Qt::ApplicationModal);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    m_icon->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    m_grid->addWidget(m_icon, 0, 0, 2, 1, Qt::AlignTop);
    m_grid->addWidget(m_text, 0, 1);
    m_grid->addLayout(m_buttonRow, 2, 0, 1, 2);
    m_grid->setContentsMargins(outerMargin, outerMargin, outerMargin, outerMargin);
    m_grid->setHorizontalSpacing(outerMargin);
    m_grid->setVerticalSpacing(rowSpacing);
    m_grid->setColumnStretch(1, 1);
    m_grid->setSizeConstraint(QLayout::SetNoConstraint);
}

AlertDialog::~AlertDialog()
{
    if (m_view && m_view->parentWidget() == this)
        m_view->setParent(nullptr);
}

void AlertDialog::setContents(const Contents &contents)
{
    setWindowTitle(contents.title);
    setAccessibleName(contents.title);
    setAccessibleDescription(contents.message);
    m_text->setTexts(contents.message, contents.informative);
    m_image = contents.icon;
    m_style = contents.style;
    if (m_image && !m_image->isNull())
        setWindowIcon(QIcon(QPixmap::fromImage(*m_image)));
    setButtons(contents.buttons);
    m_escapeButton = contents.escapeButton;
}

void AlertDialog::setButtons(const QStringList &titles)
{
    qDeleteAll(std::exchange(m_buttons, {}));
    while (QLayoutItem *item = m_buttonRow->takeAt(0))
        delete item;
    m_buttonRow->addStretch();
    for (const QString &title : titles) {
        // A title is no text with a shortcut in it.
        QString doubled = title.simplified();
        doubled.replace(QLatin1Char('&'), QLatin1String("&&"));
        auto *button = new AlertPushButton(doubled, this);
        // The default key presses the first button, whichever has the keyboard.
        button->setAutoDefault(false);
        button->setDefault(m_buttons.isEmpty());
        const qsizetype index = m_buttons.size();
        connect(button, &QPushButton::clicked, this, [this, index] {
            if (onButton)
                onButton(index);
        });
        m_buttonRow->addWidget(button);
        m_buttons.append(button);
    }
}

void AlertDialog::setView(QWidget *view)
{
    if (m_view && m_view != view && m_view->parentWidget() == this)
        m_view->setParent(nullptr);
    m_view = view;
    if (!view)
        return;
    m_grid->addWidget(view, 1, 1);
    view->show();
}

void AlertDialog::setTabOrders()
{
    QList<QWidget *> order = m_view ? reachedByTab(m_view) : QList<QWidget *>();
    for (QPushButton *button : std::as_const(m_buttons))
        order.append(button);
    order.append(m_text);
    for (qsizetype i = 1; i < order.size(); ++i)
        setTabOrder(order[i - 1], order[i]);
}

int AlertDialog::buttonsWidth() const
{
    int width = 0;
    for (const QPushButton *button : m_buttons)
        width += button->sizeHint().width() + m_buttonRow->spacing();
    return width;
}

void AlertDialog::fitButtons(int widthLimit)
{
    const bool fits = buttonsWidth() <= widthLimit;
    m_buttonRow->setDirection(fits ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    for (QPushButton *button : std::as_const(m_buttons)) {
        const bool wide = button->sizeHint().width() > widthLimit;
        button->setMaximumWidth(wide ? widthLimit : QWIDGETSIZE_MAX);
        button->setToolTip(
            wide ? QString(button->text()).replace(QLatin1String("&&"), QLatin1String("&"))
                 : QString());
    }
}

void AlertDialog::fit()
{
    if (std::exchange(m_fitting, true))
        return;
    ensurePolished();
    m_icon->setPixmap(AlertIcon::pixmap(m_image, m_style, *this));
    const QScreen *screen =
        isVisible() ? this->screen() : QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QSize room = screen->availableSize() * screenShare;
    const QMargins margins = m_grid->contentsMargins();
    const int besides =
        margins.left() + margins.right() + AlertIcon::Side + m_grid->horizontalSpacing();

    const int widthLimit = room.width() - besides;
    fitButtons(room.width() - margins.left() - margins.right());
    int least = fontMetrics().averageCharWidth() * preferredCharacters;
    least = std::min(least, m_text->unwrappedWidth());
    if (m_view) {
        m_viewSize = m_view->sizeHint();
        least = std::max(least, m_viewSize.width());
    }
    if (m_buttonRow->direction() == QBoxLayout::LeftToRight)
        least = std::max(least, buttonsWidth() + margins.left() + margins.right() - besides);
    const int width = std::min(std::max(least, m_text->wordWidth()), widthLimit);
    if (m_view)
        m_view->setMaximumWidth(std::min(m_view->maximumWidth(), widthLimit));

    m_text->fit(width, static_cast<int>(room.height() * textShare));
    m_grid->invalidate();
    const int overflow = m_grid->totalSizeHint().height() - room.height();
    if (overflow > 0) {
        m_text->fit(width, std::max(leastLines * m_text->lineHeight(),
                                    m_text->sizeHint().height() - overflow));
        m_grid->invalidate();
    }
    m_grid->activate();
    const QSize before = size();
    setFixedSize(m_grid->totalSizeHint());
    if (isVisible() && size() != before)
        keepOn(screen->availableGeometry(), before);
    setTabOrders();
    m_fitting = false;
}

void AlertDialog::keepOn(const QRect &available, QSize before)
{
    // About the middle that it had, as far as the screen allows. The window manager's frame has
    // the thickness that it had around the former size.
    const QPoint corner = frameGeometry().topLeft();
    const QPoint inside = geometry().topLeft() - corner;
    const QSize frame = size() + QSize(2 * inside.x(), inside.y() + inside.x());
    const QSize half = (size() - before) / 2;
    const QPoint wanted = corner - QPoint(half.width(), half.height());
    const QPoint last(available.right() + 1 - frame.width(),
                      available.bottom() + 1 - frame.height());
    move(std::max(available.left(), std::min(wanted.x(), last.x())),
         std::max(available.top(), std::min(wanted.y(), last.y())));
}

void AlertDialog::fitLater()
{
    // The widgets in the window may get to know of the change after the window.
    if (isVisible() && !std::exchange(m_fitPending, true)) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                m_fitPending = false;
                fit();
            },
            Qt::QueuedConnection);
    }
}

void AlertDialog::setFirstResponder(QWidget *widget)
{
    m_firstResponder = widget;
    if (isVisible() && widget)
        widget->setFocus(Qt::OtherFocusReason);
}

void AlertDialog::showAbove(QWidget *below)
{
    fit();
    winId(); // makes the window, which is then told what it stands above
    windowHandle()->setTransientParent(below ? below->windowHandle() : nullptr);
    if (m_firstResponder)
        m_firstResponder->setFocus(Qt::OtherFocusReason);
    else
        m_buttons.first()->setFocus(Qt::OtherFocusReason);
    show();
    raise();
    activateWindow();
    QApplication::alert(this);
}

bool AlertDialog::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::StyleChange:
    case QEvent::LayoutDirectionChange:
        fitLater();
        break;
    case QEvent::LayoutRequest:
        // Fitting asks for one itself: only a view with new wishes is a reason to start again.
        if (m_view && m_view->sizeHint() != m_viewSize)
            fitLater();
        break;
    default:
        break;
    }
    return handled;
}

void AlertDialog::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // A key that is held down has answered the window before this one.
        if (!event->isAutoRepeat())
            m_buttons.first()->click();
        break;
    case Qt::Key_Escape:
        if (m_escapeButton && !event->isAutoRepeat())
            m_buttons[*m_escapeButton]->click();
        break;
    default:
        QDialog::keyPressEvent(event);
    }
}

void AlertDialog::closeEvent(QCloseEvent *event)
{
    // The end of the session takes the window away.
    event->ignore();
    if (onClose)
        onClose();
}
