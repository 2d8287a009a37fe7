#include "security/SSPublicKeyCoder.h"

#include "foundation/SSLogger.h"
#include "platform/Platform.h"
#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t headerLength = 20;
constexpr std::size_t exponentOffset = 16;
constexpr std::size_t exponentLength = 4;
constexpr std::size_t maximumLength = 4096; ///< of DER, and of a modulus read from it
constexpr unsigned blobType = 0x06;
constexpr unsigned blobVersion = 0x02;
constexpr std::uint32_t algorithmRsaKeyExchange = 0x0000A400;
constexpr std::uint32_t magicRsa1 = 0x31415352;
constexpr std::uint32_t keyBits = 2048;
constexpr std::size_t blobLength = headerLength + keyBits / 8;

std::uint32_t littleEndianAt(std::span<const std::byte> bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= std::to_integer<std::uint32_t>(bytes[offset + i]) << 8U * i;
    return value;
}

void setLittleEndianAt(std::span<std::byte> bytes, std::size_t offset, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<std::byte>(value >> 8U * i & 0xffU);
}

struct Header
{
    explicit Header(std::span<const std::byte> blob)
        : type(std::to_integer<unsigned>(blob[0]))
        , version(std::to_integer<unsigned>(blob[1]))
        , algorithm(littleEndianAt(blob, 4))
        , magic(littleEndianAt(blob, 8))
        , bits(littleEndianAt(blob, 12))
    {
    }
    unsigned type;
    unsigned version;
    std::uint32_t algorithm;
    std::uint32_t magic;
    std::uint32_t bits;
};

void logError(std::string_view text)
{
    SSLog(1, SSMessageType::Error, text);
}

/// The values are the coder and the missing data.
void logMissingData()
{
    SSLog(1, SSMessageType::Error, "Fail with info: (0x%@, 0x%@)", "<SSPublicKeyCoder>",
          std::nullopt);
}

} // namespace

SSPublicKeyCoder::SSPublicKeyCoder() = default;

SSPublicKeyCoder::~SSPublicKeyCoder()
{
    releaseCoder();
}

std::shared_ptr<SSSecureData> SSPublicKeyCoder::derDataFromMsData(const SSSecureData *data)
{
    return SSPublicKeyCoder().derDataFromMsDataImpl(data);
}

std::shared_ptr<SSSecureData> SSPublicKeyCoder::msDataFromDerData(const SSSecureData *data)
{
    return SSPublicKeyCoder().msDataFromDerDataImpl(data);
}

std::unique_ptr<RsaPublicKey> SSPublicKeyCoder::secKeyWithMsData(const SSSecureData *data)
{
    const auto der = derDataFromMsData(data);
    if (!der)
        return nullptr;
    auto key = Platform::current().publicKeys->createRsaPublicKey(der->data(), keyBits);
    if (!key) {
        SSLog(1, SSMessageType::Error, "Unable get public key from data. %@",
              key.error().description);
        return nullptr;
    }
    return std::move(key).value();
}

void SSPublicKeyCoder::createCoder()
{
    if (m_coder)
        return;
    auto coder = Platform::current().publicKeys->createAsn1Coder();
    if (!coder) {
        SSLog(1, SSMessageType::Error, "Unable create Asn1Coder: %@", coder.error().description);
        return;
    }
    m_coder = std::move(coder).value();
}

void SSPublicKeyCoder::releaseCoder()
{
    m_coder.reset();
}

bool SSPublicKeyCoder::validateMsData(const SSSecureData &data) const
{
    if (data.length() <= headerLength) {
        logError("Public key size is invalid.");
        return false;
    }
    const Header header(data.data());
    const auto refused = [](std::string_view text, auto... values) {
        SSLog(1, SSMessageType::Error, text, values...);
        return false;
    };
    if (header.type != blobType)
        return refused("Public key header blob type is invalid. (0x%x)", header.type);
    if (header.version != blobVersion)
        return refused("Public key header version is invalid. (0x%x)", header.version);
    if (header.algorithm != algorithmRsaKeyExchange)
        return refused("Public key header algorithm is invalid. (0x%x)", header.algorithm);
    if (header.magic != magicRsa1)
        return refused("Public key header magic is invalid. (0x%x)", header.magic);
    if (header.bits != keyBits)
        return refused("Public key header key length is invalid. (%d)",
                       static_cast<std::int32_t>(header.bits));
    if (data.length() != blobLength)
        return refused("Public key actual key size is invalid. (%lu != %lu)", blobLength,
                       data.length());
    return true;
}

std::shared_ptr<SSSecureData> SSPublicKeyCoder::derDataFromMsDataImpl(const SSSecureData *data)
{
    if (!data) {
        logMissingData();
        return nullptr;
    }
    createCoder();
    if (!validateMsData(*data)) {
        logError("Public key data is invalid.");
        return nullptr;
    }
    const auto blob = SSMutableSecureData::dataWithSecureData(data);
    const std::span<std::byte> exponent =
        blob->mutableData().subspan(exponentOffset, exponentLength);
    const std::span<std::byte> modulus = blob->mutableData().subspan(headerLength, keyBits / 8);
    SSSecure::reverseBytes(modulus.data(), modulus.size());
    SSSecure::reverseBytes(exponent.data(), exponent.size());

    // The message says decode although this encodes; it is known by that text.
    constexpr std::string_view failureText = "Unable decode msPublicKey: %@";
    if (!m_coder) {
        SSLog(1, SSMessageType::Error, failureText, "There is no ASN.1 coder.");
        return nullptr;
    }
    const auto der = m_coder->encodeRsaPublicKey(modulus, exponent);
    if (!der) {
        SSLog(1, SSMessageType::Error, failureText, der.error().description);
        return nullptr;
    }
    if (der.value().empty()) {
        logError("Invalid decoded msPublicKey data.");
        return nullptr;
    }
    if (der.value().size() > maximumLength) {
        logError("Invalid decoded msPublicKey max data size.");
        return nullptr;
    }
    return SSSecureData::dataWithData(der.value());
}

std::shared_ptr<SSSecureData> SSPublicKeyCoder::msDataFromDerDataImpl(const SSSecureData *data)
{
    if (!data) {
        logMissingData();
        return nullptr;
    }
    createCoder();
    constexpr std::string_view failureText = "Unable decode macPublicKey: %@";
    if (!m_coder) {
        SSLog(1, SSMessageType::Error, failureText, "There is no ASN.1 coder.");
        return nullptr;
    }
    const auto numbers = m_coder->decodeRsaPublicKey(data->data());
    if (!numbers) {
        SSLog(1, SSMessageType::Error, failureText, numbers.error().description);
        return nullptr;
    }
    const auto &[modulus, exponent] = numbers.value();
    if (modulus.empty() || modulus.size() > maximumLength) {
        SSLog(1, SSMessageType::Error, "Invalid decoded macPublicKey key data. (%zu)",
              modulus.size());
        return nullptr;
    }
    if (exponent.empty() || exponent.size() > exponentLength) {
        SSLog(1, SSMessageType::Error, "Invalid decoded macPublicKey key exponent data. (%zu)",
              exponent.size());
        return nullptr;
    }
    const auto blob = SSMutableSecureData::dataWithLength(headerLength + modulus.size());
    const std::span<std::byte> bytes = blob->mutableData();
    bytes[0] = static_cast<std::byte>(blobType);
    bytes[1] = static_cast<std::byte>(blobVersion);
    setLittleEndianAt(bytes, 4, algorithmRsaKeyExchange);
    setLittleEndianAt(bytes, 8, magicRsa1);
    setLittleEndianAt(bytes, 12, static_cast<std::uint32_t>(modulus.size() * 8));
    std::copy(exponent.begin(), exponent.end(), bytes.subspan(exponentOffset).begin());
    std::copy(modulus.begin(), modulus.end(), bytes.subspan(headerLength).begin());
    SSSecure::reverseBytes(bytes.subspan(exponentOffset).data(), exponent.size());
    SSSecure::reverseBytes(bytes.subspan(headerLength).data(), modulus.size());
    return SSSecureData::dataWithMutableSecureData(blob.get());
}
