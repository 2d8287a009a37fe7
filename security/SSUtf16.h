#pragma once

#include "security/SSSecureMemory.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

/// Text as SSSecureData holds passwords: UTF-16, little-endian whatever the computer's byte order
/// is, without a mark. Any thread.
namespace SSUtf16 {

/// Text in the storage for secrets.
using Text = std::vector<char16_t, SSSecureAllocator<char16_t>>;

/// None for an odd number of bytes: without its half character it would be another password.
[[nodiscard]] std::optional<Text> decoded(std::span<const std::byte> bytes);

/// Fills `bytes`, of which there are two for each unit of the text.
void encode(std::u16string_view text, std::span<std::byte> bytes);

} // namespace SSUtf16
