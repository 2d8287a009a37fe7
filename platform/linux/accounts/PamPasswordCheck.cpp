#include "platform/linux/accounts/PamPasswordCheck.h"

#include "platform/text/PasswordBytes.h"

#include <QStringList>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <security/pam_appl.h>
#include <shadow.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using Code = DirectoryError::Code;

constexpr qsizetype mostErrors = 4;
constexpr qsizetype longestError = 200;

/// What the conversation function knows; lives as long as one transaction.
struct Conversation
{
    const PasswordBytes *password = nullptr;
    int passwordsAsked = 0;
    QStringList errors; ///< what modules had to say
};

void freeResponses(pam_response *responses, int count)
{
    for (int i = 0; i < count; ++i) {
        if (responses[i].resp) {
            explicit_bzero(responses[i].resp, std::strlen(responses[i].resp));
            std::free(responses[i].resp);
        }
    }
    std::free(responses);
}

/// Answers one question for a password, and none with an echo. A second question is refused: it
/// asks for something else, or for the same again, which would count as another failed attempt.
int converse(int count, const pam_message **messages, pam_response **responses, void *data)
{
    auto *const conversation = static_cast<Conversation *>(data);
    if (count <= 0 || count > PAM_MAX_NUM_MSG)
        return PAM_CONV_ERR;
    // PAM frees the answers with free().
    auto *const answers = static_cast<pam_response *>(
        std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
    if (!answers)
        return PAM_BUF_ERR;
    for (int i = 0; i < count; ++i) {
        const int style = messages[i]->msg_style;
        if (style == PAM_ERROR_MSG && conversation->errors.size() < mostErrors)
            conversation->errors.append(
                QString::fromLocal8Bit(messages[i]->msg).left(longestError).simplified());
        if (style == PAM_TEXT_INFO || style == PAM_ERROR_MSG)
            continue;
        if (style != PAM_PROMPT_ECHO_OFF || conversation->passwordsAsked++ > 0) {
            freeResponses(answers, count);
            return PAM_CONV_ERR;
        }
        const auto bytes = conversation->password->bytes();
        answers[i].resp = static_cast<char *>(std::malloc(bytes.size() + 1));
        if (!answers[i].resp) {
            freeResponses(answers, count);
            return PAM_BUF_ERR;
        }
        std::copy(bytes.begin(), bytes.end(), answers[i].resp);
        answers[i].resp[bytes.size()] = '\0';
    }
    *responses = answers;
    return PAM_SUCCESS;
}

class Transaction
{
public:
    Transaction(const QString &service, const QByteArray &account, Conversation &conversation)
        : m_conversation{converse, &conversation}
    {
        m_status = pam_start(service.toLocal8Bit().constData(), account.constData(),
                             &m_conversation, &m_handle);
    }
    ~Transaction()
    {
        if (m_handle)
            pam_end(m_handle, m_status);
    }
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    /// Runs one step, unless an earlier one failed.
    int run(int (*step)(pam_handle_t *, int))
    {
        if (m_status == PAM_SUCCESS)
            m_status = step(m_handle, 0);
        return m_status;
    }
    [[nodiscard]] int status() const { return m_status; }
    [[nodiscard]] QString statusText() const
    {
        return QString::fromLocal8Bit(pam_strerror(m_handle, m_status));
    }

private:
    pam_conv m_conversation;
    pam_handle_t *m_handle = nullptr;
    int m_status = PAM_SYSTEM_ERR;
};

/// Without a file of its own, a service gets the rules of "other", which may be anything.
bool serviceFileExists(const QString &service)
{
    const QByteArray name = service.toLocal8Bit();
    return access(("/etc/pam.d/" + name).constData(), R_OK) == 0 ||
           access(("/usr/lib/pam.d/" + name).constData(), R_OK) == 0;
}

/// Only root can see that an account is locked; to PAM every password of it is just wrong.
bool isLocked(const QByteArray &account)
{
    std::vector<char> buffer(std::size_t{64} * 1024);
    spwd entry{};
    spwd *found = nullptr;
    const bool locked =
        getspnam_r(account.constData(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found && (found->sp_pwdp[0] == '!' || found->sp_pwdp[0] == '*');
    explicit_bzero(buffer.data(), buffer.size());
    return locked;
}

} // namespace

Result<bool, DirectoryError> PamPasswordCheck::verify(const QString &service,
                                                      const NameService::User &user,
                                                      bool isDirectoryAccount,
                                                      std::u16string_view password)
{
    const QString name = QString::fromUtf8(user.name);
    const auto failure = [&](Code code, const char *text) {
        return Failure{DirectoryError{code, QString::fromUtf8(text).arg(name)}};
    };

    const bool root = geteuid() == 0;
    if (!root && !isDirectoryAccount) {
        // The system's helper answers such questions as it does a wrong password.
        if (getuid() != user.userId)
            return failure(Code::CannotTell,
                           "The password of \"%1\" can only be checked by that user or by root.");
        if (prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1)
            return failure(Code::CannotTell,
                           "The password of \"%1\" cannot be checked, as this process may gain no "
                           "privileges (no_new_privs).");
    }
    if (!serviceFileExists(service))
        return Failure{DirectoryError{
            Code::FileUnreadable,
            QStringLiteral("The PAM service file \"%1\" is missing or cannot be read, so no "
                           "password can be checked.")
                .arg(service)}};
    const PasswordBytes bytes(password);
    if (!bytes.isValid())
        return failure(Code::AuthenticationRefused,
                       "The password given for \"%1\" is not valid text.");

    Conversation conversation{&bytes, 0, {}};
    Transaction transaction(service, user.name, conversation);
    if (transaction.status() != PAM_SUCCESS)
        return Failure{DirectoryError{
            Code::Internal, QStringLiteral("PAM cannot be started with the service \"%1\" (%2).")
                                .arg(service)
                                .arg(transaction.status())}};

    switch (transaction.run(pam_authenticate)) {
    case PAM_SUCCESS:
        break;
    case PAM_AUTH_ERR:
    case PAM_CRED_INSUFFICIENT:
    case PAM_PERM_DENIED:
        if (root && isLocked(user.name))
            return failure(Code::AuthenticationRefused, "The account \"%1\" is locked.");
        return failure(Code::AuthenticationRefused, "The password of \"%1\" is wrong.");
    case PAM_USER_UNKNOWN:
        return failure(Code::AuthenticationRefused, "PAM knows no account \"%1\".");
    case PAM_MAXTRIES:
        return failure(Code::AuthenticationRefused, "The account \"%1\" had too many attempts.");
    case PAM_ACCT_EXPIRED:
        return failure(Code::AuthenticationRefused, "The account \"%1\" has expired.");
    case PAM_AUTHINFO_UNAVAIL:
        return failure(Code::CannotTell,
                       "The service that knows the password of \"%1\" does not answer.");
    case PAM_CONV_ERR:
        if (conversation.passwordsAsked > 1)
            return failure(Code::AuthenticationRefused,
                           "The password of \"%1\" is wrong, or is not all that is asked for.");
        [[fallthrough]];
    default:
        return Failure{DirectoryError{Code::Internal,
                                      QStringLiteral("The password of \"%1\" cannot be checked: %2")
                                          .arg(name, transaction.statusText())}};
    }
    if (conversation.passwordsAsked == 0 && !password.empty())
        return failure(Code::CannotTell,
                       "The account \"%1\" was let in without being asked for its password.");

    switch (transaction.run(pam_acct_mgmt)) {
    case PAM_SUCCESS:
    // The password has to be changed, but it is the right one.
    case PAM_NEW_AUTHTOK_REQD:
        return true;
    case PAM_ACCT_EXPIRED:
        return failure(Code::AuthenticationRefused, "The account \"%1\" has expired.");
    case PAM_AUTHTOK_EXPIRED:
        return failure(Code::AuthenticationRefused,
                       "The password of \"%1\" expired too long ago to be changed.");
    default: {
        // Stacks commonly end in a module that just denies, so the reason is only in the messages.
        const QString reason = conversation.errors.isEmpty() ? transaction.statusText()
                                                             : conversation.errors.join(u' ');
        return Failure{DirectoryError{
            Code::AuthenticationRefused,
            QStringLiteral("The account \"%1\" may not be used: %2").arg(name, reason)}};
    }
    }
}
