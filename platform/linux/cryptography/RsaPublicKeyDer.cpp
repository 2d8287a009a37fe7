#include "platform/linux/cryptography/RsaPublicKeyDer.h"

#include <algorithm>
#include <climits>
#include <memory>

#include <openssl/asn1t.h>

namespace {

struct RsaPublicKeyStructure
{
    ASN1_INTEGER *modulus;
    ASN1_INTEGER *exponent;
};

// clang-format off
ASN1_SEQUENCE(RsaPublicKeyStructure) = {
    ASN1_SIMPLE(RsaPublicKeyStructure, modulus, ASN1_INTEGER),
    ASN1_SIMPLE(RsaPublicKeyStructure, exponent, ASN1_INTEGER),
} static_ASN1_SEQUENCE_END(RsaPublicKeyStructure)

struct FreeStructure
{
    void operator()(RsaPublicKeyStructure *key) const
    {
        ASN1_item_free(reinterpret_cast<ASN1_VALUE *>(key), ASN1_ITEM_rptr(RsaPublicKeyStructure));
    }
};
using Structure = std::unique_ptr<RsaPublicKeyStructure, FreeStructure>;
// clang-format on

bool setNumber(ASN1_INTEGER *number, std::span<const std::byte> bytes)
{
    while (bytes.size() > 1 && bytes.front() == std::byte{0})
        bytes = bytes.subspan(1);
    static constexpr std::byte zero{0};
    if (bytes.empty())
        bytes = std::span(&zero, 1);
    return bytes.size() <= INT_MAX &&
           ASN1_STRING_set(number, bytes.data(), static_cast<int>(bytes.size())) == 1;
}

std::vector<std::byte> numberOf(const ASN1_INTEGER *number)
{
    const auto *data = reinterpret_cast<const std::byte *>(ASN1_STRING_get0_data(number));
    return {data, data + ASN1_STRING_length(number)};
}

std::optional<std::vector<std::byte>> written(const RsaPublicKeyStructure *key)
{
    // The macros' cast takes the const away; nothing is written.
    const auto *value = reinterpret_cast<const ASN1_VALUE *>(key);
    const int length = ASN1_item_i2d(value, nullptr, ASN1_ITEM_rptr(RsaPublicKeyStructure));
    if (length <= 0)
        return std::nullopt;
    std::vector<std::byte> der(static_cast<std::size_t>(length));
    auto *out = reinterpret_cast<unsigned char *>(der.data());
    if (ASN1_item_i2d(value, &out, ASN1_ITEM_rptr(RsaPublicKeyStructure)) != length)
        return std::nullopt;
    return der;
}

} // namespace

std::optional<std::vector<std::byte>> RsaPublicKeyDer::encoded(std::span<const std::byte> modulus,
                                                               std::span<const std::byte> exponent)
{
    const Structure key(reinterpret_cast<RsaPublicKeyStructure *>(
        ASN1_item_new(ASN1_ITEM_rptr(RsaPublicKeyStructure))));
    if (!key || !setNumber(key->modulus, modulus) || !setNumber(key->exponent, exponent))
        return std::nullopt;
    return written(key.get());
}

std::optional<RsaPublicNumbers> RsaPublicKeyDer::decoded(std::span<const std::byte> der)
{
    if (der.empty() || der.size() > LONG_MAX)
        return std::nullopt;
    const auto *in = reinterpret_cast<const unsigned char *>(der.data());
    const Structure key(reinterpret_cast<RsaPublicKeyStructure *>(ASN1_item_d2i(
        nullptr, &in, static_cast<long>(der.size()), ASN1_ITEM_rptr(RsaPublicKeyStructure))));
    if (!key || ASN1_STRING_type(key->modulus) != V_ASN1_INTEGER ||
        ASN1_STRING_type(key->exponent) != V_ASN1_INTEGER)
        return std::nullopt;
    // The library reads other forms than DER's one, and leaves what follows the structure.
    const auto again = written(key.get());
    if (!again || !std::equal(again->begin(), again->end(), der.begin(), der.end()))
        return std::nullopt;
    return RsaPublicNumbers{numberOf(key->modulus), numberOf(key->exponent)};
}
