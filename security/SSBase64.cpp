#include "security/SSBase64.h"

#include "security/SSSecureData.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<unsigned> base64Value(char16_t character)
{
    if (character >= u'A' && character <= u'Z')
        return character - u'A';
    if (character >= u'a' && character <= u'z')
        return character - u'a' + 26U;
    if (character >= u'0' && character <= u'9')
        return character - u'0' + 52U;
    if (character == u'+')
        return 62U;
    if (character == u'/')
        return 63U;
    return std::nullopt;
}

} // namespace

std::optional<SSSecure::Bytes> SSBase64::decoded(QStringView text, bool ignoreUnknown)
{
    SSSecure::Bytes result;
    result.reserve(static_cast<std::size_t>(text.size()) / 4 * 3 + 3);
    const auto refused = [&result] {
        SSSecure::secureFree(result);
        return std::nullopt;
    };
    unsigned group = 0;
    unsigned inGroup = 0;
    unsigned fill = 0;
    for (const QChar character : text) {
        if (const auto value = base64Value(character.unicode())) {
            if (fill > 0)
                return refused();
            group = group << 6U | *value;
        } else if (character == QLatin1Char('=')) {
            if (inGroup < 2)
                return refused();
            ++fill;
            group <<= 6U;
        } else if (ignoreUnknown) {
            continue;
        } else {
            return refused();
        }
        if (++inGroup < 4)
            continue;
        for (unsigned i = 0; i < 3 - fill; ++i)
            result.push_back(static_cast<std::byte>(group >> (16U - 8U * i) & 0xffU));
        group = 0;
        inGroup = 0;
    }
    if (inGroup != 0)
        return refused();
    return result;
}

QString SSBase64::encoded(std::span<const std::byte> data, std::uint32_t options)
{
    qsizetype lineLength = 0;
    if ((options & SSBase64Encoding::LineLength64) != 0)
        lineLength = 64;
    else if ((options & SSBase64Encoding::LineLength76) != 0)
        lineLength = 76;
    const bool anyEnd = (options & (SSBase64Encoding::EndLineWithCarriageReturn |
                                    SSBase64Encoding::EndLineWithLineFeed)) != 0;
    const bool carriageReturn =
        !anyEnd || (options & SSBase64Encoding::EndLineWithCarriageReturn) != 0;
    const bool lineFeed = !anyEnd || (options & SSBase64Encoding::EndLineWithLineFeed) != 0;

    const std::size_t groups = (data.size() + 2) / 3;
    const qsizetype characters = static_cast<qsizetype>(groups) * 4;
    const qsizetype breaks = lineLength > 0 && characters > 0 ? (characters - 1) / lineLength : 0;
    QString text(characters + breaks * ((carriageReturn ? 1 : 0) + (lineFeed ? 1 : 0)),
                 Qt::Uninitialized);
    QChar *out = text.data();
    qsizetype inLine = 0;
    for (std::size_t i = 0; i < data.size(); i += 3) {
        if (lineLength > 0 && inLine == lineLength) {
            if (carriageReturn)
                *out++ = QLatin1Char('\r');
            if (lineFeed)
                *out++ = QLatin1Char('\n');
            inLine = 0;
        }
        const std::size_t count = std::min<std::size_t>(3, data.size() - i);
        unsigned group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8U | (k < count ? std::to_integer<unsigned>(data[i + k]) : 0U);
        for (std::size_t k = 0; k < 4; ++k) {
            *out++ = QLatin1Char(k <= count ? alphabet[group >> (18U - 6U * k) & 0x3fU] : '=');
        }
        inLine += 4;
    }
    return text;
}
