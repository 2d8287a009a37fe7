#include "app/ctl/SSControlActions.h"
#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSecrets.h"
#include "app/ctl/SSControlText.h"
#include "filevault/SSFdeUsers.h"
#include "filevault/SSSecureTokenHelper.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "platform/SystemInformation.h"
#include "security/SSSecureData.h"

#include <QJsonArray>

#include <algorithm>

namespace {

std::optional<bool> areArgumentsOpen()
{
    return Platform::current().system->areArgumentsOpenToOthers();
}

QJsonValue json(std::optional<bool> value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QString text(std::optional<bool> value)
{
    return value ? SSControlText::yesNo(*value) : QStringLiteral("(unknown)");
}

/// Why a status of that user cannot be asked for; none when it can.
std::optional<QString> faultOfUser(const QString &name)
{
    const auto users = Platform::current().identity->usersWithName(name);
    if (!users) {
        return QStringLiteral("the user %1 could not be looked up: %2")
            .arg(name, users.error().localizedDescription);
    }
    if (users.value().isEmpty())
        return QStringLiteral("this computer has no user %1").arg(name);
    return std::nullopt;
}

SSControlAnswer status(const SSControlInvocation &invocation)
{
    IdentityService &identity = *Platform::current().identity;
    const std::optional<QString> other = invocation.value("user");
    if (other) {
        if (const auto reason = faultOfUser(*other))
            return SSControlAnswer::failed(*reason);
    }
    const QString user = other.value_or(identity.accountName());
    const bool isSupported = SSSecureTokenHelper::isSecureTokenSupported();
    // Without SecureToken the list decides, which is root's alone to read.
    const bool isAskable = isSupported || identity.effectiveUserId() == 0;
    const std::optional<bool> isOn = SSSecureTokenHelper::readFdeStatus();
    std::optional<bool> holdsToken;
    if (other || identity.effectiveUserId() == 0)
        holdsToken = SSSecureTokenHelper::readSudoSecureTokenStatusWithUserName(user);
    else if (isAskable)
        holdsToken = SSSecureTokenHelper::readSecureTokenStatusWithUserName(user);

    SSControlAnswer answer;
    answer.json = {{QStringLiteral("isSecureTokenSupported"), isSupported},
                   {QStringLiteral("fdeStatus"), json(isOn)},
                   {QStringLiteral("user"), user},
                   {QStringLiteral("secureTokenStatus"), json(holdsToken)},
                   {QStringLiteral("areArgumentsOpenToOthers"), json(areArgumentsOpen())}};
    answer.text =
        QStringList{
            QStringLiteral("SecureToken supported: ") + SSControlText::yesNo(isSupported),
            QStringLiteral("FileVault is on:       ") + text(isOn),
            QStringLiteral("User:                  ") + user,
            QStringLiteral("SecureToken status:    ") + text(holdsToken),
        }
            .join(QLatin1Char('\n'));
    if (!isOn)
        answer.failure = QStringLiteral("whether FileVault is on could not be read");
    else if (!holdsToken && (isAskable || other))
        answer.failure =
            QStringLiteral("the SecureToken status of the user %1 could not be read").arg(user);
    return answer;
}

SSControlAnswer users(const SSControlInvocation &invocation)
{
    const QString admin = invocation.value("admin").value_or(QString());
    const SSControlSecrets::Secret password = SSControlSecrets::password();
    if (!password.data)
        return SSControlAnswer::failed(password.failure);
    const SSFdeUsers list(admin, *password.data);
    if (!list.secureTokenUsers()) {
        return SSControlAnswer::failed(
            QStringLiteral("the FileVault users could not be read with the rights of %1")
                .arg(admin));
    }
    QStringList names(list.secureTokenUsers()->begin(), list.secureTokenUsers()->end());
    std::sort(names.begin(), names.end());
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("users"), QJsonArray::fromStringList(names)},
                   {QStringLiteral("areArgumentsOpenToOthers"), json(areArgumentsOpen())}};
    answer.text = names.join(QLatin1Char('\n'));
    return answer;
}

struct Action
{
    const char *name;
    const char *ownOption; ///< which no other takes
    bool needsOption;
    SSControlAnswer (*run)(const SSControlInvocation &);
};
constexpr Action actions[] = {{"status", "user", false, status}, {"users", "admin", true, users}};

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    const Action *const asked = actionOf(actions, invocation);
    if (!asked) {
        return QStringLiteral("there is no \"filevault %1\", only status and users")
            .arg(invocation.operands().at(0));
    }
    for (const Action &action : actions) {
        const bool isSet = invocation.isSet(action.ownOption);
        if (&action != asked && isSet) {
            return QStringLiteral("--%1 goes with \"filevault %2\" alone")
                .arg(QLatin1String(action.ownOption), QLatin1String(action.name));
        }
        if (&action == asked && !isSet && action.needsOption) {
            return QStringLiteral("\"filevault %1\" needs --%2")
                .arg(QLatin1String(action.name), QLatin1String(action.ownOption));
        }
    }
    return std::nullopt;
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    return actionOf(actions, invocation)->run(invocation);
}

std::optional<QString> warning()
{
    const std::optional<bool> isOpen = areArgumentsOpen();
    if (isOpen == false)
        return std::nullopt;
    return (isOpen ? QStringLiteral("other users of this computer can see")
                   : QStringLiteral("it cannot be told whether other users of this computer can "
                                    "see")) +
           QStringLiteral(
               " the passwords in the arguments of the disk encryption tools while these "
               "run; \"Who can see a password\" in the manual disk-encryption.md says "
               "how to close that");
}

constexpr SSControlOption options[] = {
    {"user", "NAME", "With status: the user whose SecureToken is asked about. Default: you."},
    {"admin", "NAME",
     "With users: the administrator whose rights and password the list is read with."},
};

} // namespace

const SSControlCommand &SSControlCommands::fileVault()
{
    static constexpr SSControlCommand command{
        "filevault",
        "status|users",
        1,
        1,
        "See what the disk encryption tools say: its status, its users.",
        "Asks the tools that the agent asks.\n"
        "\n"
        "    status  whether this computer knows SecureToken, whether FileVault is on,\n"
        "            and whether you, or the user of --user, hold a SecureToken\n"
        "    users   who may unlock the disk; an administrator's password is asked for\n"
        "\n"
        "Where there is no SecureToken, the list of those who may unlock the disk takes its "
        "place,\n"
        "and only root is told a user's status. The password is typed at a prompt or read from "
        "the\n"
        "standard input. A warning is printed where other users of the computer could see the\n"
        "passwords that the tools take as arguments.",
        options,
        "zevrikselfservicectl filevault status\n"
        "sudo zevrikselfservicectl filevault status --user jdoe --json\n"
        "zevrikselfservicectl filevault users --admin boss",
        fault,
        run,
        warning,
    };
    return command;
}
