#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "settings/SSLogonSettings.h"

namespace {

SSControlAnswer run(const SSControlInvocation &invocation)
{
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return SSControlAnswer::failed(SSControlSources::noConnectionPoint());
    SSLogonSettings fresh;
    fresh.loadFromConnectionPointKeywords(keywords.get());
    const auto cached = SSLogonSettings::settingsFromCache();
    if (!cached)
        return SSControlAnswer::failed(QStringLiteral("there is no cache that can be used"));

    const bool compareKeys = invocation.isSet("keys");
    if (compareKeys && Platform::current().identity->effectiveUserId() != 0)
        return SSControlAnswer::failed(QStringLiteral("only root can compare the keys"));
    // The directory has the public key alone; the rest is this computer's.
    fresh.updateComputerRID(cached->computerRID());
    fresh.copySessionKeyFromSettings(cached.get());

    const auto difference = fresh.firstDifference(*cached, compareKeys);
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("equal"), !difference.has_value()},
                   {QStringLiteral("firstDifference"), SSControlText::json(difference)},
                   {QStringLiteral("fresh"), QJsonValue::Null},
                   {QStringLiteral("cached"), QJsonValue::Null}};
    if (!difference) {
        answer.text = QStringLiteral("The cache holds what the directory says.");
        return answer;
    }
    const auto ours = fresh.publicValue(*difference);
    const auto theirs = cached->publicValue(*difference);
    answer.json.insert(QStringLiteral("fresh"), SSControlText::json(ours));
    answer.json.insert(QStringLiteral("cached"), SSControlText::json(theirs));
    answer.text = QStringLiteral("The cache differs at ") + *difference;
    answer.text += QStringLiteral("\n    from the directory: ") + SSControlText::value(ours) +
                   QStringLiteral("\n    in the cache:       ") + SSControlText::value(theirs);
    return answer;
}

constexpr SSControlOption options[] = {
    {"keys", nullptr, "Compare the public key of the configuration set as well (root)."},
};

} // namespace

const SSControlCommand &SSControlCommands::compare()
{
    static constexpr SSControlCommand command{
        "compare",
        "",
        0,
        0,
        "Compare the logon settings of the directory with the cached ones.",
        "Loads the logon settings from the directory and their copy on this computer, and names\n"
        "the first difference in the agent's own order of comparing. The agent writes the copy\n"
        "anew when there is one. What is switched off is not compared, nor is the proxy. While "
        "the\n"
        "prompt for the disk password is off there is always a difference: the copy reads as on.",
        options,
        "zevrikselfservicectl compare\n"
        "zevrikselfservicectl compare --ldif export.ldif --json",
        nullptr,
        run,
    };
    return command;
}
