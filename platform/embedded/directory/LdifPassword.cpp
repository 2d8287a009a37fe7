#include "platform/embedded/directory/LdifPassword.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <cstring>

namespace {

constexpr qsizetype hashSize = 32;

QByteArray sha256(std::span<const char> password, QByteArrayView salt)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArrayView(password.data(), static_cast<qsizetype>(password.size())));
    hash.addData(salt);
    QByteArray result = hash.result();
    // The hash keeps the end of its input in a block buffer; fill that with something else.
    hash.reset();
    hash.addData(QByteArray(128, '\0'));
    return result;
}

/// Takes the same time wherever two texts of one length differ.
bool equal(QByteArrayView a, QByteArrayView b)
{
    if (a.size() != b.size())
        return false;
    unsigned difference = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^
                                            static_cast<unsigned char>(b[i]));
    return difference == 0;
}

} // namespace

std::optional<bool> LdifPassword::matches(QByteArrayView stored, std::span<const char> password)
{
    if (!stored.startsWith('{')) {
        // Hashes of one length are compared, so that the time does not tell the stored length.
        return equal(sha256(password, {}),
                     sha256({stored.data(), static_cast<std::size_t>(stored.size())}, {}));
    }
    const qsizetype close = stored.indexOf('}');
    if (close < 0)
        return std::nullopt;
    const QByteArrayView scheme = stored.first(close + 1);
    const bool salted = scheme.compare("{SSHA256}", Qt::CaseInsensitive) == 0;
    if (!salted && scheme.compare("{SHA256}", Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QByteArray encoded = stored.sliced(close + 1).toByteArray();
    const auto decoded = QByteArray::fromBase64Encoding(
        encoded, QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded ||
        (salted ? decoded.decoded.size() <= hashSize : decoded.decoded.size() != hashSize))
        return std::nullopt;
    const QByteArrayView bytes = decoded.decoded;
    return equal(sha256(password, bytes.sliced(hashSize)), bytes.first(hashSize));
}
