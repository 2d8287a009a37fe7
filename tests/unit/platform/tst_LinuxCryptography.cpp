#include "platform/linux/cryptography/LinuxCryptography.h"

#include "platform/linux/cryptography/KnownAnswers.h"

#include <QByteArray>
#include <QStringList>
#include <QTest>

#include <array>
#include <memory>
#include <vector>

class tst_LinuxCryptography : public QObject
{
    Q_OBJECT

    static std::span<const std::byte> bytes(const QByteArray &data)
    {
        return std::as_bytes(std::span(data.constData(), static_cast<std::size_t>(data.size())));
    }
    static QByteArray hex(std::span<const std::byte> data)
    {
        return QByteArray(reinterpret_cast<const char *>(data.data()),
                          static_cast<qsizetype>(data.size()))
            .toHex();
    }
    LinuxCryptography m_cryptography;

private Q_SLOTS:
    void theSelfTestPasses() { QVERIFY(!KnownAnswers::firstWrong()); }

    void afterAFailedSelfTestNothingIsComputed()
    {
        QStringList lines;
        LinuxCryptography cryptography(std::make_shared<SelfTest>(
            [&](unsigned level, DiagnosticType type, const QString &message) {
                QCOMPARE(level, 1U);
                QCOMPARE(type, DiagnosticType::Error);
                lines.append(message);
            },
            [] { return "PBKDF2"; }));
        const QByteArray key(32, 'k');
        const std::array<std::byte, 16> vector{};
        std::array<std::byte, 64> output{};
        const std::span room(output);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(cryptography.hmacSha512(bytes(key), bytes("m"), output), -4399);
            QCOMPARE(cryptography.md4(bytes("m"), room.first<16>()), -4399);
            QCOMPARE(cryptography.pbkdf2HmacSha1(bytes(key), bytes("s"), 1, room.first<20>()),
                     -4399);
            std::size_t moved = 99;
            QCOMPARE(cryptography.encryptAesCbc(bytes(key), vector, bytes("m"), room, moved),
                     -4399);
            QCOMPARE(moved, std::size_t{0});
            moved = 99;
            QCOMPARE(cryptography.decryptAesCbc(bytes(key), vector, bytes(QByteArray(16, 'x')),
                                                room, moved),
                     -4399);
            QCOMPARE(moved, std::size_t{0});
        }
        QCOMPARE(output, (std::array<std::byte, 64>{}));
        QCOMPARE(lines,
                 QStringList{QStringLiteral("The self-test of the cryptography failed: PBKDF2")});
        // The generator is the kernel's.
        QCOMPARE(cryptography.randomBytes(output), 0);
        QVERIFY(output != (std::array<std::byte, 64>{}));
    }

    void theSelfTestRunsOnceForAllThatShareIt()
    {
        static int runs = 0;
        const auto selfTest = std::make_shared<SelfTest>(DiagnosticSink(), []() -> const char * {
            ++runs;
            return nullptr;
        });
        QVERIFY(selfTest->passed());
        std::array<std::byte, 16> digest{};
        QCOMPARE(LinuxCryptography(selfTest).md4(bytes("m"), digest), 0);
        QCOMPARE(LinuxCryptography(selfTest).md4(bytes("m"), digest), 0);
        QCOMPARE(runs, 1);
    }

    // RFC 1320, A.5.
    void md4_data()
    {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("digest");
        const auto row = [](const char *message, const char *digest) {
            QTest::newRow(digest) << QByteArray(message) << QByteArray(digest);
        };
        row("", "31d6cfe0d16ae931b73c59d7e0c089c0");
        row("a", "bde52cb31de33e46245e05fbdbd6fb24");
        row("abc", "a448017aaf21d8525fc10ae87aa6729d");
        row("message digest", "d9130a8164549fe818874806e1c7014b");
        row("12345678901234567890123456789012345678901234567890123456789012345678901234567890",
            "e33b4ddc9c38f2199c3e7b164fcc0536");
    }
    void md4()
    {
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, digest);
        std::array<std::byte, 16> actual{};
        QCOMPARE(m_cryptography.md4(bytes(message), actual), 0);
        QCOMPARE(hex(actual), digest);
    }

    // RFC 4231, test cases 1 to 3, 6 and 7: keys shorter and longer than a block.
    void hmacSha512_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("beginning");
        QTest::newRow("1") << QByteArray(20, '\x0b') << QByteArray("Hi There")
                           << QByteArray("87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec278");
        QTest::newRow("2") << QByteArray("Jefe") << QByteArray("what do ya want for nothing?")
                           << QByteArray("164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd6");
        QTest::newRow("3") << QByteArray(20, '\xaa') << QByteArray(50, '\xdd')
                           << QByteArray("fa73b0089d56a284efb0f0756c890be9b1b5dbdd8ee81a36");
        QTest::newRow("6") << QByteArray(131, '\xaa')
                           << QByteArray("Test Using Larger Than Block-Size Key - Hash Key First")
                           << QByteArray("80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1");
    }
    void hmacSha512()
    {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, beginning);
        std::array<std::byte, 64> code{};
        QCOMPARE(m_cryptography.hmacSha512(bytes(key), bytes(message), code), 0);
        QCOMPARE(hex(code).left(beginning.size()), beginning);
    }

    // RFC 6070, cut to the first block.
    void pbkdf2_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("salt");
        QTest::addColumn<int>("rounds");
        QTest::addColumn<QByteArray>("derived");
        QTest::newRow("1") << QByteArray("password") << QByteArray("salt") << 1
                           << QByteArray("0c60c80f961f0e71f3a9b524af6012062fe037a6");
        QTest::newRow("2") << QByteArray("password") << QByteArray("salt") << 2
                           << QByteArray("ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957");
        QTest::newRow("4096") << QByteArray("password") << QByteArray("salt") << 4096
                              << QByteArray("4b007901b765489abead49d926f721d065a429c1");
        QTest::newRow("long") << QByteArray("passwordPASSWORDpassword")
                              << QByteArray("saltSALTsaltSALTsaltSALTsaltSALTsalt") << 4096
                              << QByteArray("3d2eec4fe41c849b80c8d83662c0e44a8b291a96");
    }
    void pbkdf2()
    {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, salt);
        QFETCH(int, rounds);
        QFETCH(QByteArray, derived);
        std::array<std::byte, 20> actual{};
        QCOMPARE(m_cryptography.pbkdf2HmacSha1(bytes(key), bytes(salt), rounds, actual), 0);
        QCOMPARE(hex(actual), derived);
    }

    void pbkdf2NeedsARound()
    {
        std::array<std::byte, 20> derived{};
        QCOMPARE(m_cryptography.pbkdf2HmacSha1(bytes("k"), bytes("s"), 0, derived),
                 CryptographyStatus::ParameterError);
    }

    // NIST SP 800-38A, F.2.1, F.2.3 and F.2.5, the first block.
    void aesCbc_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("ciphered");
        QTest::newRow("128") << QByteArray::fromHex("2b7e151628aed2a6abf7158809cf4f3c")
                             << QByteArray("7649abac8119b246cee98e9b12e9197d");
        QTest::newRow("192") << QByteArray::fromHex(
                                    "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b")
                             << QByteArray("4f021db243bc633d7178183a9fa071e8");
        QTest::newRow("256")
            << QByteArray::fromHex(
                   "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4")
            << QByteArray("f58c4c04d6e5f1ba779eabfb5f7bfbd6");
    }
    void aesCbc()
    {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, ciphered);
        const QByteArray vector = QByteArray::fromHex("000102030405060708090a0b0c0d0e0f");
        const QByteArray plain = QByteArray::fromHex("6bc1bee22e409f96e93d7e117393172a");
        std::array<std::byte, 64> output{};
        std::size_t moved = 0;
        QCOMPARE(m_cryptography.encryptAesCbc(bytes(key), bytes(vector).first<16>(), bytes(plain),
                                              output, moved),
                 0);
        QCOMPARE(moved, std::size_t{32});
        QCOMPARE(hex(std::span(output).first(16)), ciphered);
        std::array<std::byte, 64> back{};
        QCOMPARE(m_cryptography.decryptAesCbc(bytes(key), bytes(vector).first<16>(),
                                              std::span(output).first(moved), back, moved),
                 0);
        QCOMPARE(hex(std::span(back).first(moved)), plain.toHex());
    }

    void whatTheCipherRefuses()
    {
        const QByteArray key(32, 'k');
        const std::array<std::byte, 16> vector{};
        std::array<std::byte, 64> output{};
        std::size_t moved = 99;
        const std::span room(output);
        QCOMPARE(m_cryptography.encryptAesCbc(bytes(key.left(31)), vector, bytes("x"), room, moved),
                 CryptographyStatus::KeySizeError);
        QCOMPARE(moved, std::size_t{0});
        QCOMPARE(
            m_cryptography.encryptAesCbc(bytes(key), vector, bytes("x"), room.first(16), moved),
            CryptographyStatus::BufferTooSmall);
        QCOMPARE(m_cryptography.decryptAesCbc(bytes(key), vector, bytes(QByteArray(17, 'x')), room,
                                              moved),
                 CryptographyStatus::AlignmentError);
        QCOMPARE(m_cryptography.decryptAesCbc(bytes(key), vector, bytes(QByteArray(48, 'x')), room,
                                              moved),
                 CryptographyStatus::DecodeError);
        QCOMPARE(moved, std::size_t{0});
        // Nothing of what was decrypted before the padding turned out wrong.
        QCOMPARE(output, (std::array<std::byte, 64>{}));
    }

    void theGeneratorFillsEveryByteAnew()
    {
        std::vector<std::byte> first(100000);
        std::vector<std::byte> second(100000);
        QCOMPARE(m_cryptography.randomBytes(first), 0);
        QCOMPARE(m_cryptography.randomBytes(second), 0);
        QVERIFY(first != second);
        std::array<int, 256> counts{};
        for (const std::byte byte : first)
            ++counts[std::to_integer<std::size_t>(byte)];
        // 391 on average; 250 or 550 is more than seven standard deviations off.
        for (const int count : counts)
            QVERIFY(count > 250 && count < 550);
        QCOMPARE(m_cryptography.randomBytes({}), 0);
    }
};

QTEST_GUILESS_MAIN(tst_LinuxCryptography)
#include "tst_LinuxCryptography.moc"
