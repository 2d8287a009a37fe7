#include "filevault/SSSecureText.h"

#include <algorithm>

void SSSecureText::replace(std::size_t position, std::size_t count, std::u16string_view inserted)
{
    position = std::min(position, m_text.size());
    count = std::min(count, m_text.size() - position);
    const auto first = m_text.begin() + static_cast<std::ptrdiff_t>(position);
    // A new block: a shorter text would leave its old end in the room that a vector keeps.
    Units changed;
    changed.reserve(m_text.size() - count + inserted.size());
    changed.insert(changed.end(), m_text.begin(), first);
    changed.insert(changed.end(), inserted.begin(), inserted.end());
    changed.insert(changed.end(), first + static_cast<std::ptrdiff_t>(count), m_text.end());
    m_text.swap(changed);
}

void SSSecureText::setBytes(std::span<const std::byte> bytes)
{
    Units units(bytes.size() / 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(std::to_integer<unsigned>(bytes[2 * i]) |
                                         std::to_integer<unsigned>(bytes[2 * i + 1]) << 8U);
    }
    m_text.swap(units);
}

std::vector<std::byte, SSSecureAllocator<std::byte>> SSSecureText::bytes() const
{
    std::vector<std::byte, SSSecureAllocator<std::byte>> bytes;
    bytes.reserve(2 * m_text.size());
    for (const char16_t unit : m_text) {
        bytes.push_back(static_cast<std::byte>(unit & 0xFFU));
        bytes.push_back(static_cast<std::byte>(unit >> 8U));
    }
    return bytes;
}
