#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "directory/SSMobileUsersInfo.h"
#include "directory/SSUserInfo.h"
#include "directory/SSUserInfoHelper.h"

#include <QJsonArray>

namespace {

QJsonArray jsonOf(const QList<DirectoryDetails> &records)
{
    QJsonArray result;
    for (const DirectoryDetails &details : records) {
        QJsonObject record;
        for (auto it = details.cbegin(); it != details.cend(); ++it)
            record.insert(it.key(), QJsonArray::fromStringList(it.value()));
        result.append(record);
    }
    return result;
}

QString quotedList(const QStringList &values)
{
    QStringList result;
    for (const QString &value : values)
        result.append(SSControlText::quoted(value));
    return result.isEmpty() ? QStringLiteral("(none)") : result.join(QStringLiteral(", "));
}

QString textOf(const QList<DirectoryDetails> &records)
{
    QString result;
    for (qsizetype i = 0; i < records.size(); ++i) {
        result += QStringLiteral("\nRecord %1 of %2").arg(i + 1).arg(records.size());
        const DirectoryDetails &details = records.at(i);
        for (auto it = details.cbegin(); it != details.cend(); ++it) {
            result += QStringLiteral("\n    ") + it.key() + QStringLiteral(" = ") +
                      quotedList(it.value());
        }
    }
    return result;
}

std::optional<QString> nodeLocation(const SSControlInvocation &invocation)
{
    if (auto given = invocation.value("node-location"))
        return given;
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    return keywords ? keywords->appleMetaNodeLocation() : std::nullopt;
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    const QString name = invocation.operands().at(0);
    const auto records = SSUserInfoHelper::userInfoWithName(name);
    if (!records) {
        return SSControlAnswer::failed(
            QStringLiteral("the directory could not be asked about the user ") + name);
    }
    if (records->isEmpty())
        return SSControlAnswer::failed(QStringLiteral("the directory has no user ") + name);

    const SSUserInfo user(name);
    const std::optional<QString> location = nodeLocation(invocation);
    const std::optional<QString> domain = user.domainNameWithAppleMetaNodeLocation(location);
    const QString logonName = user.legacyLogonNameWithAppleMetaNodeLocation(location);
    const bool isEnrollCapable = SSUserInfoHelper::isEnrollCapableUser(name);
    const bool isAdmin = SSMobileUsersInfo::isAdminUser(name);

    SSControlAnswer answer;
    answer.json = {
        {QStringLiteral("sAMAccountName"), user.sAMAccountName()},
        {QStringLiteral("uid"), SSControlText::json(user.uid())},
        {QStringLiteral("domains"), SSControlText::json(user.domains())},
        {QStringLiteral("appleMetaNodeLocation"), SSControlText::json(location)},
        {QStringLiteral("domainName"), SSControlText::json(domain)},
        {QStringLiteral("legacyLogonName"), logonName},
        {QStringLiteral("isEnrollCapableUser"), isEnrollCapable},
        {QStringLiteral("isAdminUser"), isAdmin},
        {QStringLiteral("records"), jsonOf(*records)},
    };
    answer.text =
        QStringList{
            QStringLiteral("Name:          ") + name,
            QStringLiteral("GUID:          ") + user.uid().value_or(QStringLiteral("(none)")),
            QStringLiteral("NT domains:    ") + quotedList(user.domains().value_or(QStringList())),
            QStringLiteral("Node location: ") + location.value_or(QStringLiteral("(none)")),
            QStringLiteral("Logon form:    ") + logonName,
            QStringLiteral("May enroll:    ") + SSControlText::yesNo(isEnrollCapable),
            QStringLiteral("Is admin:      ") + SSControlText::yesNo(isAdmin)}
            .join(QLatin1Char('\n')) +
        textOf(*records);
    return answer;
}

constexpr SSControlOption options[] = {
    {"node-location", "LOCATION",
     "The node location that the logon form is made for, as "
     "\"/Active Directory/CORP/All Domains\". Default: that of the chosen "
     "connection point.",
     true},
};

} // namespace

const SSControlCommand &SSControlCommands::user()
{
    static constexpr SSControlCommand command{
        "user",
        "NAME",
        1,
        1,
        "Show what the directory says about a user.",
        "Prints what the agent makes of the user with the short login name NAME (jdoe, not\n"
        "CORP\\jdoe): the GUID, the NT domains, the logon form that the web interface is asked\n"
        "with, whether the user may enroll (every record belongs to an NT domain), whether he\n"
        "administers this computer, and the records themselves. A user who is not found is a\n"
        "failure.",
        options,
        "zevrikselfservicectl user jdoe\n"
        "zevrikselfservicectl user jdoe --node-location \"/Active Directory/SALES/All Domains\"\n"
        "zevrikselfservicectl user jdoe --ldif export.ldif --json",
        nullptr,
        run,
    };
    return command;
}
