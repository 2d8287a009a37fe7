#include "security/SSBase32.h"

#include <QtEndian>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr std::u16string_view alphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
constexpr std::size_t blocks = 4; ///< of five bytes or two groups of characters
constexpr std::size_t blockBytes = 5;
constexpr std::size_t dashedBlock = 10;
using SSBase32::groupLength;

using Pair = std::array<char16_t, 2>;

/// The two characters of ten bits.
constexpr auto pairs = [] {
    std::array<Pair, 1024> result{};
    for (std::size_t bits = 0; bits < result.size(); ++bits)
        result[bits] = {alphabet[bits >> 5U], alphabet[bits & 31U]};
    return result;
}();

constexpr std::uint32_t unknown = 0x80000000U;
constexpr std::size_t letters = 26;

/// The bits of a character in each place of a group of four, by the low byte of its code.
constexpr auto values = [] {
    std::array<std::array<std::uint32_t, 256>, groupLength> result{};
    for (std::size_t place = 0; place < groupLength; ++place) {
        result[place].fill(unknown);
        for (std::uint32_t value = 0; value < alphabet.size(); ++value) {
            const std::uint32_t bits = value << 5U * (groupLength - 1 - place);
            result[place][alphabet[value]] = bits;
            if (value < letters)
                result[place][alphabet[value] - u'A' + u'a'] = bits;
        }
    }
    return result;
}();

/// Forty bits, at the low end; what stands above them is not theirs. Eight bytes are read at once,
/// for the last block with those before it, for the others with those after it.
inline std::uint64_t blockAt(std::span<const std::byte, SSBase32::codeLength> code,
                             std::size_t index)
{
    constexpr std::size_t word = sizeof(std::uint64_t);
    const std::size_t begin = index * blockBytes;
    if (begin + word > code.size())
        return qFromBigEndian<quint64>(code.data() + begin + blockBytes - word);
    return qFromBigEndian<quint64>(code.data() + begin) >> 8U * (word - blockBytes);
}

/// Writes the forty bits at the high end of the word; of the bytes after them, when the code has
/// any, the next block's writer makes good what this one spoils.
inline void writeBlock(std::uint64_t bits, std::span<std::byte, SSBase32::codeLength> code,
                       std::size_t index)
{
    const std::size_t begin = index * blockBytes;
    std::array<std::byte, sizeof bits> bytes{};
    qToBigEndian<quint64>(bits, bytes.data());
    if (begin + bytes.size() > code.size())
        std::memcpy(code.data() + begin, bytes.data(), blockBytes);
    else
        std::memcpy(code.data() + begin, bytes.data(), bytes.size());
}

/// Four characters for twenty bits.
inline void writeGroup(std::uint64_t bits, char16_t *out)
{
    std::memcpy(out, pairs[bits >> 10U & 1023U].data(), sizeof(Pair));
    std::memcpy(out + 2, pairs[bits & 1023U].data(), sizeof(Pair));
}

/// Twenty bits of four characters, with `unknown` when one of them is none of the alphabet.
inline std::uint32_t readGroup(const char16_t *in, std::uint64_t &codes)
{
    std::uint64_t group = 0;
    std::memcpy(&group, in, sizeof group);
    codes |= group;
    return values[0][in[0] & 0xffU] | values[1][in[1] & 0xffU] | values[2][in[2] & 0xffU] |
           values[3][in[3] & 0xffU];
}

} // namespace

void SSBase32::encode(std::span<const std::byte, codeLength> code,
                      std::span<char16_t, textLength> text)
{
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::uint64_t block = blockAt(code, i);
        char16_t *out = text.data() + i * 2 * groupLength;
        writeGroup(block >> 20U, out);
        writeGroup(block, out + groupLength);
    }
}

void SSBase32::encodeDashed(std::span<const std::byte, codeLength> code,
                            std::span<char16_t, dashedTextLength> text)
{
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::uint64_t block = blockAt(code, i);
        char16_t *out = text.data() + i * dashedBlock;
        writeGroup(block >> 20U, out);
        out[groupLength] = u'-';
        writeGroup(block, out + groupLength + 1);
        if (i + 1 < blocks)
            out[dashedBlock - 1] = u'-';
    }
}

bool SSBase32::decodeDashed(std::span<const char16_t, dashedTextLength> text,
                            std::span<std::byte, codeLength> code)
{
    std::uint32_t read = 0;
    std::uint64_t codes = 0; // for what the characters have above their low bytes
    unsigned misplaced = 0;
    for (std::size_t i = 0; i < blocks; ++i) {
        const char16_t *in = text.data() + i * dashedBlock;
        const std::uint32_t first = readGroup(in, codes);
        const std::uint32_t second = readGroup(in + groupLength + 1, codes);
        read |= first | second;
        misplaced |= static_cast<unsigned>(in[groupLength] ^ u'-');
        if (i + 1 < blocks)
            misplaced |= static_cast<unsigned>(in[dashedBlock - 1] ^ u'-');
        writeBlock(std::uint64_t{first} << 44U | std::uint64_t{second} << 24U, code, i);
    }
    return (read & unknown) == 0 && (codes & 0xff00ff00ff00ff00U) == 0 && misplaced == 0;
}
