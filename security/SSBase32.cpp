#include "security/SSBase32.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr std::u16string_view alphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
constexpr std::size_t blocks = 4; ///< of five bytes or two groups of characters
constexpr std::size_t blockBytes = 5;
constexpr std::size_t dashedBlock = 10;

using Pair = std::array<char16_t, 2>;

/// The two characters of ten bits.
constexpr auto pairs = [] {
    std::array<Pair, 1024> result{};
    for (std::size_t bits = 0; bits < result.size(); ++bits)
        result[bits] = {alphabet[bits >> 5U], alphabet[bits & 31U]};
    return result;
}();

constexpr std::uint8_t unknown = 0x80;

/// The five bits of a character.
constexpr auto values = [] {
    std::array<std::uint8_t, 256> result{};
    result.fill(unknown);
    for (std::uint8_t value = 0; value < alphabet.size(); ++value) {
        const char16_t character = alphabet[value];
        result[character] = value;
        if (value < 26)
            result[character - u'A' + u'a'] = value;
    }
    return result;
}();

std::uint64_t blockAt(const std::byte *bytes)
{
    std::uint64_t block = 0;
    for (std::size_t i = 0; i < blockBytes; ++i)
        block = block << 8U | std::to_integer<std::uint64_t>(bytes[i]);
    return block;
}

/// Four characters for twenty bits.
inline void writeGroup(std::uint64_t bits, char16_t *out)
{
    std::memcpy(out, pairs[bits >> 10U & 1023U].data(), sizeof(Pair));
    std::memcpy(out + 2, pairs[bits & 1023U].data(), sizeof(Pair));
}

/// Twenty bits of four characters. What is wrong with them is gathered in `wrong`.
inline std::uint64_t readGroup(const char16_t *in, unsigned &wrong)
{
    const unsigned first = values[in[0] & 0xffU];
    const unsigned second = values[in[1] & 0xffU];
    const unsigned third = values[in[2] & 0xffU];
    const unsigned fourth = values[in[3] & 0xffU];
    wrong |= (first | second | third | fourth) & unknown;
    wrong |= (in[0] | in[1] | in[2] | in[3]) & 0xff00U;
    return (first << 15U | second << 10U) | (third << 5U | fourth);
}

} // namespace

void SSBase32::encode(std::span<const std::byte, codeLength> code,
                      std::span<char16_t, textLength> text)
{
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::uint64_t block = blockAt(code.data() + i * blockBytes);
        char16_t *out = text.data() + i * 2 * groupLength;
        writeGroup(block >> 20U, out);
        writeGroup(block, out + groupLength);
    }
}

void SSBase32::encodeDashed(std::span<const std::byte, codeLength> code,
                            std::span<char16_t, dashedTextLength> text)
{
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::uint64_t block = blockAt(code.data() + i * blockBytes);
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
    unsigned wrong = 0;
    for (std::size_t i = 0; i < blocks; ++i) {
        const char16_t *in = text.data() + i * dashedBlock;
        const std::uint64_t block =
            readGroup(in, wrong) << 20U | readGroup(in + groupLength + 1, wrong);
        wrong |= static_cast<unsigned>(in[groupLength] ^ u'-');
        if (i + 1 < blocks)
            wrong |= static_cast<unsigned>(in[dashedBlock - 1] ^ u'-');
        std::byte *out = code.data() + i * blockBytes;
        out[0] = static_cast<std::byte>(block >> 32U & 0xffU);
        const auto rest = static_cast<std::uint32_t>(block);
        out[1] = static_cast<std::byte>(rest >> 24U);
        out[2] = static_cast<std::byte>(rest >> 16U & 0xffU);
        out[3] = static_cast<std::byte>(rest >> 8U & 0xffU);
        out[4] = static_cast<std::byte>(rest & 0xffU);
    }
    return wrong == 0;
}
