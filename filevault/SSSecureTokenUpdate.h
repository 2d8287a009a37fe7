#pragma once

#include <QString>

#include <memory>
#include <optional>

class SSLogonSettings;
class SSSecureData;
class SSSecureTokenAlertAdminUser;
class SSSecureTokenAlertUserPassword;
class SSSecureTokenErrorAlert;

/// What update() and the dialogs end with.
namespace SSUpdateResult {
inline constexpr qint64 Done = 1;      ///< confirmed, and of update(): the tools succeeded
inline constexpr qint64 Cancelled = 2; ///< by the user; he may start again
inline constexpr qint64 Skipped = 3;
inline constexpr qint64 Failed = 4;      ///< anything else
inline constexpr qint64 Aborted = -1001; ///< from outside
} // namespace SSUpdateResult

/// Brings the disk encryption password of the logged-in user into line with his new one: asks for a
/// SecureToken administrator, then for the new password, and runs the tools. One object for each
/// run. Main thread; update() runs nested event loops, in which the other operations are called;
/// the object outlives it.
class SSSecureTokenUpdate
{
public:
    /// `settings` give the texts of the dialogs, as they are now. Null: the built-in texts.
    SSSecureTokenUpdate(const SSLogonSettings *settings, const QString &userName);
    ~SSSecureTokenUpdate();
    SSSecureTokenUpdate(const SSSecureTokenUpdate &) = delete;
    SSSecureTokenUpdate &operator=(const SSSecureTokenUpdate &) = delete;

    /// The whole sequence; one of SSUpdateResult. The user's flag is cleared before the tools run,
    /// whatever they answer.
    [[nodiscard]] qint64 update();
    /// Brings the dialog on the screen, if any, to the front.
    void activate();
    /// Ends the dialog on the screen, if any: update() then returns Aborted, or Failed when the
    /// dialog was the report of a failure.
    void abort();
    /// Reports a failure to the user, "(null)" without a message; returns when he has seen it.
    void alertWithMessage(const std::optional<QString> &message);

private:
    struct Credentials
    {
        QString adminUserName;
        std::shared_ptr<const SSSecureData> adminPassword;
        std::shared_ptr<const SSSecureData> userPassword;
    };
    /// Runs both dialogs; one of SSUpdateResult, and with Done the credentials are whole.
    [[nodiscard]] qint64 askForCredentials(Credentials &credentials);
    [[nodiscard]] bool runTools(Credentials &&credentials, std::optional<QString> &message) const;

    const std::shared_ptr<const SSLogonSettings> m_settings;
    const QString m_userName;
    std::shared_ptr<SSSecureTokenAlertAdminUser> m_alertAdminUser;
    std::shared_ptr<SSSecureTokenAlertUserPassword> m_alertUserPassword;
    std::unique_ptr<SSSecureTokenErrorAlert> m_alertError;
};
