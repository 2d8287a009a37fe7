#include "security/SSSecureData.h"

#include "foundation/SSLogger.h"
#include "platform/Cryptography.h"
#include "platform/Platform.h"
#include "security/SSBase64.h"
#include "security/SSMutableSecureData.h"

#include <string_view>
#include <utility>

namespace {

constexpr std::size_t sessionKeyLength = 128;
constexpr std::size_t aesKeyLength = 32;

std::shared_ptr<SSSecureData> randomKey(std::size_t length, std::string_view failureText)
{
    const auto key = SSMutableSecureData::dataWithLength(length);
    const int status = Platform::current().cryptography->randomBytes(key->mutableData());
    if (status != 0) {
        SSLog(1, SSMessageType::Error, failureText, status);
        return nullptr;
    }
    return SSSecureData::dataWithMutableSecureData(key.get());
}

} // namespace

SSSecureData::SSSecureData(Key, std::shared_ptr<SSSecure::Bytes> adopted)
    : m_data(std::move(adopted))
{
}

SSSecureData::~SSSecureData()
{
    secureFree();
}

std::shared_ptr<SSSecureData>
SSSecureData::dataWithData(std::optional<std::span<const std::byte>> data)
{
    if (!data)
        return nullptr;
    return initWithData(std::make_shared<SSSecure::Bytes>(data->begin(), data->end()));
}

std::shared_ptr<SSSecureData> SSSecureData::dataWithBytes(const std::byte *bytes,
                                                          std::size_t length)
{
    return dataWithData(std::span(bytes, length));
}

std::shared_ptr<SSSecureData>
SSSecureData::dataWithMutableSecureData(const SSMutableSecureData *data)
{
    return data ? dataWithData(data->data()) : nullptr;
}

std::shared_ptr<SSSecureData> SSSecureData::sessionKeyRandomGenerated()
{
    return randomKey(sessionKeyLength, "Unable generate random session key. error: %d");
}

std::shared_ptr<SSSecureData> SSSecureData::aesKeyRandomGenerated()
{
    return randomKey(aesKeyLength, "Unable generate random AES key. error: %d");
}

std::shared_ptr<SSSecureData> SSSecureData::initWithData(std::shared_ptr<SSSecure::Bytes> data)
{
    return std::make_shared<SSSecureData>(Key(), std::move(data));
}

std::shared_ptr<SSSecureData> SSSecureData::initWithData(SSSecure::Bytes &&data)
{
    return initWithData(std::make_shared<SSSecure::Bytes>(std::move(data)));
}

std::shared_ptr<SSSecureData>
SSSecureData::initWithBase64EncodedString(const std::optional<QString> &text,
                                          SSBase64Decoding options)
{
    if (!text)
        return initWithData(SSSecure::Bytes());
    return initWithData(
        SSBase64::decoded(*text, options == SSBase64Decoding::IgnoreUnknownCharacters)
            .value_or(SSSecure::Bytes()));
}

QString SSSecureData::base64EncodedString(std::uint32_t options) const
{
    return SSBase64::encoded(data(), options);
}

bool SSSecureData::isEqualToSecureData(const SSSecureData *other) const
{
    return other && SSSecure::isEqual(data(), other->data());
}

void SSSecureData::secureFree()
{
    if (m_data)
        SSSecure::secureFree(*m_data);
}
