#pragma once

#include <QWidget>

#include <memory>
#include <optional>

class SSElidedLabel;
class SSSecureTextField;
class QLineEdit;

/// The panel of a credentials dialog: a row for a user name, if wanted, and one for a password. As
/// wide as its labels ask for, from 300 to 1000; the labels give way last and end in dots. Main
/// thread; needs a display.
class SSCredentialsView final : public QWidget
{
    Q_OBJECT
public:
    /// The texts of the labels. None for the user name leaves that row out.
    static std::unique_ptr<SSCredentialsView>
    initWithUserNameString(const std::optional<QString> &userNameString,
                           const QString &passwordString);
    ~SSCredentialsView() override;

    /// Whether there is a row for a user name.
    [[nodiscard]] bool userName() const { return m_userNameEdit != nullptr; }
    /// Holds the rows, in the middle of the panel.
    [[nodiscard]] QWidget *plate() const { return m_plate; }
    /// The labels and entries. Those of a row that is not there are null.
    [[nodiscard]] SSElidedLabel *userNameLabel() const { return m_userNameLabel; }
    [[nodiscard]] QLineEdit *userNameEdit() const { return m_userNameEdit; }
    [[nodiscard]] SSElidedLabel *passwordLabel() const { return m_passwordLabel; }
    [[nodiscard]] SSSecureTextField *passwordEdit() const { return m_passwordEdit; }

    /// The fitting size: as narrow and low as the wishes of its contents allow.
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    SSCredentialsView();
    void createControlsWithUserNameString(const std::optional<QString> &userNameString,
                                          const QString &passwordString);
    void initControlsStyle();
    void initControlsLayoutConstraints();
    void appendControls();
    void initAccessibility();

    [[nodiscard]] int labelsWidth() const;
    [[nodiscard]] int rowHeight() const;
    void layoutControls();

    QWidget *m_plate = nullptr;
    SSElidedLabel *m_userNameLabel = nullptr;
    QLineEdit *m_userNameEdit = nullptr;
    SSElidedLabel *m_passwordLabel = nullptr;
    SSSecureTextField *m_passwordEdit = nullptr;
};
