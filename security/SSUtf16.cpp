#include "security/SSUtf16.h"

std::optional<SSUtf16::Text> SSUtf16::decoded(std::span<const std::byte> bytes)
{
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    Text text(bytes.size() / 2);
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char16_t>(std::to_integer<unsigned>(bytes[2 * i]) |
                                        std::to_integer<unsigned>(bytes[2 * i + 1]) << 8U);
    }
    return text;
}

void SSUtf16::encode(std::u16string_view text, std::span<std::byte> bytes)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        bytes[2 * i] = static_cast<std::byte>(text[i] & 0xffU);
        bytes[2 * i + 1] = static_cast<std::byte>(text[i] >> 8U);
    }
}
