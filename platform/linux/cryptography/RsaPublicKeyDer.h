#pragma once

#include "platform/PublicKeys.h"

#include <optional>

/// RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }, in DER.
namespace RsaPublicKeyDer {

/// None when memory is short.
[[nodiscard]] std::optional<std::vector<std::byte>> encoded(std::span<const std::byte> modulus,
                                                            std::span<const std::byte> exponent);

/// None for anything but one whole structure in its shortest form with numbers that are not
/// negative.
[[nodiscard]] std::optional<RsaPublicNumbers> decoded(std::span<const std::byte> der);

} // namespace RsaPublicKeyDer
