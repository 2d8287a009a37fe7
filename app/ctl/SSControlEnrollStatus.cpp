#include "app/SSEnrollUserInfo.h"
#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlFile.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "directory/SSUserInfo.h"
#include "foundation/SSUtils.h"
#include "settings/SSTraySettings.h"
#include "web/SSWebDownloader.h"

#include <QStringDecoder>

namespace {

/// As long as an answer of the web interface may be.
constexpr qint64 largestAnswer = 16LL * 1024 * 1024;

/// A saved answer and why it cannot be had.
struct SavedAnswer
{
    std::optional<QString> text;
    QString failure;
};

SavedAnswer readAnswer(const QString &path)
{
    const auto file = SSControlFile::read(path, largestAnswer,
                                          QStringLiteral("longer than an answer may be (16 MiB)"));
    if (!file.bytes)
        return {std::nullopt, file.failure};
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(*file.bytes);
    if (decoder.hasError()) {
        return {std::nullopt,
                path + QStringLiteral(": not UTF-8 text, which the agent takes for no answer")};
    }
    return {text, {}};
}

/// What was asked, and the answer.
struct Question
{
    std::optional<QString> logonName;
    std::optional<QString> url;
    std::optional<QString> proxy;
    std::optional<QString> result;
};

SSControlAnswer answerTo(const Question &question)
{
    const auto query = SSEnrollUserInfo::initWithAnswer(question.result);
    SSControlAnswer answer;
    QJsonObject params;
    const QMap<QString, QString> parsed = query->params();
    QStringList lines;
    if (question.url) {
        lines.append(QStringLiteral("Logon name:    ") + question.logonName.value_or(QString()));
        lines.append(QStringLiteral("URL:           ") + *question.url);
        lines.append(QStringLiteral("Proxy:         ") +
                     question.proxy.value_or(QStringLiteral("(none)")));
    }
    lines.append(parsed.isEmpty() ? QStringLiteral("Answer:        (nothing in it)")
                                  : QStringLiteral("Answer:"));
    for (auto it = parsed.cbegin(); it != parsed.cend(); ++it) {
        params.insert(it.key(), it.value());
        lines.append(QStringLiteral("    ") + it.key() + QStringLiteral(" = ") +
                     SSControlText::quoted(it.value()));
    }
    lines.append(QStringLiteral("Must recheck:  ") + SSControlText::yesNo(query->needReckeck()));
    lines.append(QStringLiteral("Is enrolled:   ") + SSControlText::yesNo(query->isUserEnrolled()));
    if (const auto error = query->error())
        lines.append(QStringLiteral("Error:         ") + SSControlText::quoted(error));
    answer.text = lines.join(QLatin1Char('\n'));
    answer.json = {
        {QStringLiteral("legacyLogonName"), SSControlText::json(question.logonName)},
        {QStringLiteral("url"), SSControlText::json(question.url)},
        {QStringLiteral("proxy"), SSControlText::json(question.proxy)},
        {QStringLiteral("result"), SSControlText::json(question.result)},
        {QStringLiteral("params"), params},
        {QStringLiteral("needReckeck"), query->needReckeck()},
        {QStringLiteral("isUserEnrolled"), query->isUserEnrolled()},
        {QStringLiteral("error"), SSControlText::json(query->error())},
    };
    return answer;
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    Question question;
    if (const auto path = invocation.value("answer")) {
        const SavedAnswer saved = readAnswer(*path);
        if (!saved.text)
            return SSControlAnswer::failed(saved.failure);
        question.result = saved.text;
        return answerTo(question);
    }

    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return SSControlAnswer::failed(SSControlSources::noConnectionPoint());
    SSTraySettings settings;
    settings.loadFromConnectionPointKeywords(keywords.get());
    if (!settings.enrollEnabled()) {
        return SSControlAnswer::failed(QStringLiteral(
            "the enrollment reminder is off (enrollEnabled is NO), so the agent asks nothing"));
    }
    const QString name = invocation.value("user").value_or(SSControlSources::currentUserName());
    if (name.isEmpty()) {
        return SSControlAnswer::failed(
            QStringLiteral("the user who runs this has no account; name one with --user"));
    }
    const SSUserInfo user(name);
    question.logonName =
        user.legacyLogonNameWithAppleMetaNodeLocation(settings.appleMetaNodeLocation());
    question.url =
        SSUtils::clientInfoUrlWithBaseUrlString(settings.enrollWebUiUrl(), question.logonName);
    if (!question.url) {
        return SSControlAnswer::failed(
            QStringLiteral("the settings give no address of the web interface (enrollWebUiUrl)"));
    }
    question.proxy = settings.enrollProxy();
    question.result = SSWebDownloader::downloadWithURL(question.url, question.proxy);
    SSControlAnswer answer = answerTo(question);
    if (!question.result)
        answer.failure = QStringLiteral("the web interface gave no answer that can be read");
    return answer;
}

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    if (invocation.isSet("answer") && invocation.isSet("user"))
        return QStringLiteral("--user has no meaning with --answer, which asks nobody");
    return std::nullopt;
}

constexpr SSControlOption options[] = {
    {"user", "NAME",
     "Ask about this user, by the short login name. Default: the user who "
     "runs the command."},
    {"answer", "FILE", "Read a saved answer from this file instead of asking."},
};

} // namespace

const SSControlCommand &SSControlCommands::enrollStatus()
{
    static constexpr SSControlCommand command{
        "enroll-status",
        "",
        0,
        0,
        "Ask the web interface whether a user must enroll.",
        "Asks the question that the agent asks before it reminds, and shows the address, the\n"
        "lines of the answer and what the agent makes of them: \"must recheck\" when the answer\n"
        "says neither NeedPssEnroll nor GetPssDataError, so that the agent asks again;\n"
        "otherwise it reminds unless \"is enrolled\" is YES. Only the value \"true\" of\n"
        "NeedPssEnroll, in any letter case, means that the user must enroll. An answer that\n"
        "cannot be had is a failure.",
        options,
        "zevrikselfservicectl enroll-status\n"
        "zevrikselfservicectl enroll-status --user jdoe --json\n"
        "curl -s \"$(zevrikselfservicectl url client-info)\" > answer.txt\n"
        "zevrikselfservicectl enroll-status --answer answer.txt",
        fault,
        run,
    };
    return command;
}
