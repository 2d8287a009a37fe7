#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "directory/SSUserInfo.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSUtils.h"
#include "settings/SSTraySettings.h"

#include <algorithm>
#include <iterator>

namespace {

using Url = std::optional<QString>;

/// What the URL is made from.
struct Parts
{
    std::optional<QString> base;
    std::optional<QString> userName;
    std::optional<QString> requestCode;
    bool winlogon = false;
    bool offline = false;
};

/// One URL of the web interface.
struct Kind
{
    const char *name;
    bool isEnrollment; ///< which of the two base addresses it has
    bool takesUser;
    bool takesResetOptions;
    Url (*make)(const Parts &);
};

constexpr Kind kinds[] = {
    {"enroll", true, false, false,
     [](const Parts &parts) { return SSUtils::enrollUrlStringWithBaseUrlString(parts.base); }},
    {"reset", false, true, true,
     [](const Parts &parts) {
         return SSUtils::resetPasswordUrlStringWithLinkUrlString(
             parts.base, parts.userName, parts.winlogon, parts.offline, parts.requestCode);
     }},
    {"client-info", true, true, false,
     [](const Parts &parts) {
         return SSUtils::clientInfoUrlWithBaseUrlString(parts.base, parts.userName);
     }},
    {"ping", false, false, false,
     [](const Parts &parts) { return SSUtils::webServerPingUrlWithLinkUrlString(parts.base); }},
};

const Kind *kindOf(const SSControlInvocation &invocation)
{
    const QString name = invocation.operands().at(0);
    const auto *const it = std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind &kind) {
        return name == QLatin1String(kind.name);
    });
    return it == std::end(kinds) ? nullptr : it;
}

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    const Kind *const kind = kindOf(invocation);
    if (!kind) {
        return QStringLiteral("there is no URL \"%1\", only enroll, reset, client-info and ping")
            .arg(invocation.operands().at(0));
    }
    const auto faultOf = [kind](const char *option) {
        return std::optional(QStringLiteral("\"url %1\" takes no --%2")
                                 .arg(QLatin1String(kind->name), QLatin1String(option)));
    };
    if (!kind->takesUser && invocation.isSet("user"))
        return faultOf("user");
    for (const char *const option : {"winlogon", "offline", "request-code"}) {
        if (!kind->takesResetOptions && invocation.isSet(option))
            return faultOf(option);
    }
    return std::nullopt;
}

/// The base address, and for the client information the user, as the agent would take them; false
/// without a connection point.
bool takeFromSettings(const Kind &kind, Parts &parts)
{
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return false;
    if (!kind.isEnrollment) {
        SSConnectionPointHelper::initializeStringOptionWithKey(
            QStringLiteral("WebInterfaceURL"), *SSDefaults::defaults(), keywords.get(),
            QStringLiteral("webInterfaceURL"), parts.base);
        return true;
    }
    SSTraySettings settings;
    settings.loadFromConnectionPointKeywords(keywords.get());
    parts.base = settings.enrollWebUiUrl();
    if (kind.takesUser && !parts.userName) {
        const SSUserInfo user(SSControlSources::currentUserName());
        parts.userName =
            user.legacyLogonNameWithAppleMetaNodeLocation(settings.appleMetaNodeLocation());
    }
    return true;
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    const Kind &kind = *kindOf(invocation);
    Parts parts;
    parts.base = invocation.value("base");
    parts.userName = invocation.value("user");
    parts.requestCode = invocation.value("request-code");
    parts.winlogon = invocation.isSet("winlogon");
    parts.offline = invocation.isSet("offline");
    if (!parts.base && !takeFromSettings(kind, parts))
        return SSControlAnswer::failed(SSControlSources::noConnectionPoint());
    if (!parts.base) {
        return SSControlAnswer::failed(
            kind.isEnrollment ? QStringLiteral("the settings give no address for enrollment "
                                               "(enrollWebUiUrl, read when enrollEnabled is YES)")
                              : QStringLiteral("the settings give no address of the web interface "
                                               "(webInterfaceURL)"));
    }
    const Url url = kind.make(parts);
    if (!url)
        return SSControlAnswer::failed(QStringLiteral("not a URL: ") + *parts.base);
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("url"), *url}};
    answer.text = *url;
    return answer;
}

constexpr SSControlOption options[] = {
    {"base", "URL", "Build on this address instead of the one in the settings."},
    {"user", "NAME",
     "reset, client-info: the user name, taken as it stands. Default: none, "
     "but for client-info without --base the logon form of the user who "
     "runs the command.",
     true},
    {"winlogon", nullptr, "reset: as from the login window."},
    {"offline", nullptr, "reset: the page of the offline reset."},
    {"request-code", "CODE", "reset: the request code of an offline reset.", true},
};

} // namespace

const SSControlCommand &SSControlCommands::url()
{
    static constexpr SSControlCommand command{
        "url",
        "enroll|reset|client-info|ping",
        1,
        1,
        "Print an address of the web interface.",
        "Builds the address as the agent does and prints it; nothing is fetched.\n"
        "\n"
        "    enroll       the page that a reminder opens\n"
        "    reset        the page that resets a password\n"
        "    client-info  where the agent asks whether a user must enroll\n"
        "    ping         the file that shows that the server can be reached\n"
        "\n"
        "Without --base the address comes from the settings: that of the enrollment for enroll\n"
        "and client-info, that of the web interface for reset and ping.",
        options,
        "zevrikselfservicectl url enroll\n"
        "curl -f \"$(zevrikselfservicectl url ping)\"\n"
        "zevrikselfservicectl url reset --base https://reset.example.test/app --user jdoe\n"
        "zevrikselfservicectl url client-info --user 'CORP\\jdoe' --json",
        fault,
        run,
    };
    return command;
}
