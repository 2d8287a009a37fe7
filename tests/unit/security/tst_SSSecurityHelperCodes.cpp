#include "tests/unit/security/SecurityHelperTestSupport.h"

/// The codes of an offline reset: what a request looks like and needs, and which responses are
/// refused.
class tst_SSSecurityHelperCodes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // The request code.

    void aRequestBeginsWithTheRandomNumberItsMarkAndTheRid()
    {
        OfflinePlatform fake; // draws 01 02 03 04
        quint32 random = 0;
        const auto code = SSSecurityHelper::generateRequestCodeDataWithComputerRID(
            1, sessionKey().get(), &random);
        QVERIFY(code);
        QCOMPARE(code->length(), std::size_t{20});
        QCOMPARE(random, 0x04030201U);
        QVERIFY(hex(code).startsWith(QStringLiteral("010203040000020304")));
    }

    void aRequestNeedsNoPlaceForTheRandomNumber()
    {
        OfflinePlatform fake;
        const auto text =
            SSSecurityHelper::generateRequestCodeWithComputerRID(1, sessionKey().get(), nullptr);
        QVERIFY(text);
        QCOMPARE(text->size(), 39);
        QVERIFY(text->startsWith(QStringLiteral("AEBA-GBAA-AABA-GB")));
    }

    void everyRequestDrawsItsOwnNumber()
    {
        OfflinePlatform fake;
        quint32 first = 0;
        quint32 second = 0;
        const auto one =
            SSSecurityHelper::generateRequestCodeWithComputerRID(7, sessionKey().get(), &first);
        const auto two =
            SSSecurityHelper::generateRequestCodeWithComputerRID(7, sessionKey().get(), &second);
        QVERIFY(one && two && *one != *two);
        QCOMPARE(second, 0x08070605U);
    }

    void aRequestIsRefused_data()
    {
        QTest::addColumn<quint32>("rid");
        QTest::addColumn<int>("keyLength"); // -1: no key
        QTest::addColumn<QString>("message");
        QTest::newRow("no RID") << 0U << 128
                                << QStringLiteral(
                                       "Unable generate request code. Invalid computer RID.");
        QTest::newRow("neither RID nor key")
            << 0U << -1 << QStringLiteral("Unable generate request code. Invalid computer RID.");
        QTest::newRow("no key") << 1U << -1
                                << QStringLiteral(
                                       "Unable generate request code. Session key is absent.");
        for (const int length : {0, 127, 129}) {
            QTest::addRow("key of %d bytes", length)
                << 1U << length
                << QStringLiteral("Unable generate request code. Session key size is "
                                  "incorrect. Size: %1")
                       .arg(length);
        }
    }
    void aRequestIsRefused()
    {
        OfflinePlatform fake;
        QFETCH(quint32, rid);
        QFETCH(int, keyLength);
        QFETCH(QString, message);
        const auto key = keyLength < 0 ? nullptr : secure(QByteArray(keyLength, 'k'));
        quint32 random = 77;
        QVERIFY(!SSSecurityHelper::generateRequestCodeDataWithComputerRID(rid, key.get(), &random));
        QCOMPARE(fake.log->lines(), error(message));
        QCOMPARE(random, 77U);
        fake.log->clear();
        QVERIFY(!SSSecurityHelper::generateRequestCodeWithComputerRID(rid, key.get(), &random));
        QCOMPARE(fake.log->lines(), error(message));
    }

    void aFailingGeneratorGivesNoRequest()
    {
        OfflinePlatform fake;
        fake.cryptography->status = -50;
        quint32 random = 77;
        QVERIFY(
            !SSSecurityHelper::generateRequestCodeWithComputerRID(1, sessionKey().get(), &random));
        QCOMPARE(fake.log->lines(), error("Unable generate request code. Unable generate random "
                                          "number. error: -50"));
        QCOMPARE(random, 77U);
    }

    void aFailingHmacGivesNoRequest()
    {
        OfflinePlatform fake;
        fake.cryptography->computationStatus = -4398;
        quint32 random = 77;
        QVERIFY(
            !SSSecurityHelper::generateRequestCodeWithComputerRID(1, sessionKey().get(), &random));
        QCOMPARE(fake.log->lines(),
                 error("Unable generate request code. Unable calculate HMAC. error: -4398"));
        QCOMPARE(random, 77U);
    }

    // The response code. The valid one is of offline_codes.json.

    void aResponseOfAnotherLengthIsRefusedBeforeDecoding_data()
    {
        QTest::addColumn<QString>("text");
        const QString valid = QStringLiteral("5ROB-IJVJ-HDL7-A4BX-DAHM-E35M-MEMM-4IFR");
        QTest::newRow("38") << valid.chopped(1);
        QTest::newRow("40") << valid + QLatin1Char('A');
        QTest::newRow("38 of nonsense") << QString(38, QLatin1Char('0'));
        QTest::newRow("40 of nonsense") << QString(40, QLatin1Char('!'));
        QTest::newRow("undashed") << QString(valid).remove(QLatin1Char('-'));
        QTest::newRow("blank behind") << valid + QLatin1Char(' ');
        QTest::newRow("empty") << QString();
    }
    void aResponseOfAnotherLengthIsRefusedBeforeDecoding()
    {
        OfflinePlatform fake;
        QFETCH(QString, text);
        QVERIFY(!SSSecurityHelper::parseResponseCode(text, 3043216458U));
        QCOMPARE(fake.log->lines(),
                 error(QStringLiteral("Unable parse response code. Length is incorrect. (%1)")
                           .arg(text.size())));
    }

    void anAbsentResponseHasNoLength()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::parseResponseCode(std::nullopt, 0));
        QCOMPARE(fake.log->lines(), error("Unable parse response code. Length is incorrect. (0)"));
    }

    void aResponseThatDoesNotDecodeIsRefused()
    {
        OfflinePlatform fake;
        const QString text = QStringLiteral("5ROB-IJVJ-HDL7-A4BX-DAHM-E35M-MEMM-4IF0");
        QVERIFY(!SSSecurityHelper::parseResponseCode(text, 3043216458U));
        QCOMPARE(fake.log->lines(),
                 error(QStringLiteral("initWithBase32EncodedString: character is invalid. (38, %1)")
                           .arg(text)) +
                     error(QStringLiteral("unable base32 decode. Response code: %1").arg(text)));
    }

    void aResponseToAnotherRequestIsRefused()
    {
        OfflinePlatform fake;
        const QString text = QStringLiteral("5ROB-IJVJ-HDL7-A4BX-DAHM-E35M-MEMM-4IFR");
        QVERIFY(SSSecurityHelper::parseResponseCode(text, 3043216458U));
        // A bit of the random number's low byte spoils the first check byte alone, one of the next
        // byte the second alone.
        for (const quint32 bit : {0x1U, 0x80U, 0x100U, 0x8000U}) {
            fake.log->clear();
            QVERIFY(!SSSecurityHelper::parseResponseCode(text, 3043216458U ^ bit));
            QCOMPARE(
                fake.log->lines(),
                error(QStringLiteral("Response code hash is incorrect. Response code: ") + text));
        }
    }

    void aResponseWithAnyCharacterChangedIsRefused()
    {
        OfflinePlatform fake;
        const QString valid = QStringLiteral("5ROB-IJVJ-HDL7-A4BX-DAHM-E35M-MEMM-4IFR");
        for (qsizetype i = 0; i < valid.size(); ++i) {
            if (i % 5 == 4)
                continue;
            QString text = valid;
            text[i] = QLatin1Char(valid.at(i) == QLatin1Char('A') ? 'B' : 'A');
            fake.log->clear();
            QVERIFY2(!SSSecurityHelper::parseResponseCode(text, 3043216458U), qPrintable(text));
            QCOMPARE(fake.log->lines().size(), 1);
        }
    }

    void aRequestIsNoResponse()
    {
        OfflinePlatform fake;
        quint32 random = 0;
        const auto text =
            SSSecurityHelper::generateRequestCodeWithComputerRID(1105, sessionKey().get(), &random);
        QVERIFY(!SSSecurityHelper::parseResponseCode(text, random));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecurityHelperCodes)
#include "tst_SSSecurityHelperCodes.moc"
