#include "platform/linux/memory/LinuxMemoryProtection.h"

#include "platform/linux/memory/WipingAllocator.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/mman.h>

LinuxMemoryProtection::LinuxMemoryProtection(DiagnosticSink diagnostics)
    : m_diagnostics(std::move(diagnostics))
{
}

MemoryProtection::Outcome LinuxMemoryProtection::protect(std::span<std::byte> pages)
{
    Outcome outcome;
    outcome.excludedFromDumps = ::madvise(pages.data(), pages.size(), MADV_DONTDUMP) == 0;
    outcome.locked = ::mlock(pages.data(), pages.size()) == 0;
    const int error = errno;
    // Once: a small limit would fill the log.
    if (!outcome.locked && m_diagnostics && !m_told.exchange(true)) {
        m_diagnostics(2, DiagnosticType::Info,
                      QStringLiteral("Secrets in memory are not kept out of the swap space: %1")
                          .arg(QString::fromStdString(
                              std::error_code(error, std::generic_category()).message())));
    }
    return outcome;
}

void LinuxMemoryProtection::unprotect(std::span<std::byte> pages)
{
    ::munlock(pages.data(), pages.size());
    ::madvise(pages.data(), pages.size(), MADV_DODUMP);
}

void LinuxMemoryProtection::wipeReleasedMemory()
{
    WipingAllocator::arm();
}
