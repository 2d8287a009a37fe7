#pragma once

#include "platform/Diagnostics.h"
#include "platform/MemoryProtection.h"

#include <atomic>

/// mlock(2), madvise(2) and the program's own free(3).
class LinuxMemoryProtection final : public MemoryProtection
{
public:
    explicit LinuxMemoryProtection(DiagnosticSink diagnostics);

    Outcome protect(std::span<std::byte> pages) override;
    void unprotect(std::span<std::byte> pages) override;
    void wipeReleasedMemory() override;

private:
    DiagnosticSink m_diagnostics;
    std::atomic<bool> m_told{false};
};
