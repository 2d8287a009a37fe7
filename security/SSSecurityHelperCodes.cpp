// The request and the response code.

#include "security/SSSecurityHelper.h"

#include "foundation/SSLogger.h"
#include "platform/Cryptography.h"
#include "platform/Platform.h"
#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t codeLength = 20;
constexpr std::size_t checkedLength = 18; ///< what the two check bytes behind it are made of
constexpr std::size_t plainLength = 9;    ///< of a request: the random number, its mark, the RID
constexpr std::size_t authenticatorLength = 9;
constexpr std::size_t payloadLength = 17;
constexpr std::size_t sessionKeyLength = 128;
constexpr qsizetype textLength = 39;

using CheckBytes = std::array<std::byte, 2>;

/// The 32-bit FNV-1 hash with the product of its last multiplication.
struct CheckHash
{
    explicit CheckHash(std::span<const std::byte> bytes)
    {
        for (const std::byte byte : bytes) {
            product = hash * 16777619U;
            hash = product ^ std::to_integer<std::uint32_t>(byte);
        }
    }
    std::uint32_t product = 0;
    std::uint32_t hash = 0x811c9dc5U;
};

CheckBytes lowBytes(std::uint32_t first, std::uint32_t second)
{
    return {static_cast<std::byte>(first & 0xffU), static_cast<std::byte>(second & 0xffU)};
}

CheckBytes requestCheckBytes(std::span<const std::byte> code)
{
    const CheckHash check(code.first(checkedLength));
    return lowBytes(check.hash ^ check.product >> 16U, check.product >> 24U ^ check.product >> 8U);
}

/// Another formula than the request's, so that neither code passes for the other; the random number
/// ties the response to its request.
CheckBytes responseCheckBytes(std::span<const std::byte> code, std::uint32_t random)
{
    const CheckHash check(code.first(checkedLength));
    return lowBytes(check.product >> 24U ^ random ^ check.product >> 8U,
                    check.product >> 16U ^ random >> 8U ^ check.hash);
}

std::uint32_t littleEndian(std::span<const std::byte> bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i)
        value |= std::to_integer<std::uint32_t>(bytes[i]) << 8U * i;
    return value;
}

bool isUsable(std::uint32_t computerRID, const SSSecureData *key)
{
    if (computerRID == 0) {
        SSLog(1, SSMessageType::Error, "Unable generate request code. Invalid computer RID.");
        return false;
    }
    if (!key) {
        SSLog(1, SSMessageType::Error, "Unable generate request code. Session key is absent.");
        return false;
    }
    if (key->length() != sessionKeyLength) {
        SSLog(1, SSMessageType::Error,
              "Unable generate request code. Session key size is incorrect. Size: %lu",
              key->length());
        return false;
    }
    return true;
}

} // namespace

std::shared_ptr<SSSecureData> SSSecurityHelper::generateRequestCodeDataWithComputerRID(
    std::uint32_t computerRID, const SSSecureData *key, std::uint32_t *random)
{
    if (!isUsable(computerRID, key))
        return nullptr;
    Cryptography &cryptography = *Platform::current().cryptography;
    const auto code = SSMutableSecureData::dataWithLength(codeLength);
    const std::span<std::byte> bytes = code->mutableData();
    const int randomStatus = cryptography.randomBytes(bytes.first(4));
    if (randomStatus != 0) {
        SSLog(1, SSMessageType::Error,
              "Unable generate request code. Unable generate random number. error: %d",
              randomStatus);
        return nullptr;
    }
    bytes[4] = bytes[0] ^ std::byte{1};
    for (std::size_t i = 0; i < 4; ++i)
        bytes[5 + i] = static_cast<std::byte>(computerRID >> 8U * i & 0xffU) ^ bytes[i];

    const auto authenticator = SSMutableSecureData::dataWithLength(Cryptography::sha512Length);
    const int status =
        cryptography.hmacSha512(key->data(), bytes.first(plainLength),
                                authenticator->mutableData().first<Cryptography::sha512Length>());
    if (status != 0) {
        SSLog(1, SSMessageType::Error,
              "Unable generate request code. Unable calculate HMAC. error: %d", status);
        return nullptr;
    }
    std::copy_n(authenticator->data().begin(), authenticatorLength, bytes.begin() + plainLength);
    std::ranges::copy(requestCheckBytes(bytes), bytes.begin() + checkedLength);
    if (random)
        *random = littleEndian(bytes);
    return SSSecureData::dataWithMutableSecureData(code.get());
}

std::optional<QString>
SSSecurityHelper::generateRequestCodeWithComputerRID(std::uint32_t computerRID,
                                                     const SSSecureData *key, std::uint32_t *random)
{
    const auto code = generateRequestCodeDataWithComputerRID(computerRID, key, random);
    if (!code)
        return std::nullopt;
    return SSSecure::base32EncodedString(code->data(), SSSecure::base32InsertDashes);
}

std::shared_ptr<SSSecureData>
SSSecurityHelper::parseResponseCode(const std::optional<QString> &responseCode,
                                    std::uint32_t random)
{
    const qsizetype length = responseCode ? responseCode->size() : 0;
    if (length != textLength) {
        SSLog(1, SSMessageType::Error, "Unable parse response code. Length is incorrect. (%lu)",
              static_cast<quint64>(length));
        return nullptr;
    }
    auto code = SSSecure::initWithBase32EncodedString(responseCode);
    if (!code) {
        // The small letter at the beginning is how this message is known.
        SSLog(1, SSMessageType::Error, "unable base32 decode. Response code: %@", responseCode);
        return nullptr;
    }
    const std::span<std::byte> bytes(*code);
    if (!SSSecure::isEqual(responseCheckBytes(bytes, random), bytes.subspan(checkedLength))) {
        SSLog(1, SSMessageType::Error, "Response code hash is incorrect. Response code: %@",
              responseCode);
        return nullptr;
    }
    const std::span<std::byte> payload = bytes.subspan(1, payloadLength);
    for (std::byte &byte : payload)
        byte ^= bytes[0];
    return SSSecureData::dataWithData(payload);
}
