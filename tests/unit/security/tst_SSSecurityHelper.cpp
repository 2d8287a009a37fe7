#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"

class tst_SSSecurityHelper : public QObject
{
    Q_OBJECT

    static QStringList error(const QString &text) { return {QStringLiteral("[Error]: ") + text}; }
    static QStringList error(const char *text) { return error(QString::fromLatin1(text)); }
    static std::shared_ptr<SSSecureData> sessionKey() { return secure(QByteArray(128, 'k')); }
    static QString user() { return QStringLiteral("jdoe"); }

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

    // The hashes.

    void anIterationCountBelowOneIsRefused()
    {
        OfflinePlatform fake;
        for (const qint32 rounds : {0, -1, std::numeric_limits<qint32>::min()}) {
            fake.log->clear();
            QVERIFY(!SSSecurityHelper::calculatePBKDF2WithKey(secure("key").get(),
                                                              secure("salt").get(), rounds));
            QCOMPARE(fake.log->lines(),
                     error(QStringLiteral("Iterations count is invalid: %1.").arg(rounds)));
        }
    }

    void aFailingDerivationIsRefused()
    {
        OfflinePlatform fake;
        fake.cryptography->computationStatus = -4398;
        QVERIFY(!SSSecurityHelper::calculatePBKDF2WithKey(secure("key").get(), secure("salt").get(),
                                                          1));
        QCOMPARE(fake.log->lines(), error("Unable calculate PBKDF2. error: -4398"));
        fake.log->clear();
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(user(), secure("").get(), 1));
        QCOMPARE(fake.log->lines(), error("Unable calculate MD4. error: -4398"));
    }

    void aHashThatIsTooShortIsRefused()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(user(), secure("").get(), 0));
        QCOMPARE(fake.log->lines(), error("Iterations count is invalid: 0.") +
                                        error("DCC2 digest length is incorrect: 0"));
    }

    void aUserNameHas1To256Characters()
    {
        OfflinePlatform fake;
        const auto password = secure("");
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(std::nullopt, password.get(), 1));
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(QString(), password.get(), 1));
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(QString(257, QLatin1Char('x')),
                                                            password.get(), 1));
        QCOMPARE(fake.log->lines(), error("User UPN name size is incorrect: 0.") +
                                        error("User UPN name size is incorrect: 0.") +
                                        error("User UPN name size is incorrect: 257."));
        const auto longest = SSSecurityHelper::calculateMsCash2WithUser(
            QString(256, QLatin1Char('x')), password.get(), 1);
        QVERIFY(longest);
        QCOMPARE(longest->length(), std::size_t{16});
    }

    // A character beyond the basic plane is two units.
    void aUserNameIsCountedInUtf16Units()
    {
        OfflinePlatform fake;
        const QString key = QStringLiteral("\U0001F511");
        QVERIFY(SSSecurityHelper::calculateMsCash2WithUser(key.repeated(128), nullptr, 1));
        QVERIFY(!SSSecurityHelper::calculateMsCash2WithUser(key.repeated(128) + QLatin1Char('x'),
                                                            nullptr, 1));
        QCOMPARE(fake.log->lines(), error("User UPN name size is incorrect: 257."));
    }

    void theCaseOfTheUserNameMakesNoDifference()
    {
        OfflinePlatform fake;
        const auto password = secure("p");
        QCOMPARE(hex(SSSecurityHelper::calculateMsCash2WithUser(QStringLiteral("JDoe@CORP"),
                                                                password.get(), 3)),
                 hex(SSSecurityHelper::calculateMsCash2WithUser(QStringLiteral("jdoe@corp"),
                                                                password.get(), 3)));
    }

    void aResetHashNeedsAUserName()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calcHashWithUser(std::nullopt, secure("p").get(), 1, nullptr));
        QVERIFY(!SSSecurityHelper::calcHashWithUser(QString(), secure("p").get(), 1,
                                                    sessionKey().get()));
        QCOMPARE(fake.log->lines(), error("CalcHashWithUser: User name is empty.") +
                                        error("CalcHashWithUser: User name is empty."));
    }

    void aResetHashNeedsASessionKey()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calcHashWithUser(user(), secure("p").get(), 1, nullptr));
        QVERIFY(
            !SSSecurityHelper::calcHashWithUser(user(), secure("p").get(), 1, secure("").get()));
        QCOMPARE(fake.log->lines(), error("CalcHashWithUser: Session key is empty.") +
                                        error("CalcHashWithUser: Session key is empty."));
    }

    void aResetHashOfATooLongUserNameIsRefusedOnce()
    {
        OfflinePlatform fake;
        QVERIFY(!SSSecurityHelper::calcHashWithUser(QString(257, QLatin1Char('x')),
                                                    secure("p").get(), 1, sessionKey().get()));
        QCOMPARE(fake.log->lines(), error("User UPN name size is incorrect: 257."));
    }

    // The machine-bound encryption.

    void theSystemKeyMixesTheConstantWithTheReversedUuid()
    {
        OfflinePlatform fake;
        fake.machineIdentity->uuid = QStringLiteral("00112233-4455-6677-8899-aabbccddeeff");
        // The constant XOR ffeeddccbbaa99887766554433221100, twice.
        QCOMPARE(hex(SSSecurityHelper::appSystemKey()),
                 QStringLiteral("9fdbc366447184ece6165d264f077fc5"
                                "ccbc898e94be2abb12388012284c7d45"));
    }

    void withoutAUuidTheKeyIsTheConstant_data()
    {
        QTest::addColumn<QString>("uuid");
        QTest::newRow("none") << QString();
        for (const char *text :
             {"{00112233-4455-6677-8899-aabbccddeeff}", "00112233445566778899aabbccddeeff",
              "00112233-4455-6677-8899-aabbccddeefg", "00112233-4455-6677-8899-aabbccddeef",
              "0011223-34455-6677-8899-aabbccddeeff", " 0112233-4455-6677-8899-aabbccddeeff",
              "00112233-4455-6677-8899-aabbccddeeff0", "00112233+4455-6677-8899-aabbccddeeff"})
            QTest::newRow(text) << QString::fromLatin1(text);
    }
    void withoutAUuidTheKeyIsTheConstant()
    {
        OfflinePlatform fake;
        QFETCH(QString, uuid);
        fake.machineIdentity->uuid = uuid.isEmpty() ? std::nullopt : std::optional(uuid);
        QCOMPARE(SSSecurityHelper::getSystemUUID(), fake.machineIdentity->uuid);
        QCOMPARE(hex(SSSecurityHelper::appSystemKey()),
                 QStringLiteral("60351eaaffdb1d64917008627c256ec5"
                                "335254422f14b333655ed5561b6e6c45"));
    }

    void whatAnotherComputerEncryptedIsNotRead()
    {
        OfflinePlatform fake;
        const auto key = sessionKey();
        int refusedCount = 0;
        const auto ciphered = SSSecurityHelper::encodeSecureData(key.get());
        QVERIFY(ciphered);
        QCOMPARE(hex(SSSecurityHelper::decodeSecureData(ciphered.get())), hex(key));
        for (int i = 0; i < 100; ++i) {
            fake.machineIdentity->uuid =
                QStringLiteral("00112233-4455-6677-8899-aabbccddee%1").arg(i, 2, 16, QChar(u'0'));
            fake.log->clear();
            const auto plain = SSSecurityHelper::decodeSecureData(ciphered.get());
            // By chance the padding may look right; the key is another one all the same.
            QVERIFY(!key->isEqualToSecureData(plain.get()));
            if (plain)
                continue;
            ++refusedCount;
            QCOMPARE(fake.log->lines(), error("Unable decrypt data. Error: -4304"));
        }
        QVERIFY(refusedCount > 90);
    }

    void aKeyOfAnotherLengthIsRefused()
    {
        OfflinePlatform fake;
        for (const int length : {0, 15, 17, 31, 33, 128}) {
            fake.log->clear();
            const auto key = secure(QByteArray(length, 'k'));
            QVERIFY(!SSSecurityHelper::encodeSecureData(secure("x").get(), key.get()));
            QVERIFY(
                !SSSecurityHelper::decodeSecureData(secure(QByteArray(16, 'x')).get(), key.get()));
            QCOMPARE(fake.log->lines(), error("Unable crypt data. Error: -4310") +
                                            error("Unable decrypt data. Error: -4310"));
        }
        fake.log->clear();
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure("x").get(),
                                                    static_cast<const SSSecureData *>(nullptr)));
        QCOMPARE(fake.log->lines(), error("Unable crypt data. Error: -4310"));
    }

    void aCutOrSpoiltTextIsRefused()
    {
        OfflinePlatform fake;
        const auto key = secure(QByteArray(32, 'k'));
        QVERIFY(!SSSecurityHelper::decodeSecureData(secure(QByteArray(15, 'x')).get(), key.get()));
        QVERIFY(!SSSecurityHelper::decodeSecureData(secure(QByteArray(33, 'x')).get(), key.get()));
        QVERIFY(!SSSecurityHelper::decodeSecureData(secure("").get(), key.get()));
        QVERIFY(!SSSecurityHelper::decodeSecureData(nullptr, key.get()));
        QCOMPARE(fake.log->lines(), error("Unable decrypt data. Error: -4303") +
                                        error("Unable decrypt data. Error: -4303") +
                                        error("Unable decrypt data. Error: -4304") +
                                        error("Unable decrypt data. Error: -4304"));
    }

    // Encrypting no bytes gives one block of padding; decrypting it moves none.
    void noMovedBytesAreAFailureWithTheStatusOfSuccess()
    {
        OfflinePlatform fake;
        const auto key = secure(QByteArray(32, 'k'));
        const auto ciphered = SSSecurityHelper::encodeSecureData(secure("").get(), key.get());
        QVERIFY(ciphered);
        QCOMPARE(ciphered->length(), std::size_t{16});
        QVERIFY(fake.log->lines().isEmpty());
        QVERIFY(!SSSecurityHelper::decodeSecureData(ciphered.get(), key.get()));
        QCOMPARE(fake.log->lines(), error("Unable decrypt data. Error: 0"));
        fake.log->clear();
        fake.cryptography->cipherMoves = 0;
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure("x").get(), key.get()));
        QCOMPARE(fake.log->lines(), error("Unable crypt data. Error: 0"));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecurityHelper)
#include "tst_SSSecurityHelper.moc"
