// The cached credentials hash and the offline reset hash.

#include "security/SSSecurityHelper.h"

#include "foundation/SSLogger.h"
#include "platform/Cryptography.h"
#include "platform/Platform.h"
#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"
#include "security/SSUtf16.h"

#include <algorithm>

namespace {

constexpr std::size_t cachedHashLength = 16;
constexpr std::size_t resetHashLength = 17;
constexpr std::int32_t resetIterations = 10240;
constexpr qsizetype maximumUserLength = 256;

std::span<const std::byte> bytesOf(const SSSecureData *data)
{
    return data ? data->data() : std::span<const std::byte>();
}

bool digestMd4(std::span<const std::byte> message, std::span<std::byte> digest)
{
    const int status =
        Platform::current().cryptography->md4(message, digest.first<Cryptography::md4Length>());
    if (status != 0)
        SSLog(1, SSMessageType::Error, "Unable calculate MD4. error: %d", status);
    return status == 0;
}

} // namespace

std::shared_ptr<SSSecureData> SSSecurityHelper::calculatePBKDF2WithKey(const SSSecureData *key,
                                                                       const SSSecureData *salt,
                                                                       std::int32_t rounds)
{
    if (rounds < 1) {
        SSLog(1, SSMessageType::Error, "Iterations count is invalid: %d.", rounds);
        return nullptr;
    }
    const auto derived = SSMutableSecureData::dataWithLength(Cryptography::sha1Length);
    const int status = Platform::current().cryptography->pbkdf2HmacSha1(
        bytesOf(key), bytesOf(salt), rounds,
        derived->mutableData().first<Cryptography::sha1Length>());
    if (status != 0) {
        SSLog(1, SSMessageType::Error, "Unable calculate PBKDF2. error: %d", status);
        return nullptr;
    }
    return SSSecureData::dataWithMutableSecureData(derived.get());
}

std::shared_ptr<SSSecureData>
SSSecurityHelper::calculateMsCash2WithUser(const std::optional<QString> &user,
                                           const SSSecureData *password, std::int32_t iterations)
{
    const qsizetype userLength = user ? user->size() : 0;
    if (userLength < 1 || userLength > maximumUserLength) {
        SSLog(1, SSMessageType::Error, "User UPN name size is incorrect: %lu.",
              static_cast<quint64>(userLength));
        return nullptr;
    }
    // Without regard to context or language: a sigma at the end of a word stays an ordinary one.
    const QString lowerCase = user->toLower();
    // The hash of the password, and the salt right behind it.
    const auto salted = SSMutableSecureData::dataWithLength(
        Cryptography::md4Length + 2 * static_cast<std::size_t>(lowerCase.size()));
    const std::span<std::byte> saltBytes = salted->mutableData().subspan(Cryptography::md4Length);
    const QStringView units(lowerCase);
    SSUtf16::encode({units.utf16(), static_cast<std::size_t>(units.size())}, saltBytes);
    const auto firstLevel = SSMutableSecureData::dataWithLength(Cryptography::md4Length);
    if (!digestMd4(bytesOf(password), salted->mutableData()) ||
        !digestMd4(salted->data(), firstLevel->mutableData()))
        return nullptr;

    const auto key = SSSecureData::dataWithMutableSecureData(firstLevel.get());
    const auto salt = SSSecureData::dataWithData(saltBytes);
    const auto derived = calculatePBKDF2WithKey(key.get(), salt.get(), iterations);
    const std::size_t derivedLength = derived ? derived->length() : 0;
    if (derivedLength < cachedHashLength) {
        SSLog(1, SSMessageType::Error, "DCC2 digest length is incorrect: %lu", derivedLength);
        return nullptr;
    }
    return SSSecureData::dataWithData(derived->data().first(cachedHashLength));
}

std::shared_ptr<SSSecureData> SSSecurityHelper::calcHashWithUser(const std::optional<QString> &user,
                                                                 const SSSecureData *password,
                                                                 std::uint32_t random,
                                                                 const SSSecureData *key)
{
    if (!user || user->isEmpty()) {
        SSLog(1, SSMessageType::Error, "CalcHashWithUser: User name is empty.");
        return nullptr;
    }
    if (!key || key->length() == 0) {
        SSLog(1, SSMessageType::Error, "CalcHashWithUser: Session key is empty.");
        return nullptr;
    }
    const auto cached = calculateMsCash2WithUser(user, password, resetIterations);
    if (!cached)
        return nullptr;
    const auto message = SSMutableSecureData::dataWithLength(cachedHashLength + sizeof random);
    std::ranges::copy(cached->data(), message->mutableData().begin());
    for (std::size_t i = 0; i < sizeof random; ++i)
        message->mutableBytes()[cachedHashLength + i] =
            static_cast<std::byte>(random >> 8U * i & 0xffU);
    const auto code = SSMutableSecureData::dataWithLength(Cryptography::sha512Length);
    const int status = Platform::current().cryptography->hmacSha512(
        key->data(), message->data(), code->mutableData().first<Cryptography::sha512Length>());
    if (status != 0) {
        SSLog(1, SSMessageType::Error, "CalcHashWithUser: Unable calculate HMAC. error: %d",
              status);
        return nullptr;
    }
    return SSSecureData::dataWithData(code->data().first(resetHashLength));
}
