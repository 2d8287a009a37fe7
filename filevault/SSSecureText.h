#pragma once

#include "security/SSSecureMemory.h"

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
    void clear() { Units().swap(m_text); }

    /// UTF-16 little-endian; half a unit at the end is left out.
    void setBytes(std::span<const std::byte> bytes);
    [[nodiscard]] std::vector<std::byte, SSSecureAllocator<std::byte>> bytes() const;

private:
    using Units = std::vector<char16_t, SSSecureAllocator<char16_t>>;
    Units m_text;
};
