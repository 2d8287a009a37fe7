#include "platform/linux/cryptography/NettleMd4.h"

#include <nettle/md4.h>
#include <openssl/crypto.h>

void nettleMd4(std::span<const std::byte> message,
               std::span<std::byte, Cryptography::md4Length> digest)
{
    static_assert(MD4_DIGEST_SIZE == Cryptography::md4Length);
    md4_ctx context{};
    md4_init(&context);
    md4_update(&context, message.size(), reinterpret_cast<const std::uint8_t *>(message.data()));
    md4_digest(&context, digest.size(), reinterpret_cast<std::uint8_t *>(digest.data()));
    // The block buffer still holds the end of the message.
    OPENSSL_cleanse(&context, sizeof context);
}
