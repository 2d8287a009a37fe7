#include "tests/unit/security/SecurityHelperTestSupport.h"

/// The encryption that is bound to the computer: its key, and what is not decrypted.
class tst_SSSecurityHelperEncryption : public QObject
{
    Q_OBJECT
private Q_SLOTS:
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

QTEST_GUILESS_MAIN(tst_SSSecurityHelperEncryption)
#include "tst_SSSecurityHelperEncryption.moc"
