#include "tests/unit/security/MemorySearch.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {
constexpr std::size_t bufferLength = 1U << 20U;
constexpr int unreadable = -1;
constexpr std::size_t hugeLength = std::size_t{1} << 32U; ///< a sanitizer's shadow
} // namespace

MemorySearch::MemorySearch()
    : m_buffer(static_cast<unsigned char *>(::mmap(nullptr, bufferLength, PROT_READ | PROT_WRITE,
                                                   MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
{
}

MemorySearch::~MemorySearch()
{
    ::munmap(m_buffer, bufferLength);
}

QByteArray MemorySearch::masked(const QByteArray &plain)
{
    QByteArray result = plain;
    for (char &byte : result)
        byte = static_cast<char>(byte ^ mask);
    return result;
}

QByteArray MemorySearch::maskedHex(const char *digits)
{
    QByteArray plain = QByteArray::fromHex(digits);
    const QByteArray result = masked(plain);
    ::explicit_bzero(plain.data(), static_cast<std::size_t>(plain.size()));
    return result;
}

int MemorySearch::countIn(int descriptor, std::size_t begin, std::size_t end,
                          const QList<QByteArray> &maskedPatterns)
{
    std::array<std::vector<const QByteArray *>, 256> byFirst;
    for (const QByteArray &pattern : maskedPatterns)
        byFirst[static_cast<unsigned char>(pattern.front() ^ mask)].push_back(&pattern);
    const auto length = static_cast<std::size_t>(maskedPatterns.front().size());
    const auto stands = [](const QByteArray &pattern, const unsigned char *at) {
        for (qsizetype i = 1; i < pattern.size(); ++i) {
            if (at[i] != static_cast<unsigned char>(pattern.at(i) ^ mask))
                return false;
        }
        return true;
    };
    int found = 0;
    for (std::size_t at = begin; at + length <= end;) {
        const std::size_t chunk = std::min(bufferLength, end - at);
        if (::pread(descriptor, m_buffer, chunk, static_cast<off_t>(at)) !=
            static_cast<ssize_t>(chunk))
            return unreadable;
        for (std::size_t i = 0; i + length <= chunk; ++i) {
            for (const QByteArray *pattern : byFirst[m_buffer[i]])
                found += stands(*pattern, m_buffer + i) ? 1 : 0;
        }
        if (at + chunk == end)
            break;
        at += chunk - length + 1;
    }
    return found;
}

int MemorySearch::count(const QList<QByteArray> &maskedPatterns)
{
    const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    std::unique_ptr<FILE, int (*)(FILE *)> maps(std::fopen("/proc/self/maps", "re"), std::fclose);
    if (memory < 0 || !maps)
        return -1;
    int found = 0;
    char line[512];
    while (std::fgets(line, sizeof line, maps.get())) {
        unsigned long begin = 0;
        unsigned long end = 0;
        char access[5] = "";
        if (std::sscanf(line, "%lx-%lx %4s", &begin, &end, access) != 3 ||
            std::strncmp(access, "rw", 2) != 0 || end - begin > hugeLength)
            continue;
        // The search's own buffer may have become one with its neighbours.
        const auto own = reinterpret_cast<std::uintptr_t>(m_buffer);
        const bool ownIsWithin = begin <= own && own < end;
        const int first = countIn(memory, begin, ownIsWithin ? own : end, maskedPatterns);
        const int second =
            ownIsWithin ? countIn(memory, own + bufferLength, end, maskedPatterns) : 0;
        ::explicit_bzero(m_buffer, bufferLength);
        if (first == unreadable || second == unreadable) {
            found = unreadable;
            break;
        }
        found += first + second;
    }
    ::close(memory);
    return found;
}
