#include "filevault/SSFdeUsers.h"

#include "filevault/SSToolCommand.h"
#include "filevault/SSToolScripts.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"

#include <QRegularExpression>
#include <QStringList>
#include <QStringView>

#include <algorithm>

namespace {

/// Looked at where they are: the output of a failed attempt may show a password.
QList<QStringView> lines(QStringView text)
{
    QList<QStringView> result;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !SSHelper::isLineEnd(text[i]))
            continue;
        result.append(text.sliced(start, i - start));
        start = i + 1;
    }
    return result;
}

/// A set as "%@" prints it: that of an array in braces.
QString printed(const QSet<QString> &set)
{
    QStringList names(set.begin(), set.end());
    std::sort(names.begin(), names.end());
    return QLatin1Char('{') + SSFormat::description(names) + QLatin1Char('}');
}

} // namespace

SSFdeUsers::SSFdeUsers(const QString &adminUserName, const SSSecureData &password)
{
    retreiveSecureTokenUsersWithAdminUserName(adminUserName, password);
}

void SSFdeUsers::retreiveSecureTokenUsersWithAdminUserName(const QString &adminUserName,
                                                           const SSSecureData &password)
{
    const SSToolPassword decoded(password);
    if (!decoded.isText())
        return;
    SSPasswordMask mask;
    mask.add(decoded.text(), decoded.escaped());
    const SSToolAnswer answer = SSToolAnswer::ofScript(
        SSToolScripts::fdeUserList(SSHelper::stringEscapedToShell(adminUserName),
                                   decoded.escaped()),
        mask);
    SSLog(2, SSMessageType::Info, "/expect result: %@", answer.maskedOutput());
    if (!answer.hasOutput()) {
        SSLog(1, SSMessageType::Error, "Unable get secure token users using fdesetup. Error: %@",
              answer.errorDescription());
        return;
    }
    m_secureTokenUsers = parse(*answer.output(), mask);
}

std::optional<QSet<QString>> SSFdeUsers::parseSecureTokenUsersWithResult(const QString &result)
{
    return parse(result, SSPasswordMask());
}

std::optional<QSet<QString>> SSFdeUsers::parse(const QString &result,
                                               const SSPasswordMask &passwords)
{
    const QRegularExpression expression(
        QStringLiteral("^([^,]+),[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"),
        QRegularExpression::CaseInsensitiveOption);
    if (!expression.isValid()) {
        SSLog(1, SSMessageType::Error,
              "Unable build secure token users regualr expression. Error: %@",
              expression.errorString());
        return std::nullopt;
    }
    QSet<QString> users;
    QSet<QString> shown;
    for (const QStringView line : lines(result)) {
        // None can be a match without one, and a match takes a copy.
        if (!line.contains(QLatin1Char(',')))
            continue;
        const QRegularExpressionMatch match = expression.match(line.toString());
        if (!match.hasMatch() || !match.hasCaptured(1))
            continue;
        const QString captured = match.captured(1);
        const QString name = captured.toLower();
        // Before its letters change as well as after: either may be what a password is.
        const QString shownName = passwords.masked(passwords.masked(captured).toLower());
        if (users.contains(name))
            SSLog(2, SSMessageType::Info, "user '%@' already exists in set: %@", shownName,
                  passwords.masked(printed(shown)));
        users.insert(name);
        shown.insert(shownName);
    }
    if (users.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable find secure token users using fdesetup. Log: %@",
              passwords.masked(result));
        return std::nullopt;
    }
    return users;
}

bool SSFdeUsers::isSecureTokenUserWithName(const QString &userName) const
{
    return m_secureTokenUsers && m_secureTokenUsers->contains(userName.toLower());
}
