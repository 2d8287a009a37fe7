#include "security/SSPublicKeyCoder.h"
#include "tests/unit/security/OfflineTestSupport.h"

#include <type_traits>
#include <utility>

static_assert(!std::is_copy_constructible_v<SSPublicKeyCoder>);

namespace {

using Bytes = std::vector<std::byte>;

CryptographyError planned()
{
    return {-7, QStringLiteral("planned failure")};
}

/// Answers what the test wants.
struct Answers
{
    bool refusesCoder = false;
    int codersMade = 0;
    std::optional<Bytes> encoded; ///< none: a failure
    std::optional<RsaPublicNumbers> decoded;
};

class AnsweringCoder final : public Asn1Coder
{
public:
    explicit AnsweringCoder(const Answers &answers) : m_answers(answers) {}
    Result<Bytes, CryptographyError> encodeRsaPublicKey(std::span<const std::byte>,
                                                        std::span<const std::byte>) override
    {
        if (!m_answers.encoded)
            return Failure{planned()};
        return *m_answers.encoded;
    }
    Result<RsaPublicNumbers, CryptographyError>
    decodeRsaPublicKey(std::span<const std::byte>) override
    {
        if (!m_answers.decoded)
            return Failure{planned()};
        return *m_answers.decoded;
    }

private:
    const Answers &m_answers;
};

class AnsweringService final : public PublicKeyService, public Answers
{
public:
    Result<std::unique_ptr<Asn1Coder>, CryptographyError> createAsn1Coder() override
    {
        if (refusesCoder)
            return Failure{planned()};
        ++codersMade;
        return std::unique_ptr<Asn1Coder>(std::make_unique<AnsweringCoder>(*this));
    }
    Result<std::unique_ptr<RsaPublicKey>, CryptographyError>
    createRsaPublicKey(std::span<const std::byte>, unsigned) override
    {
        return Failure{planned()};
    }
};

} // namespace

class tst_SSPublicKeyCoder : public QObject
{
    Q_OBJECT

    /// Header fields as they stand in the blob, then `length` bytes of modulus.
    static QByteArray blob(const QByteArray &bits = "00080000", qsizetype modulusLength = 256,
                           const QByteArray &exponent = "01000100")
    {
        QByteArray modulus(modulusLength, '\0');
        for (qsizetype i = 0; i < modulusLength; ++i)
            modulus[i] = static_cast<char>(3 * i + 1);
        modulus.back() = '\xc1'; // the most significant one
        return QByteArray::fromHex("0602000000a4000052534131" + bits + exponent) + modulus;
    }
    static QStringList errors(const QStringList &texts)
    {
        QStringList result;
        for (const QString &text : texts)
            result.append(QStringLiteral("[Error]: ") + text);
        return result;
    }
    /// DER by hand: a sequence of two integers of the given contents.
    static QByteArray der(const QByteArray &modulus, const QByteArray &exponent)
    {
        const auto element = [](char tag, const QByteArray &contents) {
            QByteArray length;
            if (contents.size() < 0x80) {
                length.append(static_cast<char>(contents.size()));
            } else {
                length.append('\x82');
                length.append(static_cast<char>(contents.size() >> 8));
                length.append(static_cast<char>(contents.size() & 0xff));
            }
            return tag + length + contents;
        };
        return element('\x30', element('\x02', modulus) + element('\x02', exponent));
    }

private Q_SLOTS:
    void everyWrongFieldHasItsMessage_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("message");
        const auto row = [](const char *name, const QByteArray &data, const char *message) {
            QTest::newRow(name) << data << QString::fromLatin1(message);
        };
        const auto changed = [](qsizetype at, char value) {
            QByteArray result = blob();
            result[at] = value;
            return result;
        };
        row("empty", QByteArray(""), "Public key size is invalid.");
        row("header alone", blob().left(20), "Public key size is invalid.");
        row("blob type", changed(0, '\x07'), "Public key header blob type is invalid. (0x7)");
        row("version", changed(1, '\x03'), "Public key header version is invalid. (0x3)");
        row("algorithm", changed(5, '\x24'), "Public key header algorithm is invalid. (0x2400)");
        row("algorithm's high bytes", changed(7, '\x80'),
            "Public key header algorithm is invalid. (0x8000a400)");
        row("magic of a private key", changed(11, '\x32'),
            "Public key header magic is invalid. (0x32415352)");
        row("negative number of bits", blob("ffffffff"),
            "Public key header key length is invalid. (-1)");
        row("4096 bits", blob("00100000", 512), "Public key header key length is invalid. (4096)");
        row("one byte of modulus", blob().left(21),
            "Public key actual key size is invalid. (276 != 21)");
        // The first fault counts.
        QByteArray all = blob("00040000", 100);
        all[1] = '\0';
        all[4] = '\1';
        row("several", all, "Public key header version is invalid. (0x0)");
    }
    void everyWrongFieldHasItsMessage()
    {
        OfflinePlatform fake;
        QFETCH(QByteArray, data);
        QFETCH(QString, message);
        SSPublicKeyCoder coder;
        QVERIFY(!coder.validateMsData(*secure(data)));
        QCOMPARE(fake.log->lines(), errors({message}));
        fake.log->clear();
        QVERIFY(!SSPublicKeyCoder::derDataFromMsData(secure(data).get()));
        QCOMPARE(fake.log->lines(),
                 errors({message, QStringLiteral("Public key data is invalid.")}));
    }

    void a1024BitBlobIsRefusedForItsKeyLength()
    {
        OfflinePlatform fake;
        const QByteArray data = blob("00040000", 128);
        QCOMPARE(data.size(), 148);
        QVERIFY(!SSPublicKeyCoder().validateMsData(*secure(data)));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Public key header key length is invalid. (1024)")}));
    }

    void aByteTooFewOrTooManyIsRefusedForItsSize()
    {
        OfflinePlatform fake;
        SSPublicKeyCoder coder;
        QVERIFY(!coder.validateMsData(*secure(blob().left(275))));
        QVERIFY(!coder.validateMsData(*secure(blob() + '\0')));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Public key actual key size is invalid. (276 != 275)"),
                         QStringLiteral("Public key actual key size is invalid. (276 != 277)")}));
        QVERIFY(coder.validateMsData(*secure(blob())));
    }

    void theReservedBytesAreIgnoredAndWrittenAsZeros()
    {
        OfflinePlatform fake;
        QByteArray data = blob();
        data[2] = '\x12';
        data[3] = '\x34';
        const auto written = SSPublicKeyCoder::derDataFromMsData(secure(data).get());
        QVERIFY(written);
        QCOMPARE(hex(SSPublicKeyCoder::msDataFromDerData(written.get())), hex(secure(blob())));
    }

    void theExponent65537BecomesItsInteger()
    {
        OfflinePlatform fake;
        const auto written = SSPublicKeyCoder::derDataFromMsData(secure(blob()).get());
        QVERIFY(written);
        QVERIFY(hex(written).endsWith(QStringLiteral("0203010001")));
    }

    void theModulusIsUnsignedAndBigEndian()
    {
        OfflinePlatform fake;
        const QByteArray data = blob();
        QByteArray modulus = data.mid(20);
        std::reverse(modulus.begin(), modulus.end());
        QCOMPARE(hex(SSPublicKeyCoder::derDataFromMsData(secure(data).get())),
                 hex(secure(der(QByteArray(1, '\0') + modulus, QByteArray::fromHex("010001")))));
    }

    void blobToDerToBlobGivesTheSameBytes_data()
    {
        QTest::addColumn<QByteArray>("exponent");
        for (const char *exponent :
             {"01000100", "03000000", "00000000", "80000000", "ff000000", "00000080", "ffffffff"})
            QTest::newRow(exponent) << QByteArray(exponent);
    }
    void blobToDerToBlobGivesTheSameBytes()
    {
        OfflinePlatform fake;
        QFETCH(QByteArray, exponent);
        const auto data = secure(blob("00080000", 256, exponent));
        const auto written = SSPublicKeyCoder::derDataFromMsData(data.get());
        QVERIFY(written);
        QCOMPARE(hex(SSPublicKeyCoder::msDataFromDerData(written.get())), hex(data));
        QVERIFY(fake.log->lines().isEmpty());
    }

    void aDerKeyWithAnExponentOfFiveBytesIsRefused()
    {
        OfflinePlatform fake;
        const auto data = secure(der(QByteArray(256, '\x11'), QByteArray::fromHex("0100000001")));
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(data.get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Invalid decoded macPublicKey key exponent data. (5)")}));
    }

    void aDerKeyWithAModulusOfMoreThan4096BytesIsRefused()
    {
        OfflinePlatform fake;
        const auto longest = SSPublicKeyCoder::msDataFromDerData(
            secure(der(QByteArray(4096, '\x11'), "\x03")).get());
        QVERIFY(longest);
        QCOMPARE(longest->length(), std::size_t{4116});
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(
            secure(der(QByteArray(4097, '\x11'), "\x03")).get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Invalid decoded macPublicKey key data. (4097)")}));
    }

    void aShorterKeysBlobHasItsOwnNumberOfBits()
    {
        OfflinePlatform fake;
        const auto written = SSPublicKeyCoder::msDataFromDerData(
            secure(der(QByteArray::fromHex("0102030405"), "\x03")).get());
        QCOMPARE(hex(written), QStringLiteral("0602000000a4000052534131") +
                                   QStringLiteral("28000000") + QStringLiteral("03000000") +
                                   QStringLiteral("0504030201"));
    }

    void whatIsNoKeyInDerIsRefused_data()
    {
        QTest::addColumn<QByteArray>("data");
        const QByteArray modulus(256, '\x11');
        const QByteArray whole = der(modulus, "\x03");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("cut") << whole.chopped(1);
        QTest::newRow("more behind") << whole + '\0';
        QTest::newRow("no sequence") << QByteArray::fromHex("020103");
        QTest::newRow("one number") << QByteArray::fromHex("3003020103");
        QTest::newRow("three numbers") << QByteArray::fromHex("3009020105020103020107");
        QTest::newRow("text for a number") << QByteArray::fromHex("3006020105040103");
        QTest::newRow("negative exponent") << der(modulus, "\xfd");
        QTest::newRow("negative modulus") << der(QByteArray(256, '\x91'), "\x03");
        QTest::newRow("needless zero") << der(QByteArray::fromHex("0011"), "\x03");
        QTest::newRow("number of no bytes") << der("", "\x03");
        QTest::newRow("indefinite length") << QByteArray::fromHex("30800201050201030000");
        QTest::newRow("long form of a short length") << QByteArray::fromHex("308106020105020103");
        QTest::newRow("endless length") << QByteArray::fromHex("3084ffffffff020105020103");
        QTest::newRow("certificate's form") << QByteArray::fromHex("300c300a06082a864886f70d0101");
    }
    void whatIsNoKeyInDerIsRefused()
    {
        OfflinePlatform fake;
        QFETCH(QByteArray, data);
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(secure(data).get()));
        QCOMPARE(fake.log->lines().size(), 1);
        QVERIFY(fake.log->lines().first().startsWith(
            QStringLiteral("[Error]: Unable decode macPublicKey: ")));
    }

    void missingDataIsToldWithBothValues()
    {
        OfflinePlatform fake;
        QVERIFY(!SSPublicKeyCoder::derDataFromMsData(nullptr));
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(nullptr));
        QVERIFY(!SSPublicKeyCoder::secKeyWithMsData(nullptr));
        const QString line = QStringLiteral("Fail with info: (0x<SSPublicKeyCoder>, 0x(null))");
        QCOMPARE(fake.log->lines(), errors({line, line, line}));
    }

    void aMissingCoderFailsTheConversion()
    {
        OfflinePlatform fake;
        const auto service = std::make_shared<AnsweringService>();
        service->refusesCoder = true;
        fake.platform.publicKeys = service;
        QVERIFY(!SSPublicKeyCoder::derDataFromMsData(secure(blob()).get()));
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(secure("x").get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Unable create Asn1Coder: planned failure"),
                         QStringLiteral("Unable decode msPublicKey: There is no ASN.1 coder."),
                         QStringLiteral("Unable create Asn1Coder: planned failure"),
                         QStringLiteral("Unable decode macPublicKey: There is no ASN.1 coder.")}));
    }

    void theCoderIsMadeOnceAndStaysAfterAFailure()
    {
        OfflinePlatform fake;
        const auto service = std::make_shared<AnsweringService>();
        fake.platform.publicKeys = service;
        SSPublicKeyCoder coder;
        QCOMPARE(service->codersMade, 0);
        QVERIFY(!coder.derDataFromMsDataImpl(secure(blob()).get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Unable decode msPublicKey: planned failure")}));
        QCOMPARE(service->codersMade, 1);
        QVERIFY(!coder.msDataFromDerDataImpl(secure("x").get()));
        QCOMPARE(service->codersMade, 1);
        coder.releaseCoder();
        coder.createCoder();
        QCOMPARE(service->codersMade, 2);
    }

    void derOfNoBytesOrTooManyIsRefused()
    {
        OfflinePlatform fake;
        const auto service = std::make_shared<AnsweringService>();
        fake.platform.publicKeys = service;
        SSPublicKeyCoder coder;
        service->encoded = Bytes();
        QVERIFY(!coder.derDataFromMsDataImpl(secure(blob()).get()));
        service->encoded = Bytes(4097);
        QVERIFY(!coder.derDataFromMsDataImpl(secure(blob()).get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Invalid decoded msPublicKey data."),
                         QStringLiteral("Invalid decoded msPublicKey max data size.")}));
        service->encoded = Bytes(4096);
        QVERIFY(coder.derDataFromMsDataImpl(secure(blob()).get()));
    }

    void numbersOfNoBytesAreRefused()
    {
        OfflinePlatform fake;
        const auto service = std::make_shared<AnsweringService>();
        fake.platform.publicKeys = service;
        service->decoded = RsaPublicNumbers{{}, Bytes(1)};
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(secure("x").get()));
        service->decoded = RsaPublicNumbers{Bytes(1), {}};
        QVERIFY(!SSPublicKeyCoder::msDataFromDerData(secure("x").get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Invalid decoded macPublicKey key data. (0)"),
                         QStringLiteral("Invalid decoded macPublicKey key exponent data. (0)")}));
    }

    void aKeyThatThePlatformRefusesGivesNone()
    {
        OfflinePlatform fake;
        const auto service = std::make_shared<AnsweringService>();
        fake.platform.publicKeys = service;
        service->encoded = Bytes(10);
        QVERIFY(!SSPublicKeyCoder::secKeyWithMsData(secure(blob()).get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Unable get public key from data. planned failure")}));
    }

    void aBadBlobGivesNoKeyAndOnlyItsOwnLines()
    {
        OfflinePlatform fake;
        QVERIFY(!SSPublicKeyCoder::secKeyWithMsData(secure(blob().left(275)).get()));
        QCOMPARE(fake.log->lines(),
                 errors({QStringLiteral("Public key actual key size is invalid. (276 != 275)"),
                         QStringLiteral("Public key data is invalid.")}));
    }
};

QTEST_GUILESS_MAIN(tst_SSPublicKeyCoder)
#include "tst_SSPublicKeyCoder.moc"
