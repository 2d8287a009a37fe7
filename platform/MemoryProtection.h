#pragma once

#include <cstddef>
#include <span>

/// Keeps secrets within the process, and within the storage that is meant for them. Any thread.
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

    /// Out of swap space and core dumps. `pages` are whole pages of the caller's.
    virtual Outcome protect(std::span<std::byte> pages) = 0;
    /// Undoes protect(), before the pages are given back.
    virtual void unprotect(std::span<std::byte> pages) = 0;

    /// From now on, for good, memory that any part of the process releases is wiped first. For the
    /// time before a secret passes through what cannot wipe it: an entry field, a text, a library.
    virtual void wipeReleasedMemory() = 0;
};
