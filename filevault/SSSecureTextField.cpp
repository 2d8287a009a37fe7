#include "filevault/SSSecureTextField.h"

#include "filevault/SSSecureText.h"
#include "foundation/SSLogger.h"
#include "security/SSSecure.h"
#include "security/SSSecureData.h"
#include "security/SSSecureMemory.h"

#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

// Noncharacters, which nobody can type: one for a character of one unit, a pair for one of two, so
// that Backspace takes away a whole character as it does from the text itself.
constexpr char16_t single = 0xFDD0;
constexpr char16_t high = 0xD83F;
constexpr char16_t low = 0xDFFE;

bool isPairAt(std::u16string_view text, std::size_t place)
{
    return place + 1 < text.size() && QChar::isHighSurrogate(text[place]) &&
           QChar::isLowSurrogate(text[place + 1]);
}

QString placeHolders(std::u16string_view text)
{
    QString holders;
    holders.reserve(static_cast<qsizetype>(text.size()));
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (isPairAt(text, place)) {
            holders += QChar(high);
            holders += QChar(low);
            ++place;
        } else {
            holders += QChar(single);
        }
    }
    return holders;
}

/// How many units at `place` are a place holder; 0 for a real character.
std::size_t holderAt(std::u16string_view text, std::size_t place)
{
    if (text[place] == single)
        return 1;
    return isPairAt(text, place) && text[place] == high && text[place + 1] == low ? 2 : 0;
}

std::u16string_view view(QStringView text)
{
    return {text.utf16(), static_cast<std::size_t>(text.size())};
}

/// As the line edit itself decides.
bool isTyped(const QKeyEvent &event)
{
    if (event.text().isEmpty())
        return false;
    const QChar first = event.text().at(0);
    if (first.category() == QChar::Other_Format)
        return true;
    if (event.modifiers() == Qt::ControlModifier ||
        event.modifiers() == (Qt::ShiftModifier | Qt::ControlModifier))
        return false;
    return first.isPrint() || first.category() == QChar::Other_PrivateUse ||
           first.isHighSurrogate();
}

} // namespace

SSSecureTextField::SSSecureTextField(QWidget *parent)
    : QLineEdit(parent), m_secret(std::make_unique<SSSecureText>())
{
    // The key events of a password are released one by one; so is what the tools are given later.
    SSSecureMemory::wipeReleasedMemory();
    setEchoMode(QLineEdit::Password);
    setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText |
                        Qt::ImhNoAutoUppercase);
    setDragEnabled(false);
    setAcceptDrops(false);
    connect(this, &QLineEdit::textChanged, this, [this] { takeOver(); });
}

SSSecureTextField::~SSSecureTextField() = default;

std::shared_ptr<SSSecureData> SSSecureTextField::secureText() const
{
    return SSSecureData::initWithData(m_secret->bytes());
}

void SSSecureTextField::setSecureText(const SSSecureData *text)
{
    if (!m_secret->setBytes(text ? text->data() : std::span<const std::byte>()))
        SSLog(1, SSMessageType::Error, "The password for a text field is not UTF-16 text.");
    showPlaceHolders(m_secret->size());
}

void SSSecureTextField::wipe()
{
    m_secret->clear();
    showPlaceHolders(0);
}

void SSSecureTextField::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Paste)) {
        pasteFrom(QClipboard::Clipboard);
        event->accept();
    } else if (event->matches(QKeySequence::Undo) || event->matches(QKeySequence::Redo) ||
               event->matches(QKeySequence::Cut)) {
        event->accept(); // the line edit would take the text away
    } else if (isTyped(*event)) {
        insertTyped(event->text());
        event->accept();
    } else {
        QLineEdit::keyPressEvent(event);
    }
}

void SSSecureTextField::inputMethodEvent(QInputMethodEvent *event)
{
    // What is still being composed is not shown: nobody may read it over the user's shoulder.
    if (event->replacementLength() > 0) {
        const int start = std::max(0, cursorPosition() + event->replacementStart());
        setSelection(start, event->replacementLength());
    }
    if (!event->commitString().isEmpty())
        insertTyped(event->commitString());
    event->accept();
}

void SSSecureTextField::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::MiddleButton) {
        QLineEdit::mouseReleaseEvent(event);
        return;
    }
    deselect();
    if (QGuiApplication::clipboard()->supportsSelection())
        pasteFrom(QClipboard::Selection);
    event->accept();
}

void SSSecureTextField::contextMenuEvent(QContextMenuEvent *event)
{
    // The line edit's own menu would paste into the line edit.
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const QAction *paste = menu->addAction(QStringLiteral("Paste"));
    connect(paste, &QAction::triggered, this, [this] { pasteFrom(QClipboard::Clipboard); });
    menu->popup(event->globalPos());
    event->accept();
}

void SSSecureTextField::pasteFrom(QClipboard::Mode mode)
{
    const QClipboard &clipboard = *QGuiApplication::clipboard();
    QString text = clipboard.text(mode);
    insertTyped(text);
    // What this program put there itself is the clipboard's own.
    if (mode == QClipboard::Selection ? !clipboard.ownsSelection() : !clipboard.ownsClipboard())
        SSSecure::secureFree(text);
}

void SSSecureTextField::insertTyped(QStringView text)
{
    if (isReadOnly())
        return;
    std::vector<char16_t, SSSecureAllocator<char16_t>> accepted;
    accepted.reserve(static_cast<std::size_t>(text.size()));
    for (const QChar unit : text) {
        // A line end comes along with what was copied; in one line nobody can have meant it.
        if (!QStringView(u"\n\r\u2028\u2029").contains(unit) && !unit.isNull())
            accepted.push_back(unit.unicode());
    }
    const bool hasSelection = hasSelectedText();
    auto position = static_cast<std::size_t>(hasSelection ? selectionStart() : cursorPosition());
    const auto count = static_cast<std::size_t>(hasSelection ? selectionLength() : 0);
    if (count == 0 && position > 0 && isPairAt(m_secret->text(), position - 1))
        ++position; // never into the middle of a character
    const auto limit = static_cast<std::size_t>(maxLength());
    const std::size_t room = limit - std::min(limit, m_secret->size() - count);
    const auto inserted = std::u16string_view(accepted.data(), accepted.size()).substr(0, room);
    if (inserted.empty() && count == 0)
        return;
    m_secret->replace(position, count, inserted);
    showPlaceHolders(position + inserted.size());
}

void SSSecureTextField::takeOver()
{
    if (m_showing)
        return;
    // The line edit was changed: something was taken away, or somebody set a text. Place holders
    // before and after the change stand for the characters that stay.
    QString changed = text();
    const std::u16string_view now = view(changed);
    std::size_t before = 0;
    while (before < now.size() && holderAt(now, before) > 0)
        before += holderAt(now, before);
    std::size_t after = now.size();
    SSSecureText inserted;
    if (before == now.size()) {
        before = static_cast<std::size_t>(cursorPosition());
        after = before;
    } else {
        while (after > before) {
            if (now[after - 1] == single)
                --after;
            else if (after - before >= 2 && holderAt(now, after - 2) == 2)
                after -= 2;
            else
                break;
        }
        inserted.replace(0, 0, now.substr(before, after - before));
    }
    const std::size_t kept = before + (now.size() - after);
    const std::size_t removed = m_secret->size() - std::min(m_secret->size(), kept);
    m_secret->replace(before, removed, inserted.text());
    if (inserted.size() > 0)
        SSSecure::secureFree(changed);
    showPlaceHolders(before + inserted.size());
}

void SSSecureTextField::showPlaceHolders(std::size_t cursor)
{
    const bool showing = std::exchange(m_showing, true);
    // Setting a text forgets the history of the edits.
    QLineEdit::setText(placeHolders(m_secret->text()));
    setCursorPosition(static_cast<int>(cursor));
    m_showing = showing;
}
