#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointKeywords.h"
#include "settings/SSLogonSettings.h"
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
        return QStringLiteral("not read: what it belongs to is off");
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

/// One record of settings: the values and "sources" as an object, and lines for people.
struct Section
{
    QJsonObject json;
    QStringList lines;
};

Section sectionOf(const std::optional<QString> &nodeLocation,
                  const QList<SSSettingProvenance> &provenance)
{
    Section section;
    const QString location = QStringLiteral("appleMetaNodeLocation");
    section.json.insert(location, SSControlText::json(nodeLocation));
    QJsonObject sources{
        {location, QJsonObject{{QStringLiteral("source"), QStringLiteral("connectionPoint")},
                               {QStringLiteral("name"), QJsonValue::Null},
                               {QStringLiteral("fallback"), false},
                               {QStringLiteral("read"), true}}}};
    section.lines.append(QStringLiteral("%1 = %2\n    from the connection point")
                             .arg(location, SSControlText::quoted(nodeLocation)));
    for (const SSSettingProvenance &setting : provenance) {
        section.json.insert(setting.property, SSControlText::json(setting.value));
        sources.insert(setting.property, QJsonObject{{QStringLiteral("source"), nameOf(setting)},
                                                     {QStringLiteral("name"),
                                                      SSControlText::json(setting.sourceName)},
                                                     {QStringLiteral("fallback"), setting.fallback},
                                                     {QStringLiteral("read"), setting.resolved}});
        // Joined, not filled in: a value may hold what looks like a placeholder.
        section.lines.append(setting.property + QStringLiteral(" = ") +
                             SSControlText::value(setting.value) + QStringLiteral("\n    ") +
                             originOf(setting));
    }
    section.json.insert(QStringLiteral("sources"), sources);
    return section;
}

SSControlAnswer run(const SSControlInvocation &)
{
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return SSControlAnswer::failed(SSControlSources::noConnectionPoint());
    SSTraySettings tray;
    tray.loadFromConnectionPointKeywords(keywords.get());
    SSLogonSettings logon;
    logon.loadFromConnectionPointKeywords(keywords.get());

    Section section = sectionOf(tray.appleMetaNodeLocation(), tray.provenance());
    const Section logonSection = sectionOf(logon.appleMetaNodeLocation(), logon.provenance());
    section.json.insert(QStringLiteral("logonSettings"), logonSection.json);
    SSControlAnswer answer;
    answer.json = section.json;
    answer.text = QStringLiteral("Settings of the reminder:\n\n") +
                  section.lines.join(QLatin1Char('\n')) +
                  QStringLiteral("\n\nSettings of the login screen:\n\n") +
                  logonSection.lines.join(QLatin1Char('\n'));
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
        "Show every setting and where it came from.",
        "Loads the settings of the reminder and those of the login screen as the agent does:\n"
        "from the keywords of the chosen connection point, each overridden by its key in the\n"
        "defaults domain. For every setting it tells the source: a defaults key, a keyword, the\n"
        "second pair of these when the first gave nothing (fallback), a built-in text, or none\n"
        "of them. The settings of what is switched off are not read.\n"
        "\n"
        "With --json the values stand under the names of the settings; the object \"sources\"\n"
        "tells for each its \"source\" (defaults, keyword, defaultValue, none), the \"name\" of\n"
        "the key or the keyword, whether it is a \"fallback\", and whether it was \"read\". The\n"
        "object \"logonSettings\" holds the same of the login screen.",
        {},
        "zevrikselfservicectl settings\n"
        "zevrikselfservicectl settings --json\n"
        "zevrikselfservicectl settings --ldif export.ldif --defaults override.plist",
        nullptr,
        run,
    };
    return command;
}
