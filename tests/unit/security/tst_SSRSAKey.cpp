#include "security/SSPublicKeyCoder.h"
#include "security/SSRSAKey.h"
#include "tests/unit/security/SecurityHelperTestSupport.h"

#include <QProcess>
#include <QTemporaryDir>

#include <type_traits>

static_assert(!std::is_copy_constructible_v<SSRSAKey>);

class tst_SSRSAKey : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QByteArray m_blob;

    /// What the openssl program prints.
    QByteArray openssl(const QStringList &arguments, const QByteArray &input = {}) const
    {
        QProcess process;
        process.setWorkingDirectory(m_folder.path());
        process.start(QStringLiteral("openssl"), arguments);
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(20000) || process.exitCode() != 0) {
            qWarning("%s", process.readAllStandardError().constData());
            return "failed";
        }
        return process.readAllStandardOutput();
    }
    QByteArray decrypted(const SSSecureData &ciphered) const
    {
        return openssl(QStringLiteral("pkeyutl -decrypt -inkey key.pem -pkeyopt "
                                      "rsa_padding_mode:pkcs1")
                           .split(QLatin1Char(' ')),
                       QByteArray(reinterpret_cast<const char *>(ciphered.bytes()),
                                  static_cast<qsizetype>(ciphered.length())));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        openssl(QStringLiteral("genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out key.pem")
                    .split(QLatin1Char(' ')));
        m_blob = openssl(
            QStringLiteral("rsa -in key.pem -pubout -outform MSBLOB").split(QLatin1Char(' ')));
        QCOMPARE(m_blob.size(), 276);
    }

    void whatIsEncryptedTheOpensslProgramDecrypts_data()
    {
        QTest::addColumn<QByteArray>("plain");
        QByteArray key(128, '\0');
        for (qsizetype i = 0; i < key.size(); ++i)
            key[i] = static_cast<char>(7 * i);
        QTest::newRow("one zero byte") << QByteArray(1, '\0');
        QTest::newRow("session key") << key;
        QTest::newRow("as long as it may be") << QByteArray(245, '\xff');
    }
    void whatIsEncryptedTheOpensslProgramDecrypts()
    {
        OfflinePlatform fake;
        QFETCH(QByteArray, plain);
        const auto key = SSRSAKey::keyWithMsKeyData(secure(m_blob).get());
        QVERIFY(key);
        const auto ciphered = SSSecurityHelper::encodeSecureData(secure(plain).get(), key.get());
        QVERIFY(ciphered);
        QCOMPARE(ciphered->length(), std::size_t{256});
        QCOMPARE(decrypted(*ciphered), plain);
        // The padding is random: the same data never looks the same.
        QVERIFY(!ciphered->isEqualToSecureData(
            SSSecurityHelper::encodeSecureData(secure(plain).get(), key.get()).get()));
        QVERIFY(fake.log->lines().isEmpty());
    }

    void dataThatDoesNotFitIsRefused()
    {
        OfflinePlatform fake;
        const auto key = SSRSAKey::keyWithMsKeyData(secure(m_blob).get());
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure(QByteArray(246, 'x')).get(), key.get()));
        QCOMPARE(fake.log->lines().size(), 1);
        const QString line = fake.log->lines().first();
        QVERIFY(line.startsWith(QStringLiteral("[Error]: Unable encode data. Error:error:")));
        QVERIFY(line.contains(QStringLiteral("data too large for key size")));
    }

    void absentDataIsRefused()
    {
        OfflinePlatform fake;
        const auto key = SSRSAKey::keyWithMsKeyData(secure(m_blob).get());
        QVERIFY(!SSSecurityHelper::encodeSecureData(nullptr, key.get()));
        QCOMPARE(fake.log->lines(), error("Encode data is absent."));
        fake.log->clear();
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure("").get(), key.get()));
        QCOMPARE(fake.log->lines(), error("Encode data is absent."));
        fake.log->clear();
        // The data comes first.
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure("").get(),
                                                    static_cast<const SSRSAKey *>(nullptr)));
        QCOMPARE(fake.log->lines(), error("Encode data is absent."));
    }

    void anAbsentKeyIsRefused()
    {
        OfflinePlatform fake;
        const auto key = SSRSAKey::keyWithMsKeyData(secure(m_blob).get());
        key->releaseKey();
        QVERIFY(!key->secKey());
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure("x").get(), key.get()));
        QCOMPARE(fake.log->lines(), error("Encode key is absent."));
        fake.log->clear();
        QVERIFY(!SSSecurityHelper::encodeSecureData(secure("x").get(),
                                                    static_cast<const SSRSAKey *>(nullptr)));
        QCOMPARE(fake.log->lines(), error("Encode key is absent."));
    }

    void aBlobThatIsNoneGivesNoKey()
    {
        OfflinePlatform fake;
        QVERIFY(!SSRSAKey::keyWithMsKeyData(nullptr));
        QVERIFY(fake.log->lines().isEmpty());
        QVERIFY(!SSRSAKey::keyWithMsKeyData(secure(m_blob.left(20)).get()));
        QCOMPARE(fake.log->lines(),
                 error("Public key size is invalid.") + error("Public key data is invalid."));
    }

    void aReferenceIsTakenOver()
    {
        OfflinePlatform fake;
        auto reference = SSPublicKeyCoder::secKeyWithMsData(secure(m_blob).get());
        const RsaPublicKey *raw = reference.get();
        QVERIFY(raw);
        const auto key = SSRSAKey::keyFromSecKey(reference);
        QVERIFY(key);
        QVERIFY(!reference);
        QCOMPARE(key->secKey(), raw);
        QVERIFY(!SSRSAKey::keyFromSecKey(reference));
        QVERIFY(!SSRSAKey::initFromSecKey(reference));
    }

    // 2048 bits by the header, fewer by the number.
    void aModulusThatIsTooSmallGivesNoKey()
    {
        OfflinePlatform fake;
        QByteArray blob = m_blob;
        blob[275] = '\0';
        QVERIFY(!SSRSAKey::keyWithMsKeyData(secure(blob).get()));
        QCOMPARE(fake.log->lines().size(), 1);
        QVERIFY(fake.log->lines().first().startsWith(
            QStringLiteral("[Error]: Unable get public key from data. The key has 20")));
    }

    // With an exponent of 1 the session key would go out in plain, behind its padding.
    void anExponentThatEncryptsNothingGivesNoKey_data()
    {
        QTest::addColumn<QByteArray>("exponent");
        for (const char *exponent : {"00000000", "01000000", "02000000", "00000080"})
            QTest::newRow(exponent) << QByteArray::fromHex(exponent);
    }
    void anExponentThatEncryptsNothingGivesNoKey()
    {
        OfflinePlatform fake;
        QFETCH(QByteArray, exponent);
        QVERIFY(
            !SSRSAKey::keyWithMsKeyData(secure(QByteArray(m_blob).replace(16, 4, exponent)).get()));
        QCOMPARE(fake.log->lines(), error("Unable get public key from data. The key's exponent "
                                          "encrypts nothing."));
    }

    // An even number is no product of two odd primes.
    void aKeyWithAnEvenModulusEncryptsNothing()
    {
        OfflinePlatform fake;
        QByteArray blob = m_blob;
        blob[20] = static_cast<char>(blob[20] & ~1);
        QVERIFY(!SSRSAKey::keyWithMsKeyData(secure(blob).get()));
        QCOMPARE(fake.log->lines(),
                 error("Unable get public key from data. The key's modulus is even."));
    }
};

QTEST_GUILESS_MAIN(tst_SSRSAKey)
#include "tst_SSRSAKey.moc"
