#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <type_traits>

static_assert(!std::is_copy_constructible_v<SSSecureData>);
static_assert(!std::is_copy_assignable_v<SSSecureData>);

class tst_SSSecureData : public QObject
{
    Q_OBJECT

    static SSSecure::Bytes secret() { return {std::byte{1}, std::byte{2}, std::byte{3}}; }
    static SSSecure::Bytes contents(const SSSecureData &data)
    {
        return {data.data().begin(), data.data().end()};
    }
    static QByteArray text(const SSSecureData &data)
    {
        return {reinterpret_cast<const char *>(data.bytes()),
                static_cast<qsizetype>(data.length())};
    }

private Q_SLOTS:
    void aReleasedObjectLeavesTheAdoptedBufferZeroed()
    {
        const auto buffer = std::make_shared<SSSecure::Bytes>(secret());
        auto data = SSSecureData::initWithData(buffer);
        QCOMPARE(data->bytes(), static_cast<const std::byte *>(buffer->data()));
        QCOMPARE(*buffer, secret());
        data.reset();
        QCOMPARE(*buffer, SSSecure::Bytes(3));
    }

    void aMovedBufferIsAdoptedWithoutACopy()
    {
        SSSecure::Bytes buffer = secret();
        const std::byte *storage = buffer.data();
        const auto data = SSSecureData::initWithData(std::move(buffer));
        QCOMPARE(data->bytes(), storage);
        QCOMPARE(contents(*data), secret());
    }

    void anAbsentBufferGivesAnObjectOfNoBytes()
    {
        const auto data = SSSecureData::initWithData(std::shared_ptr<SSSecure::Bytes>());
        QCOMPARE(data->length(), std::size_t{0});
        QVERIFY(data->data().empty());
        data->secureFree();
        QCOMPARE(data->base64EncodedString(), QString());
    }

    void dataWithDataCopies()
    {
        const SSSecure::Bytes own = secret();
        auto data = SSSecureData::dataWithData(own);
        QVERIFY(data->bytes() != own.data());
        data.reset();
        QCOMPARE(own, secret());
        QVERIFY(!SSSecureData::dataWithData(std::nullopt));
        // Empty is not absent.
        QVERIFY(SSSecureData::dataWithData(std::span<const std::byte>()));
    }

    void dataWithBytesCopiesTheGivenLength()
    {
        const SSSecure::Bytes own = secret();
        const auto data = SSSecureData::dataWithBytes(own.data(), 2);
        QCOMPARE(contents(*data), (SSSecure::Bytes{std::byte{1}, std::byte{2}}));
        QCOMPARE(SSSecureData::dataWithBytes(nullptr, 0)->length(), std::size_t{0});
    }

    void dataWithMutableSecureDataCopies()
    {
        auto source = SSMutableSecureData::initWithData(secret());
        const auto data = SSSecureData::dataWithMutableSecureData(source.get());
        source.reset();
        QCOMPARE(contents(*data), secret());
        QVERIFY(!SSSecureData::dataWithMutableSecureData(nullptr));
    }

    void secureFreeZeroesAndTheObjectStaysUsable()
    {
        const auto data = SSSecureData::initWithData(secret());
        data->secureFree();
        QCOMPARE(data->length(), std::size_t{3});
        QCOMPARE(contents(*data), SSSecure::Bytes(3));
        QCOMPARE(data->base64EncodedString(), QStringLiteral("AAAA"));
    }

    void equality()
    {
        const auto data = SSSecureData::initWithData(secret());
        QVERIFY(data->isEqualToSecureData(data.get()));
        QVERIFY(data->isEqualToSecureData(SSSecureData::initWithData(secret()).get()));
        for (std::size_t i = 0; i < 3; ++i) {
            SSSecure::Bytes other = secret();
            other[i] ^= std::byte{0x80};
            QVERIFY(!data->isEqualToSecureData(SSSecureData::dataWithData(other).get()));
        }
        QVERIFY(
            !data->isEqualToSecureData(SSSecureData::dataWithData(data->data().first(2)).get()));
        QVERIFY(!data->isEqualToSecureData(nullptr));
        QVERIFY(SSSecureData::initWithData(SSSecure::Bytes())
                    ->isEqualToSecureData(
                        SSSecureData::initWithData(std::shared_ptr<SSSecure::Bytes>()).get()));
    }

    void randomKeysHaveTheirLengthsAndTheGeneratorsBytes()
    {
        FakePlatform fake;
        const auto session = SSSecureData::sessionKeyRandomGenerated();
        QCOMPARE(session->length(), std::size_t{128});
        for (std::size_t i = 0; i < 128; ++i)
            QCOMPARE(session->bytes()[i], static_cast<std::byte>(i + 1));
        const auto aes = SSSecureData::aesKeyRandomGenerated();
        QCOMPARE(aes->length(), std::size_t{32});
        QCOMPARE(aes->bytes()[0], std::byte{129});
        QVERIFY(fake.log->lines().isEmpty());
    }

    void aFailingGeneratorGivesNoKeyAndALine()
    {
        FakePlatform fake;
        fake.cryptography->status = -50;
        QVERIFY(!SSSecureData::sessionKeyRandomGenerated());
        QVERIFY(!SSSecureData::aesKeyRandomGenerated());
        QCOMPARE(
            fake.log->lines(),
            (QStringList{QStringLiteral("[Error]: Unable generate random session key. error: -50"),
                         QStringLiteral("[Error]: Unable generate random AES key. error: -50")}));
    }

    // RFC 4648, section 10.
    void base64Vectors_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("empty") << QByteArray("") << QString();
        QTest::newRow("f") << QByteArray("f") << QStringLiteral("Zg==");
        QTest::newRow("fo") << QByteArray("fo") << QStringLiteral("Zm8=");
        QTest::newRow("foo") << QByteArray("foo") << QStringLiteral("Zm9v");
        QTest::newRow("foob") << QByteArray("foob") << QStringLiteral("Zm9vYg==");
        QTest::newRow("fooba") << QByteArray("fooba") << QStringLiteral("Zm9vYmE=");
        QTest::newRow("foobar") << QByteArray("foobar") << QStringLiteral("Zm9vYmFy");
        QTest::newRow("both marks") << QByteArray::fromHex("fbffbf") << QStringLiteral("+/+/");
    }
    void base64Vectors()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, encoded);
        QCOMPARE(SSSecureData::dataWithData(SSSecure::bytes(data))->base64EncodedString(), encoded);
        QCOMPARE(text(*SSSecureData::initWithBase64EncodedString(encoded)), data);
    }

    void base64AgreesWithQtOnEveryByteAndLength()
    {
        QByteArray data;
        for (int i = 0; i < 260; ++i) {
            const QString expected = QString::fromLatin1(data.toBase64());
            const auto secure = SSSecureData::dataWithData(SSSecure::bytes(data));
            QCOMPARE(secure->base64EncodedString(), expected);
            QCOMPARE(text(*SSSecureData::initWithBase64EncodedString(expected)), data);
            data.append(static_cast<char>(i));
        }
    }

    void invalidBase64GivesAnEmptyObject_data()
    {
        QTest::addColumn<QString>("encoded");
        QTest::newRow("no fill characters") << QStringLiteral("Zg");
        QTest::newRow("one fill character short") << QStringLiteral("Zg=");
        QTest::newRow("one fill character too many") << QStringLiteral("Zm8==");
        QTest::newRow("fill in the middle") << QStringLiteral("Zg==Zm9v");
        QTest::newRow("fill before a letter") << QStringLiteral("Zm=v");
        QTest::newRow("fill alone") << QStringLiteral("====");
        QTest::newRow("three fill characters") << QStringLiteral("Z===");
        QTest::newRow("line end") << QStringLiteral("Zm9v\nZm9v");
        QTest::newRow("blank behind") << QStringLiteral("Zm9v ");
        QTest::newRow("URL alphabet") << QStringLiteral("-_-_");
        QTest::newRow("not ASCII") << QStringLiteral("Zm9\u0176");
        QTest::newRow("invalid after valid groups") << QStringLiteral("Zm9vYmFy!");
    }
    void invalidBase64GivesAnEmptyObject()
    {
        QFETCH(QString, encoded);
        const auto data = SSSecureData::initWithBase64EncodedString(encoded);
        QVERIFY(data);
        QCOMPARE(data->length(), std::size_t{0});
    }

    void absentBase64GivesAnEmptyObject()
    {
        QCOMPARE(SSSecureData::initWithBase64EncodedString(std::nullopt)->length(), std::size_t{0});
    }

    void unknownCharactersCanBeIgnored()
    {
        QCOMPARE(
            text(*SSSecureData::initWithBase64EncodedString(
                QStringLiteral(" Zm9v\r\nYg-=\t= "), SSBase64Decoding::IgnoreUnknownCharacters)),
            QByteArray("foob"));
        QCOMPARE(SSSecureData::initWithBase64EncodedString(
                     QStringLiteral("Zm9vYg"), SSBase64Decoding::IgnoreUnknownCharacters)
                     ->length(),
                 std::size_t{0});
    }

    // The expected text of the 76-character lines is the MIME encoder's of Python's base64 module.
    void linesOfBase64()
    {
        QByteArray bytes;
        for (int i = 0; i < 100; ++i)
            bytes.append(static_cast<char>(i));
        const auto data = SSSecureData::dataWithData(SSSecure::bytes(bytes));
        const QString mime = QStringLiteral(
            "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4\n"
            "OTo7PD0+P0BBQkNERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiYw==");
        QCOMPARE(data->base64EncodedString(SSBase64Encoding::LineLength76 |
                                           SSBase64Encoding::EndLineWithLineFeed),
                 mime);
        QCOMPARE(data->base64EncodedString(SSBase64Encoding::LineLength76),
                 QString(mime).replace(QLatin1Char('\n'), QLatin1String("\r\n")));
        QCOMPARE(data->base64EncodedString(SSBase64Encoding::LineLength76 |
                                           SSBase64Encoding::EndLineWithCarriageReturn),
                 QString(mime).replace(QLatin1Char('\n'), QLatin1Char('\r')));
        const QString joined = QString(mime).remove(QLatin1Char('\n'));
        QCOMPARE(data->base64EncodedString(SSBase64Encoding::LineLength64 |
                                           SSBase64Encoding::EndLineWithLineFeed),
                 joined.mid(0, 64) + QLatin1Char('\n') + joined.mid(64, 64) + QLatin1Char('\n') +
                     joined.mid(128));
        // A text that fills its line has no line end.
        const auto full = SSSecureData::dataWithData(SSSecure::bytes(bytes).first(48));
        QCOMPARE(full->base64EncodedString(SSBase64Encoding::LineLength64), joined.left(64));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureData)
#include "tst_SSSecureData.moc"
