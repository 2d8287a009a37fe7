// What is left of a secret in the memory of the process once its owner is done with it. The code
// that wipes is compiled here as it is for installation, with the optimiser at its best.

#include "security/SSMutableSecureData.h"
#include "security/SSPublicKeyCoder.h"
#include "security/SSRSAKey.h"
#include "security/SSSecurityHelper.h"
#include "tests/unit/security/MemorySearch.h"
#include "tests/unit/security/OfflineTestSupport.h"

#include <cstring>
#include <functional>
#include <semaphore>
#include <thread>

#ifndef __OPTIMIZE__
#error "this test shows nothing without the optimiser"
#endif

namespace {

/// The secret itself, made where it is to lie and nowhere else.
[[gnu::noinline]] void unmask(const QByteArray &maskedBytes, std::span<std::byte> out)
{
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = static_cast<std::byte>(
            static_cast<unsigned char>(maskedBytes.at(static_cast<qsizetype>(i))) ^
            MemorySearch::mask);
    }
}

std::shared_ptr<SSSecureData> unmasked(const QByteArray &maskedBytes)
{
    const auto bytes =
        SSMutableSecureData::dataWithLength(static_cast<std::size_t>(maskedBytes.size()));
    unmask(maskedBytes, bytes->mutableData());
    return SSSecureData::dataWithMutableSecureData(bytes.get());
}

/// Runs `operation` on a stack of its own and keeps that as it is left, so that no later call
/// writes over it before it was searched.
class Aftermath
{
public:
    explicit Aftermath(const std::function<void()> &operation)
        : m_thread([this, &operation] {
            operation();
            m_done.release();
            m_end.acquire();
        })
    {
        m_done.acquire();
    }
    ~Aftermath()
    {
        m_end.release();
        m_thread.join();
    }
    Aftermath(const Aftermath &) = delete;
    Aftermath &operator=(const Aftermath &) = delete;

private:
    std::binary_semaphore m_done{0};
    std::binary_semaphore m_end{0};
    std::thread m_thread;
};

} // namespace

Q_DECLARE_METATYPE(std::function<int(Cryptography &, std::span<const std::byte>)>)

class tst_SecretsInMemory : public QObject
{
    Q_OBJECT

    MemorySearch m_search;
    QByteArray m_maskedKey;      ///< 128 bytes that occur nowhere else
    QByteArray m_maskedPassword; ///< UTF-16 little-endian

    /// A copy with every byte XORed, as the pads of an HMAC have them.
    static QByteArray changed(const QByteArray &maskedBytes, char with)
    {
        QByteArray result = maskedBytes;
        for (char &byte : result)
            byte = static_cast<char>(byte ^ with);
        return result;
    }
    static QByteArray reversed(const QByteArray &bytes)
    {
        return {std::string(bytes.rbegin(), bytes.rend()).data(), bytes.size()};
    }
    /// The pieces of a secret that a library may leave behind: as it is, as big numbers and the
    /// words of a hash hold it, and as the pads of an HMAC.
    static QList<QByteArray> traces(const QByteArray &maskedSecret)
    {
        QList<QByteArray> result;
        for (qsizetype at = 0; at + 8 <= maskedSecret.size(); at += 8) {
            const QByteArray piece = maskedSecret.mid(at, 8);
            for (const char pad : {'\0', '\x36', '\x5c'}) {
                result.append(changed(piece, pad));
                result.append(reversed(changed(piece, pad)));
            }
            QByteArray words = reversed(piece.left(4)) + reversed(piece.mid(4));
            result.append(words);
        }
        return result;
    }
    int tracesLeft(const QByteArray &maskedSecret) { return m_search.count(traces(maskedSecret)); }

private Q_SLOTS:
    void initTestCase()
    {
        quint32 state = 2463534242U;
        for (int i = 0; i < 128; ++i) {
            state ^= state << 13U;
            state ^= state >> 17U;
            state ^= state << 5U;
            m_maskedKey.append(static_cast<char>(state >> 24U));
        }
        // "Zx9!qLm#7tVb"
        for (const char character : {'Z', 'x', '9', '!', 'q', 'L', 'm', '#', '7', 't', 'V', 'b'}) {
            m_maskedPassword.append(static_cast<char>(character ^ MemorySearch::mask));
            m_maskedPassword.append(static_cast<char>(MemorySearch::mask));
        }
    }

    void theSearchFindsWhatIsThere()
    {
        QCOMPARE(tracesLeft(m_maskedKey), 0);
        const auto key = unmasked(m_maskedKey);
        QCOMPARE(tracesLeft(m_maskedKey), 16);
        std::array<std::byte, 24> stack{};
        unmask(m_maskedPassword, stack);
        QVERIFY(tracesLeft(m_maskedPassword) >= 3);
        SSSecure::secureFree(std::span(stack));
        QCOMPARE(tracesLeft(m_maskedPassword), 0);
    }

    // A plain buffer that is released without a wipe is what a missing store looks like.
    void theSearchFindsWhatIsLeftBehind()
    {
        auto *plain = static_cast<std::byte *>(std::malloc(128));
        unmask(m_maskedKey, std::span(plain, 128));
        std::free(plain);
        // The allocator keeps its list in the first sixteen bytes.
        QVERIFY(tracesLeft(m_maskedKey) >= 13);
        plain = static_cast<std::byte *>(std::malloc(128));
        ::explicit_bzero(plain, 128);
        std::free(plain);
    }

    // The same for a stack.
    void theSearchFindsWhatACallLeftOnItsStack()
    {
        const Aftermath aftermath([&] {
            std::array<std::byte, 128> local;
            unmask(m_maskedKey, local);
            asm volatile("" : : "r"(local.data()) : "memory");
        });
        QVERIFY(tracesLeft(m_maskedKey) >= 8);
    }

    void aReleasedBufferLeavesZerosInItsPage()
    {
        auto key = unmasked(m_maskedKey);
        const std::byte *storage = key->bytes();
        key.reset();
        QFile memory(QStringLiteral("/proc/self/mem"));
        QVERIFY(memory.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
        QVERIFY(memory.seek(static_cast<qint64>(reinterpret_cast<std::uintptr_t>(storage))));
        const QByteArray left = memory.read(128);
        QCOMPARE(left.size(), 128);
        // The pool keeps the address of its next free block and its mark in the first sixteen
        // bytes; both have overwritten what was there.
        QCOMPARE(left.mid(16), QByteArray(112, '\0'));
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    void aBufferThatGrowsLeavesNothingBehind()
    {
        const auto bytes = SSMutableSecureData::dataWithLength(128);
        unmask(m_maskedKey, bytes->mutableData());
        bytes->setLength(5000);
        QCOMPARE(tracesLeft(m_maskedKey), 16);
        bytes->setLength(100000);
        QCOMPARE(tracesLeft(m_maskedKey), 16);
        bytes->setLength(0);
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    void anExplicitWipeIsNotOptimisedAway()
    {
        std::array<std::byte, 128> stack{};
        unmask(m_maskedKey, stack);
        SSSecure::secureFree(std::span(stack));
        QCOMPARE(tracesLeft(m_maskedKey), 0);
        QString text(64, Qt::Uninitialized);
        unmask(m_maskedKey, std::as_writable_bytes(std::span(text.data(), 64)));
        SSSecure::secureFree(text);
        text = QString();
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    void base64LeavesNothingBehind()
    {
        auto key = unmasked(m_maskedKey);
        QString text = key->base64EncodedString();
        auto decoded = SSSecureData::initWithBase64EncodedString(text);
        QVERIFY(decoded->isEqualToSecureData(key.get()));
        SSSecure::secureFree(text);
        key.reset();
        decoded.reset();
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    void theRequestCodeLeavesNothingOfTheSessionKey()
    {
        OfflinePlatform fake;
        auto key = unmasked(m_maskedKey);
        bool done = false;
        const Aftermath aftermath([&] {
            done = SSSecurityHelper::generateRequestCodeWithComputerRID(1105, key.get(), nullptr)
                       .has_value();
        });
        QVERIFY(done);
        key.reset();
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    void aesLeavesNothingOfTheDataAndTheKey()
    {
        OfflinePlatform fake;
        fake.machineIdentity->uuid = QStringLiteral("8F0C5B7E-2D91-4A36-9E47-C1B2D3F4A596");
        auto data = unmasked(m_maskedKey);
        QByteArray maskedSystemKey;
        for (std::size_t i = 0; i < 32; ++i) {
            const auto key = SSSecurityHelper::appSystemKey();
            maskedSystemKey.append(static_cast<char>(
                std::to_integer<unsigned char>(key->bytes()[i]) ^ MemorySearch::mask));
        }
        bool same = false;
        const Aftermath aftermath([&] {
            const auto ciphered = SSSecurityHelper::encodeSecureData(data.get());
            same =
                data->isEqualToSecureData(SSSecurityHelper::decodeSecureData(ciphered.get()).get());
            // Wrong padding, too.
            fake.machineIdentity->uuid = QStringLiteral("8F0C5B7E-2D91-4A36-9E47-C1B2D3F4A597");
            (void)SSSecurityHelper::decodeSecureData(ciphered.get());
        });
        QVERIFY(same);
        data.reset();
        QCOMPARE(tracesLeft(m_maskedKey), 0);
        QCOMPARE(tracesLeft(maskedSystemKey), 0);
    }

    void rsaLeavesNothingOfTheSessionKey()
    {
        OfflinePlatform fake;
        QByteArray blob;
        forEachCase("key", [&blob](const QJsonValue &entry) {
            blob = QByteArray::fromHex(entry[QLatin1String("blob")].toString().toLatin1());
        });
        const auto rsaKey = SSRSAKey::keyWithMsKeyData(secure(blob).get());
        QVERIFY(rsaKey);
        auto key = unmasked(m_maskedKey);
        bool done = false;
        const Aftermath aftermath(
            [&] { done = SSSecurityHelper::encodeSecureData(key.get(), rsaKey.get()) != nullptr; });
        QVERIFY(done);
        key.reset();
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    // The hashes are what Python and the openssl program make of the password.
    void theResetHashLeavesNothingOfThePasswordItsHashesAndTheSessionKey()
    {
        OfflinePlatform fake;
        auto password = unmasked(m_maskedPassword);
        auto key = unmasked(m_maskedKey);
        const QString user = QStringLiteral("jdoe@corp.example.test");
        bool done = false;
        const Aftermath aftermath([&] {
            done =
                SSSecurityHelper::calcHashWithUser(user, password.get(), 7, key.get()) != nullptr;
        });
        QVERIFY(done);
        password.reset();
        key.reset();
        QCOMPARE(tracesLeft(m_maskedPassword), 0);
        QCOMPARE(tracesLeft(m_maskedKey), 0);
        QCOMPARE(tracesLeft(MemorySearch::maskedHex("1a3d1192797d869099f709d665ce7e9e")), 0);
        QCOMPARE(tracesLeft(MemorySearch::maskedHex("e3428bc7392c49422884d668889a3a7d")), 0);
        QCOMPARE(tracesLeft(MemorySearch::maskedHex("cd215a017dd43faf9cc12e66bf88f8aa")), 0);
    }

    // Each computation alone: no later one has used its stack again.
    void noComputationLeavesItsInput_data()
    {
        using Bytes = std::span<const std::byte>;
        QTest::addColumn<std::function<int(Cryptography &, Bytes)>>("computation");
        const auto row = [](const char *name, std::function<int(Cryptography &, Bytes)> function) {
            QTest::newRow(name) << std::move(function);
        };
        static const std::array<std::byte, 32> other{};
        static const auto vector = std::span(other).first<16>();
        row("MD4", [](Cryptography &cryptography, Bytes input) {
            std::array<std::byte, 16> digest{};
            return cryptography.md4(input.first(24), digest);
        });
        row("HMAC's key", [](Cryptography &cryptography, Bytes input) {
            std::array<std::byte, 64> code{};
            return cryptography.hmacSha512(input, other, code);
        });
        row("HMAC's message", [](Cryptography &cryptography, Bytes input) {
            std::array<std::byte, 64> code{};
            return cryptography.hmacSha512(other, input, code);
        });
        row("PBKDF2's key", [](Cryptography &cryptography, Bytes input) {
            std::array<std::byte, 20> derived{};
            return cryptography.pbkdf2HmacSha1(input.first(16), other, 1, derived);
        });
        row("AES' key", [](Cryptography &cryptography, Bytes input) {
            std::array<std::byte, 64> output{};
            std::size_t moved = 0;
            return cryptography.encryptAesCbc(input.first(32), vector, other, output, moved);
        });
        row("AES' message", [](Cryptography &cryptography, Bytes input) {
            std::array<std::byte, 256> output{};
            std::size_t moved = 0;
            return cryptography.encryptAesCbc(other, vector, input.first(33), output, moved);
        });
    }
    void noComputationLeavesItsInput()
    {
        QFETCH(std::function<int(Cryptography &, std::span<const std::byte>)>, computation);
        LinuxCryptography cryptography;
        auto key = unmasked(m_maskedKey);
        int status = computation(cryptography, key->data()); // checks the known answers first
        QCOMPARE(status, 0);
        const Aftermath aftermath([&] { status = computation(cryptography, key->data()); });
        QCOMPARE(status, 0);
        key.reset();
        QCOMPARE(tracesLeft(m_maskedKey), 0);
    }

    void theResponseLeavesNothingOfItsPayload()
    {
        OfflinePlatform fake;
        bool done = false;
        const Aftermath aftermath([&] {
            done = SSSecurityHelper::parseResponseCode(
                       QStringLiteral("5ROB-IJVJ-HDL7-A4BX-DAHM-E35M-MEMM-4IFR"), 3043216458U) !=
                   nullptr;
        });
        QVERIFY(done);
        QCOMPARE(tracesLeft(MemorySearch::maskedHex("b0f8ca45d43b1c9cdbf4e22e83408df422")), 0);
    }
};

QTEST_GUILESS_MAIN(tst_SecretsInMemory)
#include "tst_SecretsInMemory.moc"
