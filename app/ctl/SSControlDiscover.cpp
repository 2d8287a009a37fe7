#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"

#include <QJsonArray>

#include <algorithm>

namespace {

using Preference = SSConnectionPointPreference;

/// Why the chosen connection point goes before the one at `index`.
Preference preferenceOver(const SSConnectionServices &services, qsizetype chosen, qsizetype index)
{
    return SSConnectionPointHelper::compareConnectionPoints(*services.at(std::min(chosen, index)),
                                                            *services.at(std::max(chosen, index)))
        .preference;
}

/// What decided for the chosen one: what puts it before the one that came closest to it; none when
/// it is the only one.
std::optional<Preference> decisivePreference(const SSConnectionServices &services, qsizetype chosen)
{
    std::optional<Preference> decisive;
    for (qsizetype i = 0; i < services.size(); ++i) {
        if (i == chosen)
            continue;
        const Preference preference = preferenceOver(services, chosen, i);
        if (!decisive || static_cast<int>(preference) > static_cast<int>(*decisive))
            decisive = preference;
    }
    return decisive;
}

QString nameOf(std::optional<Preference> preference)
{
    if (!preference)
        return QStringLiteral("only");
    switch (*preference) {
    case Preference::Priority:
        return QStringLiteral("priority");
    case Preference::DnsName:
        return QStringLiteral("serviceDnsName");
    case Preference::Order:
        break;
    }
    return QStringLiteral("order");
}

QString whyChosen(std::optional<Preference> decisive)
{
    if (!decisive)
        return QStringLiteral("it is the only one");
    switch (*decisive) {
    case Preference::Priority:
        return QStringLiteral("it has the highest priority");
    case Preference::DnsName:
        return QStringLiteral("it has the smallest DNS name of those with the highest priority");
    case Preference::Order:
        break;
    }
    return QStringLiteral(
        "it comes first of those with the highest priority and the same DNS name");
}

QString whyNotChosen(Preference preference)
{
    switch (preference) {
    case Preference::Priority:
        return QStringLiteral("its priority is lower than that of the chosen one");
    case Preference::DnsName:
        return QStringLiteral("at the same priority its DNS name is greater");
    case Preference::Order:
        break;
    }
    return QStringLiteral("at the same priority and DNS name it comes later");
}

QJsonObject jsonOf(const QMap<QString, QString> &keywords)
{
    QJsonObject result;
    for (auto it = keywords.cbegin(); it != keywords.cend(); ++it)
        result.insert(it.key(), it.value());
    return result;
}

QString lineOf(const QString &name, const QString &value)
{
    // A keyword without a value, such as the OID, stands for itself.
    return value.isEmpty()
               ? QStringLiteral("        %1\n").arg(name)
               : QStringLiteral("        %1 = %2\n").arg(name, SSControlText::quoted(value));
}

QString keywordLines(const QMap<QString, QString> &raw, const QMap<QString, QString> &joined)
{
    QString text = QStringLiteral("    Keywords as the directory holds them:\n");
    for (auto it = raw.cbegin(); it != raw.cend(); ++it)
        text += lineOf(it.key(), it.value());
    QString joinedText;
    for (auto it = joined.cbegin(); it != joined.cend(); ++it) {
        if (!raw.contains(it.key()))
            joinedText += lineOf(it.key(), it.value());
    }
    if (!joinedText.isEmpty())
        text += QStringLiteral("    Joined from their parts:\n") + joinedText;
    return text;
}

SSControlAnswer run(const SSControlInvocation &)
{
    std::optional<DirectoryError> error;
    const auto found = SSConnectionPointHelper::findConnectionPoints(error);
    if (!found && error)
        return SSControlAnswer::failed(QStringLiteral("the directory could not be searched"));
    const SSConnectionServices services = found.value_or(SSConnectionServices());
    const auto selected = SSConnectionPointHelper::chooseConnectionPoint(services);
    const qsizetype chosen = services.indexOf(selected);
    const auto decisive = decisivePreference(services, chosen);

    SSControlAnswer answer;
    QJsonArray array;
    answer.text = QStringLiteral("Connection points found: %1").arg(services.size());
    for (qsizetype i = 0; i < services.size(); ++i) {
        const SSConnectionService &service = *services.at(i);
        const bool isChosen = i == chosen;
        const auto joined =
            SSConnectionPointKeywords(service.keywords(), std::nullopt).joinedKeywords();
        const auto preference =
            isChosen ? decisive : std::optional(preferenceOver(services, chosen, i));
        array.append(QJsonObject{
            {QStringLiteral("serviceDnsName"), service.serviceDnsName()},
            {QStringLiteral("appleMetaNodeLocation"),
             SSControlText::json(service.appleMetaNodeLocation())},
            {QStringLiteral("settingsPriority"), service.settingsPriority()},
            {QStringLiteral("selected"), isChosen},
            {QStringLiteral("decidedBy"), nameOf(preference)},
            {QStringLiteral("keywords"), jsonOf(service.keywords())},
            {QStringLiteral("joinedKeywords"), jsonOf(joined)},
        });
        answer.text +=
            QStringLiteral("\n\n%1 %2\n")
                .arg(isChosen ? QLatin1String("*") : QLatin1String("-"), service.serviceDnsName());
        answer.text += QStringLiteral("    Node location: %1\n")
                           .arg(service.appleMetaNodeLocation().value_or(QStringLiteral("(none)")));
        answer.text += QStringLiteral("    Priority: %1\n").arg(service.settingsPriority());
        answer.text += QStringLiteral("    %1: %2\n")
                           .arg(isChosen ? QLatin1String("Chosen") : QLatin1String("Not chosen"),
                                isChosen ? whyChosen(preference) : whyNotChosen(*preference));
        answer.text += keywordLines(service.keywords(), joined).chopped(1);
    }
    answer.json = {
        {QStringLiteral("serviceOID"), SSConnectionPointHelper::serviceOID()},
        {QStringLiteral("connectionPoints"), array},
        {QStringLiteral("selectedIndex"),
         selected ? QJsonValue(static_cast<qint64>(chosen)) : QJsonValue(QJsonValue::Null)},
    };
    if (!selected)
        answer.failure = SSControlSources::noConnectionPoint();
    return answer;
}

} // namespace

const SSControlCommand &SSControlCommands::discover()
{
    static constexpr SSControlCommand command{
        "discover",
        "",
        0,
        0,
        "Find the service's connection points and show which one applies.",
        "Searches the directory as the agent does and prints every connection point of the\n"
        "service with its keywords: as the directory holds them, and with values that are\n"
        "spread over numbered keywords (Name:0, Name:1, ...) joined. The highest priority is\n"
        "chosen (keyword WinlogonResetPassword.SettingsPriority, 0 without it), at equal\n"
        "priority the smallest DNS name. The chosen one is marked with an asterisk.\n"
        "\n"
        "An object counts when it has the service's OID among its keywords, is of the class\n"
        "serviceConnectionPoint, has a keyword that begins with WinlogonResetPassword.Enabled\n"
        "(whatever its value), and has a serviceDNSName. Finding none is a failure.",
        {},
        "zevrikselfservicectl discover\n"
        "zevrikselfservicectl discover --json\n"
        "zevrikselfservicectl discover --ldif export.ldif",
        nullptr,
        run,
    };
    return command;
}
