#pragma once

#include <cstddef>
#include <span>

/// The fixed-size Base32 form of the offline reset codes: 20 bytes as 32 characters of the RFC 4648
/// alphabet, with dashes between groups of four 39. Allocates nothing; any thread.
namespace SSBase32 {

inline constexpr std::size_t codeLength = 20;
inline constexpr std::size_t textLength = 32;
inline constexpr std::size_t dashedTextLength = 39;
inline constexpr std::size_t groupLength = 4;

void encode(std::span<const std::byte, codeLength> code, std::span<char16_t, textLength> text);
void encodeDashed(std::span<const std::byte, codeLength> code,
                  std::span<char16_t, dashedTextLength> text);

/// Decodes the dashed form in upper or lower case, with each dash in its place. False for anything
/// else; `code` is then to be thrown away.
[[nodiscard]] bool decodeDashed(std::span<const char16_t, dashedTextLength> text,
                                std::span<std::byte, codeLength> code);

} // namespace SSBase32
