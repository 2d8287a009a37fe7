#include "platform/PropertyListPlaces.h"

#include <QRandomGenerator>

#include <array>
#include <cstring>
#include <utility>

namespace {

/// The two halves of the product, one upon the other.
quint64 mixed(quint64 a, quint64 b)
{
    __extension__ using Product = unsigned __int128;
    const Product product = Product{a} * b;
    return static_cast<quint64>(product) ^ static_cast<quint64>(product >> 64U);
}

quint64 eightBytes(const std::byte *bytes)
{
    quint64 result = 0;
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

constexpr std::size_t blockSize = 16;

} // namespace

quint32 PropertyListPlaces::hashOf(std::span<const std::byte> bytes)
{
    static const std::array<quint64, 3> secrets = [] {
        std::array<quint64, 3> result{};
        for (quint64 &secret : result)
            secret = QRandomGenerator::system()->generate64();
        return result;
    }();
    quint64 state = secrets[0] ^ bytes.size();
    const std::byte *at = bytes.data();
    std::size_t left = bytes.size();
    for (; left > blockSize; left -= blockSize, at += blockSize)
        state = mixed(eightBytes(at) ^ state, eightBytes(at + 8) ^ secrets[1]);
    // Bytes read twice do no harm; their number is in the state.
    quint64 first = 0;
    quint64 last = 0;
    if (bytes.size() >= blockSize) {
        first = eightBytes(at + left - blockSize);
        last = eightBytes(at + left - 8);
    } else if (left >= 8) {
        first = eightBytes(at);
        last = eightBytes(at + left - 8);
    } else {
        for (std::size_t i = 0; i < left; ++i)
            first = first << 8U | static_cast<quint8>(at[i]);
    }
    state = mixed(first ^ state, last ^ secrets[2]);
    return static_cast<quint32>(state ^ (state >> 32U));
}

void PropertyListPlaces::rebuild(qsizetype size)
{
    const QList<Entry> old = std::exchange(m_table, QList<Entry>(size));
    for (const Entry &entry : old) {
        if (entry.number != 0)
            put(entry);
    }
}
