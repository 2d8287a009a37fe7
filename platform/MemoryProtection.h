#pragma once

#include <cstddef>
#include <span>

/// Keeps pages with secrets out of swap space and core dumps. Any thread.
class MemoryProtection
{
public:
    virtual ~MemoryProtection() = default;

    /// How far it went. What is refused is refused by a limit of the process.
    struct Outcome
    {
        bool locked = false;
        bool excludedFromDumps = false;
    };

    /// `pages` are whole pages of the caller's.
    virtual Outcome protect(std::span<std::byte> pages) = 0;
    /// Undoes protect(), before the pages are given back.
    virtual void unprotect(std::span<std::byte> pages) = 0;
};
