#pragma once

#include <QByteArray>
#include <QList>

#include <cstddef>

/// Looks for byte patterns in everything that this process can write to: heap, stacks, libraries'
/// data. A pattern is held masked, so that the search does not find itself.
class MemorySearch
{
public:
    static constexpr unsigned char mask = 0x5a;

    MemorySearch();
    ~MemorySearch();
    MemorySearch(const MemorySearch &) = delete;
    MemorySearch &operator=(const MemorySearch &) = delete;

    /// How often one of the patterns, none longer than the first, stands in memory. -1 when memory
    /// cannot be read.
    [[nodiscard]] int count(const QList<QByteArray> &maskedPatterns);

    [[nodiscard]] static QByteArray masked(const QByteArray &plain);
    /// Of hexadecimal digits.
    [[nodiscard]] static QByteArray maskedHex(const char *digits);

private:
    [[nodiscard]] int countIn(int descriptor, std::size_t begin, std::size_t end,
                              const QList<QByteArray> &maskedPatterns);

    unsigned char *m_buffer;
};
