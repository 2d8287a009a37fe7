#include "app/ctl/SSControlSecrets.h"

#include "platform/Platform.h"
#include "platform/SecretInput.h"
#include "security/SSBase64.h"
#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"
#include "security/SSUtf16.h"
#include "settings/SSLogonSettings.h"

#include <QStringDecoder>

#include <utility>

namespace {

using SSControlSecrets::Secret;

constexpr std::size_t longestLine = 4096;

/// The line as text, decoded straight into its storage; none when it is no UTF-8.
std::optional<SSUtf16::Text> textOf(const SSSecureData &line)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    const auto bytes = line.data();
    const QByteArrayView utf8(reinterpret_cast<const char *>(bytes.data()),
                              static_cast<qsizetype>(bytes.size()));
    SSUtf16::Text text(static_cast<std::size_t>(decoder.requiredSpace(utf8.size())));
    auto *begin = reinterpret_cast<QChar *>(text.data());
    const QChar *end = decoder.appendToBuffer(begin, utf8);
    if (decoder.hasError())
        return std::nullopt;
    text.resize(static_cast<std::size_t>(end - begin));
    return text;
}

} // namespace

Secret SSControlSecrets::line(const QString &prompt)
{
    SSSecureMemory::wipeReleasedMemory();
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
    const auto text = textOf(*utf8.data);
    if (!text)
        return {nullptr, QStringLiteral("the password is not UTF-8 text")};
    const auto utf16 = SSMutableSecureData::dataWithLength(2 * text->size());
    SSUtf16::encode({text->data(), text->size()}, utf16->mutableData());
    return {SSSecureData::dataWithMutableSecureData(utf16.get()), {}};
}

Secret SSControlSecrets::sessionKey()
{
    const Secret base64 = line(QStringLiteral("Session key in Base64: "));
    if (!base64.data)
        return {nullptr, QStringLiteral("no session key: ") + base64.failure};
    const auto text = textOf(*base64.data);
    auto key = text ? SSBase64::decoded(*text, false) : std::nullopt;
    if (!key || key->empty())
        return {nullptr, QStringLiteral("the session key is not Base64")};
    return {SSSecureData::initWithData(*std::move(key)), {}};
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
