#pragma once

#include "platform/MemoryProtection.h"

#include <QString>

#include <algorithm>
#include <span>
#include <vector>

/// Sees all memory that is meant for secrets. What is given back there is wiped.
class SeeingProtection final : public MemoryProtection
{
public:
    Outcome protect(std::span<std::byte> pages) override
    {
        m_pages.push_back(pages);
        return {true, true};
    }
    void unprotect(std::span<std::byte> pages) override
    {
        std::erase_if(m_pages, [&](auto held) { return held.data() == pages.data(); });
    }
    void wipeReleasedMemory() override {}

    [[nodiscard]] bool holds(const QString &secret) const
    {
        const auto bytes = std::as_bytes(std::span(secret.utf16(), std::size_t(secret.size())));
        return std::any_of(m_pages.cbegin(), m_pages.cend(),
                           [&](auto pages) { return contains(pages, bytes); });
    }

private:
    /// Reads also what has been given back, which the sanitizer forbids.
    [[gnu::no_sanitize_address]] static bool contains(std::span<const std::byte> pages,
                                                      std::span<const std::byte> bytes)
    {
        const std::byte *const all = pages.data();
        const std::byte *const wanted = bytes.data();
        const std::size_t length = bytes.size();
        for (std::size_t at = 0; at + length <= pages.size(); ++at) {
            std::size_t same = 0;
            while (same < length && all[at + same] == wanted[same])
                ++same;
            if (same == length)
                return true;
        }
        return false;
    }

    std::vector<std::span<std::byte>> m_pages;
};
