#include "filevault/SSSecureText.h"

#include <algorithm>

void SSSecureText::replace(std::size_t position, std::size_t count, std::u16string_view inserted)
{
    position = std::min(position, m_text.size());
    count = std::min(count, m_text.size() - position);
    const auto first = m_text.begin() + static_cast<std::ptrdiff_t>(position);
    // A new block: a shorter text would leave its old end in the room that a vector keeps.
    SSUtf16::Text changed;
    changed.reserve(m_text.size() - count + inserted.size());
    changed.insert(changed.end(), m_text.begin(), first);
    changed.insert(changed.end(), inserted.begin(), inserted.end());
    changed.insert(changed.end(), first + static_cast<std::ptrdiff_t>(count), m_text.end());
    m_text.swap(changed);
}

bool SSSecureText::setBytes(std::span<const std::byte> bytes)
{
    clear();
    auto decoded = SSUtf16::decoded(bytes);
    if (decoded)
        m_text.swap(*decoded);
    return decoded.has_value();
}

std::vector<std::byte, SSSecureAllocator<std::byte>> SSSecureText::bytes() const
{
    std::vector<std::byte, SSSecureAllocator<std::byte>> bytes(2 * m_text.size());
    SSUtf16::encode(text(), bytes);
    return bytes;
}
