#include "security/SSRSAKey.h"

#include "security/SSPublicKeyCoder.h"

#include <utility>

SSRSAKey::SSRSAKey(Key, std::unique_ptr<RsaPublicKey> secKey) : m_secKey(std::move(secKey)) {}

SSRSAKey::~SSRSAKey()
{
    releaseKey();
}

std::shared_ptr<SSRSAKey> SSRSAKey::keyWithMsKeyData(const SSSecureData *msKeyData)
{
    if (!msKeyData)
        return nullptr;
    auto secKey = SSPublicKeyCoder::secKeyWithMsData(msKeyData);
    return keyFromSecKey(secKey);
}

std::shared_ptr<SSRSAKey> SSRSAKey::keyFromSecKey(std::unique_ptr<RsaPublicKey> &secKey)
{
    return initFromSecKey(secKey);
}

std::shared_ptr<SSRSAKey> SSRSAKey::initFromSecKey(std::unique_ptr<RsaPublicKey> &secKey)
{
    if (!secKey)
        return nullptr;
    return std::make_shared<SSRSAKey>(Key(), std::move(secKey));
}

void SSRSAKey::releaseKey()
{
    m_secKey.reset();
}
