#include "platform/linux/accounts/SuAnswer.h"

#include <sys/wait.h>

namespace {

using Kind = SuAnswer::Kind;

constexpr std::string_view refusal = "su: Authentication failure";

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

SuAnswer cannotTell(const char *reason)
{
    return {Kind::CannotTell, QString::fromUtf8(reason)};
}

} // namespace

SuAnswer SuAnswer::of(const SuRun &run)
{
    switch (run.stop) {
    case SuRun::Stop::None:
        break;
    case SuRun::Stop::OtherPrompt:
        return cannotTell("it did not ask in the form that is known");
    case SuRun::Stop::Echo:
        return cannotTell("it asked while the terminal shows what is typed");
    case SuRun::Stop::SecondQuestion:
        return cannotTell("it asked for more than the password");
    case SuRun::Stop::TimeLimit:
        return cannotTell("it did not answer in time");
    case SuRun::Stop::Terminal:
        return cannotTell("the terminal did not take the password");
    }
    if (!run.waitStatus)
        return cannotTell("how it ended is not known");
    const int status = *run.waitStatus;
    if (!WIFEXITED(status))
        return {Kind::CannotTell,
                QStringLiteral("it was ended by signal %1").arg(WTERMSIG(status))};
    const int code = WEXITSTATUS(status);
    if (!run.wasTyped) {
        if (code == 0)
            return cannotTell("it asks for no password");
        return {
            Kind::CannotTell,
            QStringLiteral("it ended with status %1 before it asked for the password").arg(code)};
    }
    if (code == 0)
        return {Kind::Right, {}};
    if (code == 1 && run.printed.starts_with(SuPrompt) &&
        trimmed(run.printed.substr(SuPrompt.size())) == refusal)
        return {Kind::Refused, {}};
    return {Kind::CannotTell,
            QStringLiteral("it ended with status %1, but not as it does for a wrong password")
                .arg(code)};
}
