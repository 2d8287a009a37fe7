// Every case of tests/data: those of offline_codes.json were worked out by others, those of
// offline_generated.json by the script that stands beside it.

#include "security/SSPublicKeyCoder.h"
#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"

namespace {
/// Draws the given number next.
class ChosenNumber final : public Cryptography
{
public:
    explicit ChosenNumber(quint32 number) : m_number(number) {}

    int randomBytes(std::span<std::byte> bytes) override
    {
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<std::byte>(m_number >> 8U * i & 0xffU);
        return 0;
    }
    int hmacSha512(std::span<const std::byte> key, std::span<const std::byte> message,
                   std::span<std::byte, sha512Length> code) override
    {
        return m_backend.hmacSha512(key, message, code);
    }
    int md4(std::span<const std::byte>, std::span<std::byte, md4Length>) override { return -1; }
    int pbkdf2HmacSha1(std::span<const std::byte>, std::span<const std::byte>, int,
                       std::span<std::byte, sha1Length>) override
    {
        return -1;
    }
    int encryptAesCbc(std::span<const std::byte>, std::span<const std::byte, aesBlockLength>,
                      std::span<const std::byte>, std::span<std::byte>, std::size_t &) override
    {
        return -1;
    }
    int decryptAesCbc(std::span<const std::byte>, std::span<const std::byte, aesBlockLength>,
                      std::span<const std::byte>, std::span<std::byte>, std::size_t &) override
    {
        return -1;
    }

private:
    quint32 m_number;
    LinuxCryptography m_backend;
};
} // namespace

class tst_OfflineCodeVectors : public QObject
{
    Q_OBJECT

    static QString text(const QJsonValue &entry, const char *name)
    {
        return entry[QLatin1String(name)].toString();
    }

private Q_SLOTS:
    void base32BothWays()
    {
        forEachCase("base32", [](const QJsonValue &entry) {
            const auto bytes = secureHex(text(entry, "bytes"));
            QCOMPARE(SSSecure::base32EncodedString(bytes->data(), 0), text(entry, "plain"));
            QCOMPARE(SSSecure::base32EncodedString(bytes->data(), SSSecure::base32InsertDashes),
                     text(entry, "dashed"));
            auto decoded = SSSecure::initWithBase32EncodedString(text(entry, "dashed"));
            QVERIFY(decoded);
            QCOMPARE(hex(SSSecureData::initWithData(std::move(*decoded))), text(entry, "bytes"));
            decoded = SSSecure::initWithBase32EncodedString(text(entry, "dashed").toLower());
            QVERIFY(decoded);
            QCOMPARE(hex(SSSecureData::initWithData(std::move(*decoded))), text(entry, "bytes"));
        });
    }

    void base32Refuses()
    {
        OfflinePlatform fake;
        forEachCase("base32_refused", [](const QJsonValue &entry) {
            QVERIFY2(!SSSecure::initWithBase32EncodedString(entry.toString()),
                     qPrintable(entry.toString()));
        });
    }

    void base32ReadsALetterAtADashPosition()
    {
        forEachCase("base32_lenient", [](const QJsonValue &entry) {
            auto decoded = SSSecure::initWithBase32EncodedString(text(entry, "text"));
            QVERIFY(decoded);
            QCOMPARE(hex(SSSecureData::initWithData(std::move(*decoded))), text(entry, "bytes"));
        });
    }

    void requestCodes()
    {
        OfflinePlatform fake;
        forEachCase("request", [&fake](const QJsonValue &entry) {
            const quint32 expectedRandom = number(entry[QLatin1String("random")]);
            fake.platform.cryptography = std::make_shared<ChosenNumber>(expectedRandom);
            const auto key = secureHex(text(entry, "key"));
            const quint32 rid = number(entry[QLatin1String("rid")]);
            quint32 random = ~expectedRandom;
            QCOMPARE(hex(SSSecurityHelper::generateRequestCodeDataWithComputerRID(rid, key.get(),
                                                                                  &random)),
                     text(entry, "bytes"));
            QCOMPARE(random, expectedRandom);
            QCOMPARE(SSSecurityHelper::generateRequestCodeWithComputerRID(rid, key.get(), nullptr),
                     text(entry, "text"));
        });
        QVERIFY(fake.log->lines().isEmpty());
    }

    void responseCodes()
    {
        OfflinePlatform fake;
        forEachCase("response", [&fake](const QJsonValue &entry) {
            const QString code = text(entry, "text");
            const quint32 random = number(entry[QLatin1String("random")]);
            QCOMPARE(hex(SSSecurityHelper::parseResponseCode(code, random)),
                     text(entry, "payload"));
            QCOMPARE(hex(SSSecurityHelper::parseResponseCode(code.toLower(), random)),
                     text(entry, "payload"));
            QVERIFY(fake.log->lines().isEmpty());
            const QJsonValue wrong = entry[QLatin1String("wrong_random")];
            if (wrong.isUndefined())
                return;
            QVERIFY(!SSSecurityHelper::parseResponseCode(code, number(wrong)));
            QCOMPARE(fake.log->lines(),
                     QStringList{QStringLiteral(
                                     "[Error]: Response code hash is incorrect. Response code: ") +
                                 code});
            fake.log->clear();
        });
    }

    void derivedKeys()
    {
        OfflinePlatform fake;
        forEachCase("pbkdf2", [](const QJsonValue &entry) {
            QCOMPARE(hex(SSSecurityHelper::calculatePBKDF2WithKey(
                         secureHex(text(entry, "key")).get(), secureHex(text(entry, "salt")).get(),
                         entry[QLatin1String("rounds")].toInt())),
                     text(entry, "derived"));
        });
    }

    // The expected bytes are one plain HMAC-SHA-1 over the salt and the block index.
    void oneRoundReturnsTheFirstHmacUnchanged()
    {
        OfflinePlatform fake;
        forEachCase("first_round", [](const QJsonValue &entry) {
            QCOMPARE(
                hex(SSSecurityHelper::calculatePBKDF2WithKey(
                    secureHex(text(entry, "key")).get(), secureHex(text(entry, "salt")).get(), 1)),
                text(entry, "derived"));
        });
    }

    void cachedCredentialsHashes()
    {
        OfflinePlatform fake;
        forEachCase("dcc2", [](const QJsonValue &entry) {
            QCOMPARE(hex(SSSecurityHelper::calculateMsCash2WithUser(
                         text(entry, "user"), secureHex(text(entry, "password_utf16le")).get(),
                         entry[QLatin1String("iterations")].toInt())),
                     text(entry, "hash"));
        });
        QVERIFY(fake.log->lines().isEmpty());
    }

    // By Python, with the user's name lower-cased character by character: its last letter is
    // U+03C3, not the U+03C2 that the word would end in.
    void aUserNameIsLowerCasedCharacterByCharacter()
    {
        OfflinePlatform fake;
        QCOMPARE(hex(SSSecurityHelper::calculateMsCash2WithUser(
                     QStringLiteral("ΟΔΥΣΣΕΥΣ"),
                     secureHex(QStringLiteral("74006500730074003100")).get(), 10240)),
                 QStringLiteral("890f2a1a406f1b0a8f166788fa177411"));
    }

    void resetHashes()
    {
        OfflinePlatform fake;
        forEachCase("reset_hash", [](const QJsonValue &entry) {
            QCOMPARE(
                hex(SSSecurityHelper::calcHashWithUser(
                    text(entry, "user"), secureHex(text(entry, "password_utf16le")).get(),
                    number(entry[QLatin1String("random")]), secureHex(text(entry, "key")).get())),
                text(entry, "hash"));
        });
        QVERIFY(fake.log->lines().isEmpty());
    }

    // The expected keys and texts are what Python and the openssl program make of the two values of
    // this program; once a key file is written they never change again.
    void machineBoundEncryption()
    {
        OfflinePlatform fake;
        forEachCase("system_key", [&fake](const QJsonValue &entry) {
            fake.machineIdentity->uuid = text(entry, "uuid");
            QCOMPARE(hex(SSSecurityHelper::appSystemKey()), text(entry, "key"));
            const auto plain = secureHex(text(entry, "plain"));
            const auto ciphered = SSSecurityHelper::encodeSecureData(plain.get());
            QCOMPARE(hex(ciphered), text(entry, "ciphered"));
            QCOMPARE(hex(SSSecurityHelper::decodeSecureData(ciphered.get())), text(entry, "plain"));
        });
    }

    void aesWithKeysOfEveryLength()
    {
        OfflinePlatform fake;
        forEachCase("aes", [](const QJsonValue &entry) {
            const auto key = secureHex(text(entry, "key"));
            const auto plain = secureHex(text(entry, "plain"));
            const auto ciphered = SSSecurityHelper::encodeSecureData(plain.get(), key.get());
            QCOMPARE(hex(ciphered), text(entry, "ciphered"));
            QCOMPARE(hex(SSSecurityHelper::decodeSecureData(ciphered.get(), key.get())),
                     text(entry, "plain"));
        });
    }

    void publicKeysBothWays()
    {
        OfflinePlatform fake;
        forEachCase("key", [](const QJsonValue &entry) {
            const auto blob = secureHex(text(entry, "blob"));
            const auto der = secureHex(text(entry, "der"));
            QCOMPARE(hex(SSPublicKeyCoder::derDataFromMsData(blob.get())), text(entry, "der"));
            QCOMPARE(hex(SSPublicKeyCoder::msDataFromDerData(der.get())), text(entry, "blob"));
            QVERIFY(SSPublicKeyCoder::secKeyWithMsData(blob.get()));
        });
        QVERIFY(fake.log->lines().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_OfflineCodeVectors)
#include "tst_OfflineCodeVectors.moc"
