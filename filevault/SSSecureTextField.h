#pragma once

#include <QClipboard>
#include <QLineEdit>
#include <QStringView>

#include <cstddef>
#include <memory>

class SSSecureData;
class SSSecureText;

/// A password entry. What is typed or pasted goes straight to the storage for secrets; the line
/// edit beneath holds place holders, one for each character, so that neither its undo history nor
/// accessibility nor an input method ever has the text. Nothing can be copied or dragged out of it.
/// text() gives the place holders; a text given to setText() is taken over and wiped there.
class SSSecureTextField final : public QLineEdit
{
    Q_OBJECT
public:
    explicit SSSecureTextField(QWidget *parent = nullptr);
    ~SSSecureTextField() override;

    /// The entry as UTF-16 little-endian; never null.
    [[nodiscard]] std::shared_ptr<SSSecureData> secureText() const;
    /// Shows the text, UTF-16 little-endian; null empties the entry. The cursor goes to the end.
    void setSecureText(const SSSecureData *text);
    /// Empties the entry and wipes what it held.
    void wipe();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void insertTyped(QStringView text);
    void pasteFrom(QClipboard::Mode mode);
    void takeOver();
    void showPlaceHolders(std::size_t cursor);

    std::unique_ptr<SSSecureText> m_secret;
    bool m_showing = false;
};
