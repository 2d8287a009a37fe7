#include "app/ctl/SSControlActions.h"
#include "app/ctl/SSControlCommand.h"
#include "app/ctl/SSControlFile.h"
#include "app/ctl/SSControlSources.h"
#include "app/ctl/SSControlText.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "security/SSPublicKeyCoder.h"
#include "security/SSRSAKey.h"
#include "security/SSSecureData.h"

namespace {

/// Many times a key of any kind.
constexpr qint64 largestKey = 64LL * 1024;

/// A key's bytes, or why there are none. A public key is no secret.
struct Key
{
    std::shared_ptr<SSSecureData> data;
    QString failure;
};

/// The bytes of a file in PEM, Base64 or as they are.
QByteArray decoded(const QByteArray &contents)
{
    QByteArray text = contents.trimmed();
    if (text.startsWith("-----BEGIN ")) {
        const qsizetype begin = text.indexOf('\n');
        const qsizetype end = text.indexOf("-----END ");
        text = begin < end ? text.mid(begin, end - begin) : QByteArray();
    }
    text.replace('\n', "").replace('\r', "").replace(' ', "");
    const auto result =
        QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    return result && !text.isEmpty() ? result.decoded : contents;
}

Key fromFile(const QString &path)
{
    const auto file =
        SSControlFile::read(path, largestKey, QStringLiteral("longer than a key may be (64 KiB)"));
    if (!file.bytes)
        return {nullptr, file.failure};
    const QByteArray bytes = decoded(*file.bytes);
    return {SSSecureData::dataWithData(SSSecure::bytes(bytes)), {}};
}

/// The operand's file, or what the directory publishes.
Key source(const SSControlInvocation &invocation)
{
    if (invocation.operands().size() > 1)
        return fromFile(invocation.operands().at(1));
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return {nullptr, SSControlSources::noConnectionPoint()};
    const auto key = keywords->configurationSetPublicKey();
    return {key, key ? QString() : QStringLiteral("the connection point publishes no key")};
}

SSControlAnswer check(const SSControlInvocation &invocation)
{
    const Key blob = source(invocation);
    if (!blob.data)
        return SSControlAnswer::failed(blob.failure);
    const auto key = SSRSAKey::keyWithMsKeyData(blob.data.get());
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("valid"), key != nullptr},
                   {QStringLiteral("length"), static_cast<qint64>(blob.data->length())}};
    if (!key)
        answer.failure = QStringLiteral("the key cannot be used");
    else
        answer.text = QStringLiteral("The key can be used: RSA, 2048 bits.");
    return answer;
}

SSControlAnswer toDer(const SSControlInvocation &invocation)
{
    const Key blob = source(invocation);
    if (!blob.data)
        return SSControlAnswer::failed(blob.failure);
    const auto der = SSPublicKeyCoder::derDataFromMsData(blob.data.get());
    if (!der)
        return SSControlAnswer::failed(QStringLiteral("the key cannot be converted"));
    const QString text = der->base64EncodedString(SSBase64Encoding::LineLength64 |
                                                  SSBase64Encoding::EndLineWithLineFeed);
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("der"), der->base64EncodedString()}};
    answer.text = QStringLiteral("-----BEGIN RSA PUBLIC KEY-----\n%1\n-----END RSA PUBLIC KEY-----")
                      .arg(text);
    return answer;
}

SSControlAnswer toBlob(const SSControlInvocation &invocation)
{
    const Key der = fromFile(invocation.operands().at(1));
    if (!der.data)
        return SSControlAnswer::failed(der.failure);
    const auto blob = SSPublicKeyCoder::msDataFromDerData(der.data.get());
    if (!blob)
        return SSControlAnswer::failed(QStringLiteral("the key cannot be converted"));
    // In the two parts that the directory holds, each below its limit of 256 characters.
    const QString text = blob->base64EncodedString();
    const qsizetype half = (text.size() + 1) / 2;
    const QStringList keywords{QStringLiteral("ConfigurationSet.Key:0=") + text.left(half),
                               QStringLiteral("ConfigurationSet.Key:1=") + text.mid(half)};
    SSControlAnswer answer;
    answer.json = {{QStringLiteral("blob"), text},
                   {QStringLiteral("keywords"), SSControlText::json(std::optional(keywords))}};
    answer.text = keywords.join(QLatin1Char('\n'));
    return answer;
}

struct Action
{
    const char *name;
    SSControlAnswer (*run)(const SSControlInvocation &);
    bool needsFile;
};
constexpr Action actions[] = {
    {"check", check, false}, {"to-der", toDer, false}, {"to-blob", toBlob, true}};

std::optional<QString> fault(const SSControlInvocation &invocation)
{
    const Action *const action = actionOf(actions, invocation);
    if (!action) {
        return QStringLiteral("there is no \"key %1\", only check, to-der and to-blob")
            .arg(invocation.operands().at(0));
    }
    if (action->needsFile && invocation.operands().size() < 2)
        return QStringLiteral("\"key to-blob\" needs a file");
    return std::nullopt;
}

SSControlAnswer run(const SSControlInvocation &invocation)
{
    return actionOf(actions, invocation)->run(invocation);
}

} // namespace

const SSControlCommand &SSControlCommands::key()
{
    static constexpr SSControlCommand command{
        "key",
        "check|to-der|to-blob [FILE]",
        1,
        2,
        "Check and convert the public key of the configuration set.",
        "The directory publishes the key as a blob in Base64, in two keywords; other programs\n"
        "take the same key in DER.\n"
        "\n"
        "    check    whether the agent can use the blob\n"
        "    to-der   the blob as an RSA public key in PEM; with --json its DER in Base64\n"
        "    to-blob  a PKCS #1 RSA public key as the two keywords to publish\n"
        "\n"
        "FILE holds the key in binary form, in Base64 or in PEM. Without it, check and to-der\n"
        "take the key that the directory publishes.",
        {},
        "zevrikselfservicectl key check\n"
        "zevrikselfservicectl key to-der | openssl rsa -RSAPublicKey_in -noout -text\n"
        "openssl rsa -in private.pem -RSAPublicKey_out -out key.pem\n"
        "zevrikselfservicectl key to-blob key.pem",
        fault,
        run,
    };
    return command;
}
