#include "platform/linux/cryptography/LinuxPublicKeyService.h"

#include <QByteArray>
#include <QTest>

#include <memory>
#include <utility>

class tst_LinuxPublicKeys : public QObject
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
    std::unique_ptr<Asn1Coder> m_coder;

private Q_SLOTS:
    void initTestCase()
    {
        auto coder = LinuxPublicKeyService().createAsn1Coder();
        QVERIFY(coder.ok());
        m_coder = std::move(coder).value();
    }

    // By hand, from X.690.
    void numbersBothWays_data()
    {
        QTest::addColumn<QByteArray>("modulus");
        QTest::addColumn<QByteArray>("exponent");
        QTest::addColumn<QByteArray>("der");
        const auto row = [](const char *modulus, const char *exponent, const char *der) {
            QTest::newRow(der) << QByteArray(modulus) << QByteArray(exponent) << QByteArray(der);
        };
        row("05", "03", "3006020105020103");
        row("7f", "010001", "300802017f0203010001");
        row("80", "03", "300702020080020103");
        row("0100", "ff", "300802020100020200ff");
        row("00", "00", "3006020100020100");
    }
    void numbersBothWays()
    {
        QFETCH(QByteArray, modulus);
        QFETCH(QByteArray, exponent);
        QFETCH(QByteArray, der);
        const QByteArray plainModulus = QByteArray::fromHex(modulus);
        const QByteArray plainExponent = QByteArray::fromHex(exponent);
        const auto encoded = m_coder->encodeRsaPublicKey(bytes(plainModulus), bytes(plainExponent));
        QVERIFY(encoded.ok());
        QCOMPARE(hex(encoded.value()), der);
        // Leading zeros do not count.
        const QByteArray longer = QByteArray(3, '\0') + plainModulus;
        QCOMPARE(hex(m_coder->encodeRsaPublicKey(bytes(longer), bytes(plainExponent)).value()),
                 der);
        const auto decoded = m_coder->decodeRsaPublicKey(encoded.value());
        QVERIFY(decoded.ok());
        QCOMPARE(hex(decoded.value().modulus), modulus);
        QCOMPARE(hex(decoded.value().exponent), exponent);
    }

    void aNumberOfNoBytesIsZero()
    {
        QCOMPARE(hex(m_coder->encodeRsaPublicKey({}, {}).value()), QByteArray("3006020100020100"));
    }

    void aFailureHasAStatusAndAText()
    {
        const QByteArray der = QByteArray::fromHex("30060201050401ff");
        const auto decoded = m_coder->decodeRsaPublicKey(bytes(der));
        QVERIFY(!decoded.ok());
        QCOMPARE(decoded.error().status, CryptographyStatus::DecodeError);
        QVERIFY(!decoded.error().description.isEmpty());
    }

    void aKeyIsRefusedForItsLengthAndItsExponent()
    {
        LinuxPublicKeyService service;
        const QByteArray modulus = QByteArray("\xc1") + QByteArray(255, '\x35');
        const auto keyOf = [&](const char *exponent, unsigned bits) {
            const QByteArray number = QByteArray::fromHex(exponent);
            const auto der = m_coder->encodeRsaPublicKey(bytes(modulus), bytes(number));
            return service.createRsaPublicKey(der.value(), bits).ok();
        };
        QVERIFY(keyOf("010001", 2048));
        QVERIFY(keyOf("03", 2048));
        QVERIFY(!keyOf("010001", 2047));
        QVERIFY(!keyOf("010001", 4096));
        QVERIFY(!keyOf("00", 2048));
        QVERIFY(!keyOf("01", 2048));
        QVERIFY(!keyOf("02", 2048));
        QVERIFY(!service.createRsaPublicKey(bytes("no DER"), 2048).ok());
    }

    void afterAFailedSelfTestThereIsNoKey()
    {
        int lines = 0;
        const auto selfTest = std::make_shared<SelfTest>(
            [&](unsigned, DiagnosticType, const QString &) { ++lines; }, [] { return "RSA"; });
        LinuxPublicKeyService service(selfTest);
        const QByteArray modulus = QByteArray("\xc1") + QByteArray(255, '\x35');
        const auto der = m_coder->encodeRsaPublicKey(bytes(modulus), bytes("\x03"));
        for (int i = 0; i < 2; ++i) {
            const auto key = service.createRsaPublicKey(der.value(), 2048);
            QVERIFY(!key.ok());
            QCOMPARE(key.error().status, CryptographyStatus::SelfTestFailed);
            QVERIFY(!key.error().description.isEmpty());
        }
        QCOMPARE(lines, 1);
    }

    void aShortBufferIsRefused()
    {
        const QByteArray modulus = QByteArray("\xc1") + QByteArray(255, '\x35');
        const auto der = m_coder->encodeRsaPublicKey(bytes(modulus), bytes("\x03"));
        const auto key = LinuxPublicKeyService().createRsaPublicKey(der.value(), 2048);
        QVERIFY(key.ok());
        QCOMPARE(key.value()->blockLength(), std::size_t{256});
        std::vector<std::byte> room(255);
        const auto refused = key.value()->encryptPkcs1(bytes("secret"), room);
        QVERIFY(!refused.ok());
        QCOMPARE(refused.error().status, CryptographyStatus::BufferTooSmall);
        room.resize(256);
        QCOMPARE(key.value()->encryptPkcs1(bytes("secret"), room).value(), std::size_t{256});
    }
};

QTEST_GUILESS_MAIN(tst_LinuxPublicKeys)
#include "tst_LinuxPublicKeys.moc"
