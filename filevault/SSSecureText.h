#pragma once

#include "security/SSUtf16.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

/// An editable text in the storage for secrets. Whatever an edit leaves behind is wiped. Positions
/// count UTF-16 units and are cut to the length.
class SSSecureText
{
public:
    [[nodiscard]] std::size_t size() const { return m_text.size(); }
    [[nodiscard]] std::u16string_view text() const { return {m_text.data(), m_text.size()}; }

    /// Puts `inserted` in the place of the `count` units at `position`.
    void replace(std::size_t position, std::size_t count, std::u16string_view inserted);
    void clear() { SSUtf16::Text().swap(m_text); }

    /// UTF-16 little-endian. False, and an empty text, for what has half a unit at the end.
    [[nodiscard]] bool setBytes(std::span<const std::byte> bytes);
    [[nodiscard]] std::vector<std::byte, SSSecureAllocator<std::byte>> bytes() const;

private:
    SSUtf16::Text m_text;
};
