#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
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

    const auto difference = fresh.firstDifference(*cached, invocation.isSet("keys"));
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("equal"), !difference.has_value()},
                   {QStringLiteral("firstDifference"), SSControlText::json(difference)},
                   {QStringLiteral("fresh"), QJsonValue::Null},
                   {QStringLiteral("cached"), QJsonValue::Null}};
    if (!difference) {
        answer.text = QStringLiteral("The cache holds what the directory says.");
        return answer;
    }
    const bool isSecret = *difference == QLatin1String("sessionKey");
    const auto ours = fresh.publicValue(*difference);
    const auto theirs = cached->publicValue(*difference);
    answer.json.insert(QStringLiteral("fresh"), SSControlText::json(ours));
    answer.json.insert(QStringLiteral("cached"), SSControlText::json(theirs));
    answer.text = QStringLiteral("The cache differs at ") + *difference;
    if (isSecret)
        return answer;
    answer.text += QStringLiteral("\n    from the directory: ") + SSControlText::value(ours) +
                   QStringLiteral("\n    in the cache:       ") + SSControlText::value(theirs);
    return answer;
}

constexpr SSControlOption options[] = {
    {"keys", nullptr, "Compare the key material of offline reset as well (root)."},
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
        "anew when there is one. What is switched off is not compared, nor is the proxy.",
        options,
        "zevrikselfservicectl compare\n"
        "zevrikselfservicectl compare --ldif export.ldif --json",
        nullptr,
        run,
    };
    return command;
}
