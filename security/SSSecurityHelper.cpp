#include "security/SSSecurityHelper.h"

#include "foundation/SSLogger.h"
#include "platform/Cryptography.h"
#include "platform/MachineIdentity.h"
#include "platform/Platform.h"
#include "security/SSMutableSecureData.h"
#include "security/SSRSAKey.h"
#include "security/SSSecureData.h"

#include <array>

namespace {

/// Room that a cipher gets beyond its input.
constexpr std::size_t cipherSlack = 1024;

constexpr std::size_t uuidLength = 16;
using Uuid = std::array<std::byte, uuidLength>;

constexpr std::size_t systemKeyLength = 2 * uuidLength;

// Not to be changed: docs/offline-reset.md, "What a build has to keep".
constexpr std::array<unsigned char, systemKeyLength> systemKeyConstant{
    0x60, 0x35, 0x1e, 0xaa, 0xff, 0xdb, 0x1d, 0x64, 0x91, 0x70, 0x08, 0x62, 0x7c, 0x25, 0x6e, 0xc5,
    0x33, 0x52, 0x54, 0x42, 0x2f, 0x14, 0xb3, 0x33, 0x65, 0x5e, 0xd5, 0x56, 0x1b, 0x6e, 0x6c, 0x45};
constexpr std::size_t vectorMultiplier = 9;

std::span<const std::byte> bytesOf(const SSSecureData *data)
{
    return data ? data->data() : std::span<const std::byte>();
}

std::array<std::byte, 128> vectorTable()
{
    std::array<std::byte, 128> table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<std::byte>(i * vectorMultiplier & 0xffU);
    return table;
}

using CipherOperation = int (Cryptography::*)(
    std::span<const std::byte>, std::span<const std::byte, Cryptography::aesBlockLength>,
    std::span<const std::byte>, std::span<std::byte>, std::size_t &);

std::shared_ptr<SSSecureData> ciphered(CipherOperation operation, const SSSecureData *data,
                                       const SSSecureData *key, std::string_view failureText)
{
    const auto table = vectorTable();
    const auto input = bytesOf(data);
    const auto output = SSMutableSecureData::dataWithLength(input.size() + cipherSlack);
    std::size_t moved = 0;
    Cryptography &cryptography = *Platform::current().cryptography;
    const int status = (cryptography.*operation)(
        bytesOf(key), std::span(table).first<Cryptography::aesBlockLength>(), input,
        output->mutableData(), moved);
    if (status != 0 || moved == 0) {
        SSLog(1, SSMessageType::Error, failureText, status);
        return nullptr;
    }
    return SSSecureData::dataWithData(output->data().first(moved));
}

std::optional<unsigned> hexDigit(QChar digit)
{
    const char16_t unit = digit.unicode();
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10U;
    if (unit >= u'A' && unit <= u'F')
        return unit - u'A' + 10U;
    return std::nullopt;
}

/// Of the form 8-4-4-4-12 and of no other.
std::optional<Uuid> parsedUuid(const QString &text)
{
    constexpr qsizetype textLength = 36;
    if (text.size() != textLength)
        return std::nullopt;
    Uuid uuid{};
    std::size_t next = 0;
    for (qsizetype i = 0; i < textLength;) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text.at(i) != QLatin1Char('-'))
                return std::nullopt;
            ++i;
            continue;
        }
        const auto high = hexDigit(text.at(i));
        const auto low = hexDigit(text.at(i + 1));
        if (!high || !low)
            return std::nullopt;
        uuid[next++] = static_cast<std::byte>(*high << 4U | *low);
        i += 2;
    }
    return uuid;
}

} // namespace

std::shared_ptr<SSSecureData> SSSecurityHelper::encodeSecureData(const SSSecureData *data,
                                                                 const SSRSAKey *encodeKey)
{
    if (!data || data->length() == 0) {
        SSLog(1, SSMessageType::Error, "Encode data is absent.");
        return nullptr;
    }
    const RsaPublicKey *secKey = encodeKey ? encodeKey->secKey() : nullptr;
    if (!secKey) {
        SSLog(1, SSMessageType::Error, "Encode key is absent.");
        return nullptr;
    }
    const auto output = SSMutableSecureData::dataWithLength(secKey->blockLength());
    const auto length = secKey->encryptPkcs1(data->data(), output->mutableData());
    if (!length) {
        SSLog(1, SSMessageType::Error, "Unable encode data. Error:%@", length.error().description);
        return nullptr;
    }
    return SSSecureData::dataWithData(output->data().first(length.value()));
}

std::shared_ptr<SSSecureData> SSSecurityHelper::encodeSecureData(const SSSecureData *data)
{
    return encodeSecureData(data, appSystemKey().get());
}

std::shared_ptr<SSSecureData> SSSecurityHelper::decodeSecureData(const SSSecureData *data)
{
    return decodeSecureData(data, appSystemKey().get());
}

std::shared_ptr<SSSecureData> SSSecurityHelper::encodeSecureData(const SSSecureData *data,
                                                                 const SSSecureData *key)
{
    return ciphered(&Cryptography::encryptAesCbc, data, key, "Unable crypt data. Error: %d");
}

std::shared_ptr<SSSecureData> SSSecurityHelper::decodeSecureData(const SSSecureData *data,
                                                                 const SSSecureData *key)
{
    return ciphered(&Cryptography::decryptAesCbc, data, key, "Unable decrypt data. Error: %d");
}

std::optional<QString> SSSecurityHelper::getSystemUUID()
{
    return Platform::current().machineIdentity->platformUuid();
}

std::shared_ptr<SSSecureData> SSSecurityHelper::appSystemKey()
{
    const auto text = getSystemUUID();
    const Uuid uuid = (text ? parsedUuid(*text) : std::nullopt).value_or(Uuid());
    const auto key = SSMutableSecureData::initWithData(std::as_bytes(std::span(systemKeyConstant)));
    for (std::size_t i = 0; i < systemKeyLength; ++i)
        key->mutableBytes()[i] ^= uuid[uuidLength - 1 - i % uuidLength];
    return SSSecureData::dataWithMutableSecureData(key.get());
}
