#include "security/SSSecure.h"

#include "foundation/SSLogger.h"
#include "security/SSBase32.h"

#include <algorithm>

namespace {

constexpr auto dashedTextLength = static_cast<qsizetype>(SSBase32::dashedTextLength);
constexpr auto groupLength = static_cast<qsizetype>(SSBase32::groupLength);

/// Where a character's five bits lie: in the big-endian 16-bit word at `offset`, `shift` bits up.
struct BitPosition
{
    explicit BitPosition(std::size_t index)
        : offset((index % 8) / 2 + (index / 8) * 5)
        , shift(static_cast<unsigned>(7 - index % 8 + (index % 2 == 0 ? 4 : 0)))
    {
    }
    std::size_t offset;
    unsigned shift;
};

std::optional<unsigned> base32Value(char16_t character)
{
    if (character >= u'A' && character <= u'Z')
        return character - u'A';
    if (character >= u'2' && character <= u'7')
        return character - u'2' + 26U;
    return std::nullopt;
}

} // namespace

std::span<const std::byte> SSSecure::bytes(const QByteArray &data)
{
    return std::as_bytes(std::span(data.constData(), static_cast<std::size_t>(data.size())));
}

void SSSecure::secureFree(std::span<std::byte> bytes)
{
    SSSecureMemory::wipe(bytes.data(), bytes.size());
}

void SSSecure::secureFree(Bytes &data)
{
    SSSecureMemory::wipe(data.data(), data.size());
}

void SSSecure::secureFree(QByteArray &data)
{
    // data() would copy shared storage and leave the secret in the old one.
    const bool ownsStorage = data.data_ptr().d_ptr() != nullptr;
    char *bytes = ownsStorage ? const_cast<char *>(data.constData()) : data.data();
    SSSecureMemory::wipe(bytes, static_cast<std::size_t>(data.size()));
}

void SSSecure::secureFree(QString &text)
{
    const bool ownsStorage = text.data_ptr().d_ptr() != nullptr;
    QChar *characters = ownsStorage ? const_cast<QChar *>(text.constData()) : text.data();
    SSSecureMemory::wipe(characters, static_cast<std::size_t>(text.size()) * sizeof(QChar));
}

std::optional<QString> SSSecure::base32EncodedString(std::span<const std::byte> data,
                                                     std::uint32_t options)
{
    if (data.size() != SSBase32::codeLength)
        return std::nullopt;
    const auto code = data.first<SSBase32::codeLength>();
    const bool dashes = (options & base32InsertDashes) != 0;
    const std::size_t length = dashes ? SSBase32::dashedTextLength : SSBase32::textLength;
    QString text(static_cast<qsizetype>(length), Qt::Uninitialized);
    auto *characters = reinterpret_cast<char16_t *>(text.data());
    if (dashes)
        SSBase32::encodeDashed(code,
                               std::span<char16_t, SSBase32::dashedTextLength>(characters, length));
    else
        SSBase32::encode(code, std::span<char16_t, SSBase32::textLength>(characters, length));
    if (text.size() != static_cast<qsizetype>(length)) {
        SSLog(1, SSMessageType::Error,
              "base32EncodedStringWithOptions: invalid result string: (%@).", text);
    }
    return text;
}

std::optional<SSSecure::Bytes>
SSSecure::initWithBase32EncodedString(const std::optional<QString> &text)
{
    if (!text || text->size() != dashedTextLength)
        return std::nullopt;
    Bytes result(SSBase32::codeLength);
    if (SSBase32::decodeDashed(
            std::span<const char16_t, SSBase32::dashedTextLength>(
                reinterpret_cast<const char16_t *>(text->utf16()), SSBase32::dashedTextLength),
            std::span<std::byte, SSBase32::codeLength>(result)))
        return result;

    // Not the form that is written. Tell what is wrong with it, or read it for what it is.
    secureFree(result);
    const auto refused = [&result] {
        secureFree(result);
        return std::nullopt;
    };
    for (qsizetype p = 0; p < dashedTextLength; ++p) {
        const QChar character = text->at(p).toUpper();
        if (const auto value = base32Value(character.unicode())) {
            // A letter where a dash belongs falls on the bits of the character after it.
            const BitPosition position(static_cast<std::size_t>(p - p / (groupLength + 1)));
            if (position.offset >= SSBase32::codeLength - 1) {
                SSLog(1, SSMessageType::Error,
                      "initWithBase32EncodedString: index out of range (%lu, %lu).",
                      position.offset, SSBase32::codeLength);
                return refused();
            }
            const unsigned word = *value << position.shift;
            result[position.offset] |= static_cast<std::byte>(word >> 8U);
            result[position.offset + 1] |= static_cast<std::byte>(word & 0xffU);
        } else if (character != QLatin1Char('-')) {
            SSLog(1, SSMessageType::Error,
                  "initWithBase32EncodedString: character is invalid. (%lu, %@)",
                  static_cast<quint64>(p), *text);
            return refused();
        } else if (p % (groupLength + 1) != groupLength) {
            SSLog(1, SSMessageType::Error,
                  "initWithBase32EncodedString: dash is invalid. (%lu, %@)",
                  static_cast<quint64>(p), *text);
            return refused();
        }
    }
    return result;
}

bool SSSecure::isEqual(std::span<const std::byte> first, std::span<const std::byte> second)
{
    if (first.size() != second.size())
        return false;
    // Volatile: an optimiser may not stop at the first difference.
    volatile unsigned difference = 0;
    for (std::size_t i = 0; i < first.size(); ++i)
        difference = difference | std::to_integer<unsigned>(first[i] ^ second[i]);
    return difference == 0;
}

void SSSecure::reverseBytes(std::byte *bytes, std::size_t count)
{
    if (count >= 2)
        std::reverse(bytes, bytes + count);
}

std::uint32_t SSSecure::fnv1Hash(const std::byte *bytes, std::ptrdiff_t count)
{
    std::uint32_t hash = 0x811c9dc5U;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        hash *= 16777619U;
        hash ^= std::to_integer<std::uint32_t>(bytes[i]);
    }
    return hash;
}
