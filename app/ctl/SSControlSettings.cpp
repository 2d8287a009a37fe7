#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointKeywords.h"
#include "settings/SSTraySettings.h"

namespace {

QString nameOf(const SSSettingProvenance &setting)
{
    switch (setting.source) {
    case SSOptionSource::Defaults:
        return QStringLiteral("defaults");
    case SSOptionSource::Keyword:
        return QStringLiteral("keyword");
    case SSOptionSource::DefaultValue:
        return QStringLiteral("defaultValue");
    case SSOptionSource::None:
        break;
    }
    return QStringLiteral("none");
}

QString originOf(const SSSettingProvenance &setting)
{
    if (!setting.resolved)
        return QStringLiteral("not read: its reminder is off");
    QString origin;
    switch (setting.source) {
    case SSOptionSource::Defaults:
        origin =
            QStringLiteral("from the defaults key %1").arg(setting.sourceName.value_or(QString()));
        break;
    case SSOptionSource::Keyword:
        origin = QStringLiteral("from the keyword %1").arg(setting.sourceName.value_or(QString()));
        break;
    case SSOptionSource::DefaultValue:
        origin = QStringLiteral("the built-in text");
        break;
    case SSOptionSource::None:
        return QStringLiteral("neither in the defaults nor among the keywords");
    }
    return setting.fallback ? origin + QStringLiteral(" (fallback)") : origin;
}

SSControlAnswer run(const SSControlInvocation &)
{
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return SSControlAnswer::failed(SSControlSources::noConnectionPoint());
    SSTraySettings settings;
    settings.loadFromConnectionPointKeywords(keywords.get());

    SSControlAnswer answer;
    const QString location = QStringLiteral("appleMetaNodeLocation");
    answer.json.insert(location, SSControlText::json(settings.appleMetaNodeLocation()));
    QJsonObject sources{
        {location, QJsonObject{{QStringLiteral("source"), QStringLiteral("connectionPoint")},
                               {QStringLiteral("name"), QJsonValue::Null},
                               {QStringLiteral("fallback"), false},
                               {QStringLiteral("read"), true}}}};
    QStringList lines{QStringLiteral("%1 = %2\n    from the connection point")
                          .arg(location, SSControlText::quoted(settings.appleMetaNodeLocation()))};
    for (const SSSettingProvenance &setting : settings.provenance()) {
        answer.json.insert(setting.property, SSControlText::json(setting.value));
        sources.insert(setting.property, QJsonObject{{QStringLiteral("source"), nameOf(setting)},
                                                     {QStringLiteral("name"),
                                                      SSControlText::json(setting.sourceName)},
                                                     {QStringLiteral("fallback"), setting.fallback},
                                                     {QStringLiteral("read"), setting.resolved}});
        // Joined, not filled in: a value may hold what looks like a placeholder.
        lines.append(setting.property + QStringLiteral(" = ") +
                     SSControlText::value(setting.value) + QStringLiteral("\n    ") +
                     originOf(setting));
    }
    answer.json.insert(QStringLiteral("sources"), sources);
    answer.text = lines.join(QLatin1Char('\n'));
    return answer;
}

} // namespace

const SSControlCommand &SSControlCommands::settings()
{
    static constexpr SSControlCommand command{
        "settings",
        "",
        0,
        0,
        "Show every setting of the reminder and where it came from.",
        "Loads the settings as the agent does: from the keywords of the chosen connection\n"
        "point, each overridden by its key in the defaults domain. For every setting it tells\n"
        "the source: a defaults key, a keyword, the second pair of these when the first gave\n"
        "nothing (fallback), or neither. The settings of a reminder that is off are not read.\n"
        "\n"
        "With --json the values stand under the names of the settings; the object \"sources\"\n"
        "tells for each its \"source\" (defaults, keyword, none), the \"name\" of the key or the\n"
        "keyword, whether it is a \"fallback\", and whether it was \"read\".",
        {},
        "zevrikselfservicectl settings\n"
        "zevrikselfservicectl settings --json\n"
        "zevrikselfservicectl settings --ldif export.ldif --defaults override.plist",
        nullptr,
        run,
    };
    return command;
}
