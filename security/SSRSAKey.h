#pragma once

#include "platform/PublicKeys.h"

#include <memory>

class SSSecureData;

/// Owns one public key of the platform. Readable from any thread while nobody releases the key.
class SSRSAKey
{
    /// Keeps construction to the operations below.
    struct Key
    {
        explicit Key() = default;
    };

public:
    SSRSAKey(Key, std::unique_ptr<RsaPublicKey> secKey);
    ~SSRSAKey();
    SSRSAKey(const SSRSAKey &) = delete;
    SSRSAKey &operator=(const SSRSAKey &) = delete;

    /// The key of a public key blob; null, with a log line, when the blob is not one. Null for
    /// null.
    [[nodiscard]] static std::shared_ptr<SSRSAKey> keyWithMsKeyData(const SSSecureData *msKeyData);
    /// Takes over the reference: the caller's is null afterwards. Null for null.
    [[nodiscard]] static std::shared_ptr<SSRSAKey>
    keyFromSecKey(std::unique_ptr<RsaPublicKey> &secKey);
    [[nodiscard]] static std::shared_ptr<SSRSAKey>
    initFromSecKey(std::unique_ptr<RsaPublicKey> &secKey);

    /// Valid until the key is released; null afterwards.
    [[nodiscard]] const RsaPublicKey *secKey() const { return m_secKey.get(); }
    void releaseKey();

private:
    std::unique_ptr<RsaPublicKey> m_secKey;
};
