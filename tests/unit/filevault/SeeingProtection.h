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
        return std::any_of(m_pages.cbegin(), m_pages.cend(), [&](auto pages) {
            return std::search(pages.begin(), pages.end(), bytes.begin(), bytes.end()) !=
                   pages.end();
        });
    }

private:
    std::vector<std::span<std::byte>> m_pages;
};
