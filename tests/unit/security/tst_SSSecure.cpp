#include "security/SSSecure.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

#include <array>
#include <random>

class tst_SSSecure : public QObject
{
    Q_OBJECT

    static SSSecure::Bytes bytesOf(const QByteArray &data)
    {
        const auto view = SSSecure::bytes(data);
        return {view.begin(), view.end()};
    }
    static std::optional<QString> encoded(const QByteArray &data, std::uint32_t options)
    {
        return SSSecure::base32EncodedString(SSSecure::bytes(data), options);
    }
    static constexpr std::uint32_t dashes = SSSecure::base32InsertDashes;

private Q_SLOTS:
    void twentyZeroBytesEncodeToLettersA()
    {
        const QByteArray zeros(20, '\0');
        QCOMPARE(encoded(zeros, 0), QStringLiteral("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"));
        QCOMPARE(encoded(zeros, dashes), QStringLiteral("AAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA"));
    }

    void twentyBytesOfAllOnesEncodeToDigits7()
    {
        const QByteArray ones(20, '\xff');
        QCOMPARE(encoded(ones, 0), QStringLiteral("77777777777777777777777777777777"));
        QCOMPARE(encoded(ones, dashes), QStringLiteral("7777-7777-7777-7777-7777-7777-7777-7777"));
    }

    // The expected texts are the RFC 4648 encoder's of Python's base64 module.
    void encodingMatchesRfc4648_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("text");
        QTest::newRow("0 to 19") << QByteArray::fromHex("000102030405060708090a0b0c0d0e0f10111213")
                                 << QStringLiteral("AAAQEAYEAUDAOCAJBIFQYDIOB4IBCEQT");
        QTest::newRow("236 to 255")
            << QByteArray::fromHex("ecedeeeff0f1f2f3f4f5f6f7f8f9fafbfcfdfeff")
            << QStringLiteral("5TW6537Q6HZPH5HV6337R6P27P6P37X7");
        QTest::newRow("mixed") << QByteArray::fromHex("0123456789abcdeffedcba98765432100f1e2d3c")
                               << QStringLiteral("AERUKZ4JVPG677W4XKMHMVBSCAHR4LJ4");
    }
    void encodingMatchesRfc4648()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, text);
        QCOMPARE(encoded(data, 0), text);
        // Bits other than the dash option mean nothing.
        QCOMPARE(encoded(data, 0xfffffffeU), text);
    }

    void anyLengthOtherThan20BytesEncodesToNone_data()
    {
        QTest::addColumn<int>("length");
        for (const int length : {0, 1, 10, 19, 21, 32, 40})
            QTest::addRow("%d bytes", length) << length;
    }
    void anyLengthOtherThan20BytesEncodesToNone()
    {
        FakePlatform fake;
        QFETCH(int, length);
        QVERIFY(!encoded(QByteArray(length, 'x'), 0));
        QVERIFY(!encoded(QByteArray(length, 'x'), dashes));
        QVERIFY(fake.log->lines().isEmpty());
    }

    void decodingReadsLowerCase()
    {
        const auto decoded = SSSecure::initWithBase32EncodedString(
            QStringLiteral("aaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaab"));
        QByteArray expected(20, '\0');
        expected[19] = 1;
        QCOMPARE(decoded, bytesOf(expected));
    }

    // The text is upper-cased by Unicode's rules before it is read: on purpose, these two letters
    // outside ASCII count.
    void decodingReadsLettersWhoseUpperCaseIsInTheAlphabet()
    {
        const auto lastByte = [](char16_t letter) {
            const auto decoded = SSSecure::initWithBase32EncodedString(
                QStringLiteral("AAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAA") + QChar(letter));
            return decoded ? std::to_integer<int>(decoded->back()) : -1;
        };
        QCOMPARE(lastByte(u'\u0131'), 8);  // dotless i: I
        QCOMPARE(lastByte(u'\u017F'), 18); // long s: S
        // An i with a dot, by contrast, is no I.
        FakePlatform fake;
        QCOMPARE(lastByte(u'\u0130'), -1);
        QCOMPARE(fake.log->lines().size(), 1);
    }

    void decodingRefusesTheUndashedForm()
    {
        FakePlatform fake;
        QVERIFY(!SSSecure::initWithBase32EncodedString(
            QStringLiteral("aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab")));
        QVERIFY(fake.log->lines().isEmpty());
    }

    void decodingRefusesOtherLengthsInSilence()
    {
        FakePlatform fake;
        QVERIFY(!SSSecure::initWithBase32EncodedString(std::nullopt));
        QVERIFY(!SSSecure::initWithBase32EncodedString(QString()));
        QVERIFY(!SSSecure::initWithBase32EncodedString(QString(38, QLatin1Char('A'))));
        QVERIFY(!SSSecure::initWithBase32EncodedString(QString(40, QLatin1Char('A'))));
        QVERIFY(fake.log->lines().isEmpty());
    }

    void aDashAtPosition3IsInvalid()
    {
        FakePlatform fake;
        const QString text = QStringLiteral("aaa-aaaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaaa");
        QVERIFY(!SSSecure::initWithBase32EncodedString(text));
        QCOMPARE(fake.log->lines(), QStringList{QStringLiteral(
                                        "[Error]: initWithBase32EncodedString: dash is "
                                        "invalid. (3, aaa-aaaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaaa)")});
    }

    void dashesAreAllowedAtTheirSevenPositionsOnly()
    {
        FakePlatform fake;
        for (qsizetype p = 0; p < 39; ++p) {
            QString text(39, QLatin1Char('A'));
            text[p] = QLatin1Char('-');
            QCOMPARE(SSSecure::initWithBase32EncodedString(text).has_value(), p % 5 == 4);
        }
    }

    void charactersOutsideTheAlphabetAreInvalidAnywhere_data()
    {
        QTest::addColumn<QChar>("character");
        QTest::newRow("0") << QChar(u'0');
        QTest::newRow("1") << QChar(u'1');
        QTest::newRow("8") << QChar(u'8');
        QTest::newRow("9") << QChar(u'9');
        QTest::newRow("fill character") << QChar(u'=');
        QTest::newRow("blank") << QChar(u' ');
        QTest::newRow("U+0000") << QChar(u'\0');
        QTest::newRow("e acute") << QChar(u'\u00e9');
        QTest::newRow("full-width A") << QChar(u'\uff21');
        QTest::newRow("lone surrogate") << QChar(0xd83d);
    }
    void charactersOutsideTheAlphabetAreInvalidAnywhere()
    {
        FakePlatform fake;
        QFETCH(QChar, character);
        for (qsizetype p = 0; p < 39; ++p) {
            fake.log->clear();
            QString text = QStringLiteral("AAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA");
            text[p] = character;
            QVERIFY(!SSSecure::initWithBase32EncodedString(text));
            QCOMPARE(fake.log->lines().size(), 1);
            QVERIFY(fake.log->lines().first().startsWith(
                QStringLiteral("[Error]: initWithBase32EncodedString: character is invalid. (%1, ")
                    .arg(p)));
        }
    }

    void theInvalidTextIsLoggedAsPassedIn()
    {
        FakePlatform fake;
        QVERIFY(!SSSecure::initWithBase32EncodedString(
            QStringLiteral("aaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaa0")));
        QCOMPARE(fake.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: initWithBase32EncodedString: character is invalid. (38, "
                     "aaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaaa-aaa0)")});
    }

    // Position 4 has the data index of position 5: "B" there is the bit of value 1 of index 4.
    void aLetterAtADashPositionFallsOnTheNextCharactersBits()
    {
        const auto atDash = SSSecure::initWithBase32EncodedString(
            QStringLiteral("AAAABAAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA"));
        const auto after = SSSecure::initWithBase32EncodedString(
            QStringLiteral("AAAA-BAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA"));
        QVERIFY(atDash);
        QCOMPARE(atDash, after);
        // Index 4 covers bits 20 to 24; its lowest is bit 24, the highest of byte 3.
        QByteArray expected(20, '\0');
        expected[3] = '\x80';
        QCOMPARE(atDash, bytesOf(expected));

        const auto both = SSSecure::initWithBase32EncodedString(
            QStringLiteral("AAAABCAAA-AAAA-AAAA-AAAA-AAAA-AAAA-AAAA"));
        expected[2] = 1; // "C" is 2: bit 23
        QCOMPARE(both, bytesOf(expected));
    }

    void encodingThenDecodingGivesTheSameBytes()
    {
        std::mt19937 random(20210304); // the same cases every time
        for (int round = 0; round < 5000; ++round) {
            std::array<std::byte, 20> data{};
            for (std::byte &byte : data)
                byte = static_cast<std::byte>(random());
            const auto text = SSSecure::base32EncodedString(data, dashes);
            QVERIFY(text && text->size() == 39);
            const auto decoded = SSSecure::initWithBase32EncodedString(text);
            QVERIFY(decoded);
            QVERIFY(std::equal(decoded->begin(), decoded->end(), data.begin(), data.end()));
        }
    }

    void everySingleBitSurvivesTheRoundTrip()
    {
        for (std::size_t bit = 0; bit < 160; ++bit) {
            std::array<std::byte, 20> data{};
            data[bit / 8] = static_cast<std::byte>(0x80U >> bit % 8);
            const auto decoded =
                SSSecure::initWithBase32EncodedString(SSSecure::base32EncodedString(data, dashes));
            QVERIFY(decoded);
            QVERIFY(std::equal(decoded->begin(), decoded->end(), data.begin(), data.end()));
        }
    }

    // The values are those published with the hash.
    void fnv1()
    {
        const auto hash = [](const QByteArray &text) {
            return SSSecure::fnv1Hash(SSSecure::bytes(text).data(), text.size());
        };
        QCOMPARE(hash("a"), 0x050c5d7eU);
        QCOMPARE(hash(""), 0x811c9dc5U);
        QCOMPARE(hash("foobar"), 0x31f0b262U);
        QCOMPARE(SSSecure::fnv1Hash(nullptr, 0), 0x811c9dc5U);
        QCOMPARE(SSSecure::fnv1Hash(nullptr, -5), 0x811c9dc5U);
    }

    void byteReversal_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("reversed");
        QTest::newRow("none") << QByteArray() << QByteArray();
        QTest::newRow("one") << QByteArray("a") << QByteArray("a");
        QTest::newRow("two") << QByteArray("ab") << QByteArray("ba");
        QTest::newRow("odd") << QByteArray("abc") << QByteArray("cba");
        QTest::newRow("even") << QByteArray("abcd") << QByteArray("dcba");
    }
    void byteReversal()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, reversed);
        SSSecure::Bytes data = bytesOf(bytes);
        SSSecure::reverseBytes(data.data(), data.size());
        QCOMPARE(data, bytesOf(reversed));
    }

    void secureFreeZeroesABufferAndKeepsItsLength()
    {
        SSSecure::Bytes data = bytesOf("secret");
        SSSecure::secureFree(data);
        QCOMPARE(data, SSSecure::Bytes(6));

        std::array<std::byte, 3> array{std::byte{1}, std::byte{2}, std::byte{3}};
        SSSecure::secureFree(std::span(array).first(2));
        QCOMPARE(array[0], std::byte{0});
        QCOMPARE(array[1], std::byte{0});
        QCOMPARE(array[2], std::byte{3});
    }

    void secureFreeWipesTheStorageThatByteArraysShare()
    {
        QByteArray secret(6, 's');
        const QByteArray sharer = secret;
        const char *storage = sharer.constData();
        SSSecure::secureFree(secret);
        QCOMPARE(secret.constData(), storage);
        QCOMPARE(sharer, QByteArray(6, '\0'));
        QCOMPARE(secret.size(), 6);
    }

    void secureFreeLeavesStorageThatIsNotTheArraysOwn()
    {
        static const char constant[] = "secret";
        QByteArray raw = QByteArray::fromRawData(constant, 6);
        SSSecure::secureFree(raw);
        QCOMPARE(raw, QByteArray(6, '\0'));
        QCOMPARE(constant, "secret");

        QByteArray empty;
        SSSecure::secureFree(empty);
        QVERIFY(empty.isEmpty());
    }

    void secureFreeWipesATextInPlace()
    {
        QString text(4, QLatin1Char('p'));
        const QString sharer = text;
        SSSecure::secureFree(text);
        QCOMPARE(sharer, QString(4, QChar(u'\0')));
        QString literal = QStringLiteral("literal");
        SSSecure::secureFree(literal);
        QCOMPARE(literal, QString(7, QChar(u'\0')));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecure)
#include "tst_SSSecure.moc"
