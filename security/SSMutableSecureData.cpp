#include "security/SSMutableSecureData.h"

#include "security/SSSecureData.h"

#include <algorithm>
#include <utility>

SSMutableSecureData::SSMutableSecureData(Key, std::shared_ptr<SSSecure::Bytes> adopted)
    : m_mutableData(std::move(adopted))
{
}

SSMutableSecureData::~SSMutableSecureData()
{
    secureFree();
}

std::shared_ptr<SSMutableSecureData> SSMutableSecureData::dataWithLength(std::size_t length)
{
    return initWithMutableData(std::make_shared<SSSecure::Bytes>(length));
}

std::shared_ptr<SSMutableSecureData>
SSMutableSecureData::dataWithSecureData(const SSSecureData *data)
{
    return data ? initWithData(data->data()) : nullptr;
}

std::shared_ptr<SSMutableSecureData>
SSMutableSecureData::initWithData(std::optional<std::span<const std::byte>> data)
{
    if (!data)
        return nullptr;
    return initWithMutableData(std::make_shared<SSSecure::Bytes>(data->begin(), data->end()));
}

std::shared_ptr<SSMutableSecureData>
SSMutableSecureData::initWithMutableData(std::shared_ptr<SSSecure::Bytes> data)
{
    if (!data)
        return nullptr;
    return std::make_shared<SSMutableSecureData>(Key(), std::move(data));
}

void SSMutableSecureData::setLength(std::size_t length)
{
    SSSecure::Bytes &bytes = *m_mutableData;
    // What is cut off stays within the block.
    if (length < bytes.size())
        SSSecure::secureFree(std::span(bytes).subspan(length));
    bytes.resize(length);
}

void SSMutableSecureData::secureFree()
{
    SSSecure::secureFree(*m_mutableData);
}
