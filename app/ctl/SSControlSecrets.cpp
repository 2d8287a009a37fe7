#include "app/ctl/SSControlSecrets.h"

#include "platform/Platform.h"
#include "platform/SecretInput.h"
#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"

#include <QStringDecoder>

#include <utility>

namespace {

using SSControlSecrets::Secret;

constexpr std::size_t longestLine = 4096;

/// The line as text; wiped by secureFree() once it has been used.
std::optional<QString> textOf(const SSSecureData &line)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    const auto bytes = line.data();
    QString text = decoder(QByteArrayView(reinterpret_cast<const char *>(bytes.data()),
                                          static_cast<qsizetype>(bytes.size())));
    if (!decoder.hasError())
        return text;
    SSSecure::secureFree(text);
    return std::nullopt;
}

} // namespace

Secret SSControlSecrets::line(const QString &prompt)
{
    const auto buffer = SSMutableSecureData::dataWithLength(longestLine);
    const auto length = Platform::current().secretInput->readLine(prompt, buffer->mutableData());
    if (!length)
        return {nullptr, length.error()};
    buffer->setLength(length.value());
    return {SSSecureData::dataWithMutableSecureData(buffer.get()), {}};
}

Secret SSControlSecrets::password()
{
    const Secret utf8 = line(QStringLiteral("Password: "));
    if (!utf8.data)
        return {nullptr, QStringLiteral("no password: ") + utf8.failure};
    std::optional<QString> text = textOf(*utf8.data);
    if (!text)
        return {nullptr, QStringLiteral("the password is not UTF-8 text")};
    const auto utf16 =
        SSMutableSecureData::dataWithLength(2 * static_cast<std::size_t>(text->size()));
    const auto bytes = utf16->mutableData();
    for (qsizetype i = 0; i < text->size(); ++i) {
        const char16_t unit = std::as_const(*text).at(i).unicode();
        const auto at = 2 * static_cast<std::size_t>(i);
        bytes[at] = static_cast<std::byte>(unit & 0xff);
        bytes[at + 1] = static_cast<std::byte>(unit >> 8);
    }
    SSSecure::secureFree(*text);
    return {SSSecureData::dataWithMutableSecureData(utf16.get()), {}};
}

Secret SSControlSecrets::sessionKey()
{
    const Secret base64 = line(QStringLiteral("Session key in Base64: "));
    if (!base64.data)
        return {nullptr, QStringLiteral("no session key: ") + base64.failure};
    std::optional<QString> text = textOf(*base64.data);
    const auto key = SSSecureData::initWithBase64EncodedString(text);
    if (text)
        SSSecure::secureFree(*text);
    if (key->length() == 0)
        return {nullptr, QStringLiteral("the session key is not Base64")};
    return {key, {}};
}

Secret SSControlSecrets::cachedSessionKey()
{
    const auto settings = SSLogonSettings::settingsFromCache();
    if (!settings || !settings->sessionKey())
        return {nullptr, QStringLiteral("there is no session key in the cache that this user may "
                                        "read (root keeps it)")};
    // A copy, since the settings go.
    return {SSSecureData::dataWithData(settings->sessionKey()->data()), {}};
}
