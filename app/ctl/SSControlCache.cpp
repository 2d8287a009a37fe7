#include "app/ctl/SSControlActions.h"
#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlText.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "platform/SettingsFiles.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"

namespace {

struct File
{
    QString path;
    bool isThere = false;
};

/// Where the cache lies and what of it this user sees.
struct Place
{
    QString folder;
    File settings;
    File keys;
    bool isRoot = false;
};

Place place()
{
    SettingsFiles &files = *Platform::current().settingsFiles;
    const QString folder = SSLogonSettings::settingsPath();
    const auto file = [&](const QString &name) {
        const QString path = folder + QLatin1Char('/') + name;
        return File{path, files.exists(path)};
    };
    return {folder, file(SSLogonSettings::settingsFileName()),
            file(SSLogonSettings::keyHashesFileName()),
            Platform::current().identity->effectiveUserId() == 0};
}

SSControlAnswer path()
{
    const Place where = place();
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("settingsPath"), where.folder},
                   {QStringLiteral("settingsFile"), where.settings.path},
                   {QStringLiteral("keyHashesFile"), where.keys.path}};
    answer.text = where.settings.path + QLatin1Char('\n') + where.keys.path;
    return answer;
}

QJsonValue printed(const QVariant &value)
{
    if (value.metaType() != QMetaType::fromType<PropertyListData>())
        return SSControlText::json(value);
    const auto data = value.value<PropertyListData>();
    const auto secure = SSSecureData::dataWithData(data.bytes);
    return secure->base64EncodedString();
}

/// The dictionary without the session key, which nobody is to see.
void show(const PropertyListDictionary &dictionary, QJsonObject &json, QStringList &lines)
{
    const QString sessionKey = QStringLiteral("ConfigurationSet.SessionKey");
    for (const auto &[key, value] : dictionary) {
        if (key == sessionKey) {
            json.insert(key, QStringLiteral("(not shown)"));
            lines.append(key + QStringLiteral(" = (not shown)"));
            continue;
        }
        const QJsonValue shown = printed(value);
        json.insert(key, shown);
        lines.append(key + QStringLiteral(" = ") + SSControlText::value(shown.toVariant()));
    }
}

QString missing(const Place &where)
{
    if (!where.settings.isThere)
        return QStringLiteral("there is no cache: %1 does not exist").arg(where.settings.path);
    if (where.isRoot && !where.keys.isThere)
        return QStringLiteral("root has not saved the key file %1 yet").arg(where.keys.path);
    return QStringLiteral("the cache cannot be used");
}

SSControlAnswer show()
{
    SSLogonSettings settings;
    // What the settings file holds is worth showing without the keys.
    const bool isWhole = settings.load();
    const Place where = place();
    const bool isThere = settings.serialize() != SSLogonSettings().serialize();
    if (!isWhole && !isThere)
        return SSControlAnswer::failed(missing(where));
    SSControlAnswer answer;
    QJsonObject values;
    QStringList lines;
    show(settings.serialize(), values, lines);
    answer.json.insert(QStringLiteral("settings"), values);
    QJsonObject keys;
    const auto material = where.isRoot && isWhole ? settings.serializeKeysHashes() : std::nullopt;
    if (material)
        show(*material, keys, lines);
    else
        lines.append(where.isRoot ? missing(where)
                                  : QStringLiteral("(the key file is for root alone)"));
    answer.json.insert(QStringLiteral("keys"),
                       keys.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(keys));
    answer.text = lines.join(QLatin1Char('\n'));
    return answer;
}

SSControlAnswer check()
{
    const auto settings = SSLogonSettings::settingsFromCache();
    const Place where = place();
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("usable"), settings != nullptr},
                   {QStringLiteral("settingsFile"), where.settings.isThere},
                   {QStringLiteral("keyHashesFile"),
                    where.isRoot ? QJsonValue(where.keys.isThere) : QJsonValue(QJsonValue::Null)},
                   {QStringLiteral("needKey"),
                    settings ? QJsonValue(settings->needKey()) : QJsonValue(QJsonValue::Null)},
                   {QStringLiteral("hasKey"), settings && where.isRoot
                                                  ? QJsonValue(settings->hasKey())
                                                  : QJsonValue(QJsonValue::Null)}};
    if (!settings) {
        answer.failure = missing(where);
        return answer;
    }
    QStringList lines{QStringLiteral("The cache can be used: ") + where.settings.path};
    if (!where.isRoot)
        lines.append(QStringLiteral("The key file is for root alone and was not looked at."));
    else if (!settings->needKey())
        lines.append(QStringLiteral("Nothing that is on needs a session key."));
    else
        lines.append(settings->hasKey() ? QStringLiteral("The session key is there.")
                                        : QStringLiteral("The session key is missing."));
    answer.text = lines.join(QLatin1Char('\n'));
    return answer;
}

struct Action
{
    const char *name;
    SSControlAnswer (*run)();
};
constexpr Action actions[] = {{"show", show}, {"check", check}, {"path", path}};

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    if (actionOf(actions, invocation))
        return std::nullopt;
    return QStringLiteral("there is no \"cache %1\", only show, check and path")
        .arg(invocation.operands().at(0));
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    return actionOf(actions, invocation)->run();
}

} // namespace

const SSControlCommand &SSControlCommands::cache()
{
    static constexpr SSControlCommand command{
        "cache",
        "show|check|path",
        1,
        1,
        "Look at the copy of the logon settings on this computer.",
        "The agent keeps the logon settings in a file that the login window reads. Root's copy\n"
        "also has the key material of offline reset, in a file of its own.\n"
        "\n"
        "    show   the values, as the agent reads them; the session key is never shown\n"
        "    check  whether the copy can be used, and whether root has the session key\n"
        "    path   where the files are\n"
        "\n"
        "The settings file can be written by every user of this computer: do not trust it more\n"
        "than them.",
        {},
        "zevrikselfservicectl cache show\n"
        "sudo zevrikselfservicectl cache check --json\n"
        "ls -l $(zevrikselfservicectl cache path)",
        fault,
        run,
    };
    return command;
}
