#include "app/ctl/SSControlActions.h"
#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlSecrets.h"
#include "app/ctl/SSControlText.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "settings/SSLogonSettings.h"

#include <algorithm>
#include <iterator>

namespace {

using SSControlSecrets::Secret;

constexpr qint32 defaultIterations = 10240;
/// Some seconds' work; beyond it lies a slip of the keyboard, and hours.
constexpr qint32 mostIterations = 10'000'000;

QString hexadecimal(const SSSecureData &data)
{
    const auto bytes = data.data();
    return QString::fromLatin1(QByteArray::fromRawData(reinterpret_cast<const char *>(bytes.data()),
                                                       static_cast<qsizetype>(bytes.size()))
                                   .toHex());
}

/// A number of at most 32 bits, decimal or with "0x" hexadecimal; leading zeros mean nothing.
std::optional<quint32> number(const SSControlInvocation &invocation, const char *option)
{
    auto digits = invocation.value(option);
    if (!digits)
        return std::nullopt;
    const bool isHexadecimal = digits->startsWith(QLatin1String("0x"));
    if (isHexadecimal)
        digits->remove(0, 2);
    // Qt takes signs, spaces and a second "0x".
    if (!std::all_of(digits->begin(), digits->end(), [](QChar c) {
            return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        }))
        return std::nullopt;
    bool isNumber = false;
    const uint value = digits->toUInt(&isNumber, isHexadecimal ? 16 : 10);
    return isNumber ? std::optional(quint32{value}) : std::nullopt;
}

SSControlAnswer answerOf(const char *name, const QString &value)
{
    SSControlAnswer answer;
    answer.json = {{QLatin1String(name), value}};
    answer.text = value;
    return answer;
}

Secret sessionKey(const SSControlInvocation &invocation)
{
    return invocation.isSet("cached") ? SSControlSecrets::cachedSessionKey()
                                      : SSControlSecrets::sessionKey();
}

SSControlAnswer request(const SSControlInvocation &invocation)
{
    auto rid = number(invocation, "rid");
    if (!rid) {
        const auto settings = SSLogonSettings::settingsFromCache();
        rid = settings ? settings->computerRID() : 0;
    }
    const Secret key = sessionKey(invocation);
    if (!key.data)
        return SSControlAnswer::failed(key.failure);
    quint32 random = 0;
    const auto code =
        SSSecurityHelper::generateRequestCodeWithComputerRID(*rid, key.data.get(), &random);
    if (!code)
        return SSControlAnswer::failed(QStringLiteral("no request code could be made"));
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("requestCode"), *code},
                   {QStringLiteral("random"), static_cast<qint64>(random)}};
    answer.text = *code + QStringLiteral("\nrandom number: ") + QString::number(random);
    return answer;
}

SSControlAnswer parse(const SSControlInvocation &invocation)
{
    const Secret line = SSControlSecrets::line(QStringLiteral("Response code: "));
    if (!line.data)
        return SSControlAnswer::failed(QStringLiteral("no response code: ") + line.failure);
    const auto bytes = line.data->data();
    QString code = QString::fromUtf8(reinterpret_cast<const char *>(bytes.data()),
                                     static_cast<qsizetype>(bytes.size()));
    const auto payload = SSSecurityHelper::parseResponseCode(code, *number(invocation, "random"));
    SSSecure::secureFree(code);
    if (!payload)
        return SSControlAnswer::failed(QStringLiteral("the response code does not verify"));
    return answerOf("payload", hexadecimal(*payload));
}

SSControlAnswer hash(const SSControlInvocation &invocation)
{
    const Secret password = SSControlSecrets::password();
    if (!password.data)
        return SSControlAnswer::failed(password.failure);
    const Secret key = sessionKey(invocation);
    if (!key.data)
        return SSControlAnswer::failed(key.failure);
    const auto result =
        SSSecurityHelper::calcHashWithUser(*invocation.value("user"), password.data.get(),
                                           *number(invocation, "random"), key.data.get());
    if (!result)
        return SSControlAnswer::failed(QStringLiteral("no hash could be made"));
    return answerOf("hash", hexadecimal(*result));
}

SSControlAnswer dcc2(const SSControlInvocation &invocation)
{
    const Secret password = SSControlSecrets::password();
    if (!password.data)
        return SSControlAnswer::failed(password.failure);
    const auto iterations = invocation.value("iterations");
    const auto result = SSSecurityHelper::calculateMsCash2WithUser(
        *invocation.value("user"), password.data.get(),
        iterations ? iterations->toInt() : defaultIterations);
    if (!result)
        return SSControlAnswer::failed(QStringLiteral("no hash could be made"));
    return answerOf("dcc2", hexadecimal(*result));
}

/// One of the four things to do, with the options that it needs and takes.
struct Action
{
    const char *name;
    SSControlAnswer (*run)(const SSControlInvocation &);
    const char *needed[2];
    const char *taken[2];
};
constexpr Action actions[] = {
    {"request", request, {nullptr, nullptr}, {"rid", "cached"}},
    {"parse", parse, {"random", nullptr}, {nullptr, nullptr}},
    {"hash", hash, {"user", "random"}, {"cached", nullptr}},
    {"dcc2", dcc2, {"user", nullptr}, {"iterations", nullptr}},
};

bool names(const char *const (&list)[2], const char *option)
{
    return std::any_of(std::begin(list), std::end(list), [option](const char *name) {
        return name && QLatin1String(name) == QLatin1String(option);
    });
}

constexpr SSControlOption options[] = {
    {"user", "NAME", "hash, dcc2: the user's name, as the service knows it."},
    {"random", "NUMBER", "parse, hash: the random number of the request."},
    {"rid", "NUMBER",
     "request: the relative identifier of the computer's account. "
     "Default: the cached one (root)."},
    {"iterations", "COUNT", "dcc2: how often the hash is repeated. Default: 10240."},
    {"cached", nullptr,
     "request, hash: use the session key that root keeps on this computer "
     "instead of asking for one."},
};

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    const Action *const action = actionOf(actions, invocation);
    if (!action) {
        return QStringLiteral("there is no \"offline %1\", only request, parse, hash and dcc2")
            .arg(invocation.operands().at(0));
    }
    const QString name = QString::fromLatin1(action->name);
    for (const SSControlOption &option : options) {
        const QString optionName = QString::fromLatin1(option.name);
        if (names(action->needed, option.name) && !invocation.isSet(option.name))
            return QStringLiteral("\"offline %1\" needs --%2").arg(name, optionName);
        if (invocation.isSet(option.name) && !names(action->needed, option.name) &&
            !names(action->taken, option.name)) {
            return QStringLiteral("\"offline %1\" takes no --%2").arg(name, optionName);
        }
    }
    for (const char *const option : {"random", "rid"}) {
        if (invocation.isSet(option) && !number(invocation, option))
            return QStringLiteral("--%1 is no number of 32 bits").arg(QLatin1String(option));
    }
    if (action->run == request && !invocation.isSet("rid") && !invocation.isSet("cached"))
        return QStringLiteral("\"offline request\" needs --rid or --cached");
    if (const auto iterations = invocation.value("iterations")) {
        bool isNumber = false;
        const qint32 count = iterations->toInt(&isNumber);
        if (!isNumber)
            return QStringLiteral("--iterations is no number");
        if (count > mostIterations)
            return QStringLiteral("--iterations is at most %1").arg(mostIterations);
    }
    return std::nullopt;
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    return actionOf(actions, invocation)->run(invocation);
}

} // namespace

const SSControlCommand &SSControlCommands::offline()
{
    static constexpr SSControlCommand command{
        "offline",
        "request|parse|hash|dcc2",
        1,
        1,
        "Try the codes and hashes of offline password reset.",
        "Does what the login window does when the domain cannot be reached, one step at a time.\n"
        "\n"
        "    request  a request code, and the random number that belongs to it\n"
        "    parse    the payload of a response code\n"
        "    hash     the hash of a user's password that is as long as the payload\n"
        "    dcc2     the domain cached credentials hash, version 2\n"
        "\n"
        "Secrets are asked for at the terminal, or read from the standard input, one line each:\n"
        "the password for hash and dcc2, then for request and hash the session key in Base64;\n"
        "the response code for parse. They are never arguments, which every user can see.\n"
        "Hashes and payloads are printed in hexadecimal.",
        options,
        "sudo zevrikselfservicectl offline request --cached\n"
        "zevrikselfservicectl offline parse --random 67305985\n"
        "zevrikselfservicectl offline dcc2 --user jdoe\n"
        "zevrikselfservicectl offline hash --user jdoe --random 67305985 --json",
        fault,
        run,
    };
    return command;
}
