#include "platform/linux/accounts/SuPasswordCheck.h"

#include "platform/linux/accounts/SuAnswer.h"
#include "platform/linux/accounts/SuConversation.h"
#include "platform/text/PasswordBytes.h"

#include <QStringList>

#include <algorithm>
#include <cstring>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

using Code = DirectoryError::Code;

constexpr std::size_t longestPassword = 511; // PAM_MAX_RESP_SIZE, which counts a NUL

/// su that has no root rights refuses every password, as if it were wrong.
bool runsAsRoot(const char *program, const struct stat &file)
{
    struct statvfs fileSystem
    {
    };
    return S_ISREG(file.st_mode) && file.st_uid == 0 && (file.st_mode & S_ISUID) != 0 &&
           statvfs(program, &fileSystem) == 0 && (fileSystem.f_flag & ST_NOSUID) == 0;
}

/// The su to run, or why there is none.
Result<QByteArray, QString> findSu(const QList<QByteArray> &programs)
{
    for (const QByteArray &program : programs) {
        struct stat file
        {
        };
        if (stat(program.constData(), &file) != 0)
            continue;
        const QString name = QString::fromLocal8Bit(program);
        if (!runsAsRoot(program.constData(), file))
            return Failure{QStringLiteral("\"%1\" would not run as root").arg(name)};
        if (access(program.constData(), X_OK) != 0)
            return Failure{QStringLiteral("\"%1\" may not be run by this user").arg(name)};
        return program;
    }
    return Failure{QStringLiteral("there is none")};
}

bool hasControlCharacter(std::span<const char> text)
{
    constexpr char firstPrintable = 0x20;
    constexpr char deleteKey = 0x7F;
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return (c >= 0 && c < firstPrintable) || c == deleteKey; });
}

/// Why this process cannot ask su about that account and password at all; empty when it can.
QString obstacle(const NameService::User &user, const PasswordBytes &password)
{
    if (user.name.isEmpty() || user.name.startsWith('-'))
        return QStringLiteral("it would not take that name for one");
    if (prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1)
        return QStringLiteral("this process may gain no privileges (no_new_privs)");
    if (hasControlCharacter(password.bytes()))
        return QStringLiteral("a control character in the password would not pass the terminal");
    if (password.bytes().size() > longestPassword)
        return QStringLiteral("the password is longer than %1 bytes").arg(longestPassword);
    return {};
}

/// What su printed, for the log.
QString quoted(std::string_view printed, std::span<const char> password)
{
    constexpr qsizetype longestQuote = 200;
    if (!password.empty() &&
        printed.find(std::string_view(password.data(), password.size())) != std::string_view::npos)
        return QStringLiteral("; what it printed is left out, as the password is in it");
    QString text = QString::fromUtf8(printed.data(), static_cast<qsizetype>(printed.size()))
                       .simplified()
                       .left(longestQuote);
    for (QChar &c : text) {
        if (!c.isPrint() && !c.isSurrogate())
            c = QLatin1Char('?');
    }
    return text.isEmpty() ? QStringLiteral("; it printed nothing")
                          : QStringLiteral("; it printed: %1").arg(text);
}

} // namespace

Result<bool, DirectoryError> SuPasswordCheck::verify(const NameService::User &user,
                                                     std::u16string_view password,
                                                     const DiagnosticSink &diagnostics,
                                                     const Options &options)
{
    const QString name = QString::fromUtf8(user.name);
    const auto cannotTell = [&](const QString &reason, const QString &details = {}) {
        const QString description =
            QStringLiteral("The password of \"%1\" cannot be checked through su: %2")
                .arg(name, reason);
        if (diagnostics)
            diagnostics(1, DiagnosticType::Error, description + details + QLatin1Char('.'));
        return Failure{DirectoryError{Code::CannotTell, description + QLatin1Char('.')}};
    };
    const auto refused = [&](const char *text) {
        return Failure{
            DirectoryError{Code::AuthenticationRefused, QString::fromUtf8(text).arg(name)}};
    };

    const PasswordBytes bytes(password);
    if (!bytes.isValid())
        return refused("The password given for \"%1\" is not valid text.");
    const QString reason = obstacle(user, bytes);
    if (!reason.isEmpty())
        return cannotTell(reason);
    const auto program = findSu(options.programs);
    if (!program.ok())
        return cannotTell(program.error());

    SuConversation conversation;
    const auto run = conversation.run(program.value(), user.name, bytes.bytes(),
                                      std::chrono::steady_clock::now() + options.limit);
    if (!run.ok())
        return cannotTell(QStringLiteral("it cannot be started (%1)")
                              .arg(QString::fromLocal8Bit(strerror(run.error()))));
    const SuAnswer answer = SuAnswer::of(run.value());
    switch (answer.kind) {
    case SuAnswer::Kind::Right:
        return true;
    case SuAnswer::Kind::Refused:
        return refused("su refuses the password of \"%1\": it is wrong, or the account is locked.");
    case SuAnswer::Kind::CannotTell:
        break;
    }
    return cannotTell(answer.reason, quoted(run.value().printed, bytes.bytes()));
}
