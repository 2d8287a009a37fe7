#include "app/ctl/SSControlActions.h"
#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlText.h"
#include "filevault/SSSecureTokenHelper.h"

namespace {

SSControlAnswer show(const SSControlInvocation &)
{
    const std::optional<bool> flag = SSSecureTokenHelper::readPasswordChanged();
    if (!flag)
        return SSControlAnswer::failed(QStringLiteral("the flag could not be read"));
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("passwordChanged"), *flag}};
    answer.text = SSControlText::yesNo(*flag);
    return answer;
}

SSControlAnswer set(const SSControlInvocation &invocation)
{
    const QString user = invocation.value("user").value_or(QString());
    if (!SSSecureTokenHelper::updatePasswordChangedForUser(user)) {
        return SSControlAnswer::failed(
            QStringLiteral("the flag of the user %1 could not be set").arg(user));
    }
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("user"), user}, {QStringLiteral("passwordChanged"), true}};
    answer.text = QStringLiteral("The flag of the user %1 is set.").arg(user);
    return answer;
}

SSControlAnswer reset(const SSControlInvocation &)
{
    if (!SSSecureTokenHelper::resetPasswordChangedFlag())
        return SSControlAnswer::failed(QStringLiteral("the flag could not be reset"));
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("passwordChanged"), false}};
    answer.text = QStringLiteral("The flag is not set.");
    return answer;
}

struct Action
{
    const char *name;
    SSControlAnswer (*run)(const SSControlInvocation &);
};
constexpr Action actions[] = {{"show", show}, {"set", set}, {"reset", reset}};

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    const Action *const action = actionOf(actions, invocation);
    if (!action) {
        return QStringLiteral("there is no \"flag %1\", only show, set and reset")
            .arg(invocation.operands().at(0));
    }
    if ((action->run == set) == invocation.isSet("user"))
        return std::nullopt;
    return action->run == set ? QStringLiteral("\"flag set\" needs --user")
                              : QStringLiteral("--user goes with \"flag set\" alone");
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    return actionOf(actions, invocation)->run(invocation);
}

constexpr SSControlOption options[] = {
    {"user", "NAME", "The account whose flag is set, as the computer's accounts spell it."},
};

} // namespace

const SSControlCommand &SSControlCommands::flag()
{
    static constexpr SSControlCommand command{
        "flag",
        "show|set|reset",
        1,
        1,
        "See, set or clear a user's flag that his password was changed.",
        "The flag \"PasswordChanged\" in a user's defaults tells his agent to bring the disk\n"
        "encryption password into line with the new one. The agent clears it when that is done or\n"
        "skipped.\n"
        "\n"
        "    show   whether your flag is set\n"
        "    set    sets the flag of another user; for root\n"
        "    reset  clears your flag\n"
        "\n"
        "Everything else in the file stays as it is. Root has no flag of his own to show or to\n"
        "clear.",
        options,
        "zevrikselfservicectl flag show\n"
        "sudo zevrikselfservicectl flag set --user jdoe\n"
        "zevrikselfservicectl flag reset",
        fault,
        run,
    };
    return command;
}
