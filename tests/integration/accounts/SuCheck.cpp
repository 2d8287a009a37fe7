#include "tests/integration/accounts/SuCheck.h"

#include "platform/linux/accounts/LocalAccountNode.h"
#include "tests/integration/accounts/Processes.h"

#include <QDir>

#include <cerrno>

#include <sys/wait.h>

namespace {

using Code = DirectoryError::Code;

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries)
        .size();
}

} // namespace

QString cannot(const char *name, const char *reason)
{
    return QStringLiteral("%1 The password of \"%2\" cannot be checked through su: %3.")
        .arg(static_cast<int>(Code::CannotTell))
        .arg(QString::fromUtf8(name), QString::fromUtf8(reason));
}

QString refused(const char *name)
{
    return QStringLiteral(
               "%1 su refuses the password of \"%2\": it is wrong, or the account is locked.")
        .arg(static_cast<int>(Code::AuthenticationRefused))
        .arg(QString::fromUtf8(name));
}

QString
Check::run(const std::function<Result<bool, DirectoryError>(const DiagnosticSink &)> &verify)
{
    Check check;
    const DiagnosticSink sink = [&](unsigned level, DiagnosticType type, const QString &text) {
        check.log += QStringLiteral("%1 %2 %3\n").arg(level).arg(static_cast<int>(type)).arg(text);
    };
    const qsizetype before = openDescriptors();
    const Result<bool, DirectoryError> result = verify(sink);
    if (result.ok())
        check.answer = result.value() ? QStringLiteral("right") : QStringLiteral("wrong");
    else
        check.answer = QStringLiteral("%1 %2")
                           .arg(static_cast<int>(result.error().code))
                           .arg(result.error().localizedDescription);
    if (openDescriptors() != before)
        check.left += QStringLiteral("descriptors ");
    errno = 0;
    if (waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD)
        check.left += QStringLiteral("a process");
    return check.answer + QChar(u'\x1E') + check.log + QChar(u'\x1E') + check.left;
}

Check Check::of(const QString &text)
{
    const QStringList parts = text.split(QChar(u'\x1E'));
    return {parts.value(0), parts.value(1), parts.value(2, QStringLiteral("no report"))};
}

QString checkNode(const char *name, std::u16string_view password)
{
    return Check::run([&](const DiagnosticSink &sink) -> Result<bool, DirectoryError> {
        LocalAccountNode node({}, sink);
        const auto records = node.query({DirectoryRecordType::Users,
                                         QString::fromUtf16(DirectoryAttribute::RecordName),
                                         DirectoryMatchType::EqualTo,
                                         QString::fromUtf8(name),
                                         {},
                                         0});
        if (!records.ok() || records.value().isEmpty())
            return Failure{DirectoryError{Code::Internal, QStringLiteral("no such account")}};
        return records.value().first()->verifyPassword(password);
    });
}

Check askNode(const char *name, std::u16string_view password)
{
    return Check::of(asUser(askingId, [&] { return checkNode(name, password); }));
}

Check askSu(const QByteArray &name, std::u16string_view password,
            const SuPasswordCheck::Options &options, const std::function<void()> &before)
{
    return Check::of(asUser(askingId, [&] {
        before();
        return Check::run([&](const DiagnosticSink &sink) {
            NameService::User user;
            user.name = name;
            user.userId = 7999;
            return SuPasswordCheck::verify(user, password, sink, options);
        });
    }));
}

bool addAccount(const char *name, const char *id, const char *shell)
{
    return run({QStringLiteral("useradd"), QStringLiteral("-M"), QStringLiteral("-U"),
                QStringLiteral("-u"), QString::fromUtf8(id), QStringLiteral("-s"),
                QString::fromUtf8(shell), QString::fromUtf8(name)}) == 0;
}
