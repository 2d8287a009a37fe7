#include "tests/unit/settings/LogonSettingsCache.h"

#include <QTest>

using namespace LogonSettingsFixture;

class tst_SSLogonSettingsSerialization : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void paths()
    {
        const OfflinePlatform fake;
        QCOMPARE(SSLogonSettings::settingsPath(), folder);
        QCOMPARE(SSLogonSettings::settingsFileName(), u"com.zevrik.selfservice.plist"_s);
        QCOMPARE(SSLogonSettings::keyHashesFileName(), u"com.zevrik.selfservice.hash.plist"_s);
    }

    void everyKeyInItsOrder()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        QVERIFY(s.deserialize(everyCachedKey()));
        QVERIFY(s.deserializeKeyHashes(everyCachedKeyHash()));
        QCOMPARE(keysOf(s.serialize()), settingsKeys());
        QCOMPARE(keysOf(*s.serializeKeysHashes()), keyKeys());
    }

    void everyValueSurvivesBothWays()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        QVERIFY(s.deserialize(everyCachedKey()));
        QCOMPARE(s.serialize(), everyCachedKey());
        QCOMPARE(s.text(), std::optional(u"cached ResetPasswordButton.OptionalText"_s));
        QCOMPARE(s.proxy(), std::optional(u"cached EnrollTrayProxy"_s));
        QCOMPARE(s.errorUnableExchangeKeys(),
                 std::optional(u"cached ExchangeKeys.GeneratedError"_s));
        QCOMPARE(s.fileVaultPromptRemindLaterIntervalMins(), -5);
        QCOMPARE(s.enabled(), true);
    }

    void anAbsentValueLeavesItsKeyOut()
    {
        const OfflinePlatform fake;
        const SSLogonSettings s;
        QCOMPARE(keysOf(s.serialize()),
                 (QStringList{u"LoginSettingsVersion"_s, u"AllowLoginScreenPasswordReset"_s,
                              u"UpdateCredentialsCache.Enabled"_s,
                              u"OfflinePasswordReset.Enabled"_s, u"FileVaultSyncPrompt.Enabled"_s,
                              u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s}));
        QCOMPARE(keysOf(*s.serializeKeysHashes()),
                 (QStringList{u"LoginSettingsVersion"_s, u"ConfigurationSet.ComputerRID"_s}));
    }

    void typesInTheFile()
    {
        CacheFixture f(0, u"root"_s);
        QVERIFY(f.settings.deserializeKeyHashes(everyCachedKeyHash()));
        QVERIFY(f.settings.save());
        const QVariantMap texts = read(f.files().entries.value(settingsFile).bytes);
        QCOMPARE(texts.value(u"LoginSettingsVersion"_s), QVariant(qlonglong{1}));
        QCOMPARE(texts.value(u"AllowLoginScreenPasswordReset"_s), QVariant(true));
        QCOMPARE(texts.value(u"ResetPasswordDialog.Title"_s), QVariant(u"Reset Password"_s));
        QCOMPARE(texts.value(u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s),
                 QVariant(qlonglong{45}));
        const QVariantMap keys = read(f.files().entries.value(keyFile).bytes);
        QCOMPARE(keys.value(u"ConfigurationSet.ComputerRID"_s), QVariant(qlonglong{4294967295}));
        QCOMPARE(keys.value(u"ConfigurationSet.PublicKey"_s), QVariant(QByteArray("public")));
        QCOMPARE(keys.value(u"ConfigurationSet.CipheredSessionKey"_s),
                 QVariant(QByteArray("ciphered")));
    }

    void theSessionKeyIsNeverStoredInPlain()
    {
        CacheFixture f(0, u"root"_s);
        QVERIFY(f.settings.deserializeKeyHashes(everyCachedKeyHash()));
        QVERIFY(f.settings.sessionKey()->isEqualToSecureData(secure("session").get()));
        QVERIFY(f.settings.save());
        for (const auto &entry : std::as_const(f.files().entries))
            QVERIFY(!entry.bytes.contains("session"));
        const QByteArray stored = read(f.files().entries.value(keyFile).bytes)
                                      .value(u"ConfigurationSet.SessionKey"_s)
                                      .toByteArray();
        const auto decoded = SSSecurityHelper::decodeSecureData(
            SSSecureData::dataWithData(SSSecure::bytes(stored)).get());
        QVERIFY(decoded->isEqualToSecureData(secure("session").get()));
    }

    void theLargestComputerRidIsStoredAsThatPositiveNumber()
    {
        CacheFixture f(0, u"root"_s);
        f.settings.updateComputerRID(0xFFFFFFFF);
        QVERIFY(f.settings.save());
        SSLogonSettings s;
        QVERIFY(s.load());
        QCOMPARE(s.computerRID(), 0xFFFFFFFFU);
        QCOMPARE(
            read(f.files().entries.value(keyFile).bytes).value(u"ConfigurationSet.ComputerRID"_s),
            QVariant(qlonglong{4294967295}));
    }

    void aLongerComputerRidKeepsItsLow32Bits()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        QVERIFY(s.deserializeKeyHashes(
            {{u"LoginSettingsVersion"_s, qlonglong{1}},
             {u"ConfigurationSet.ComputerRID"_s, qlonglong{0x1234'0000'0007}}}));
        QCOMPARE(s.computerRID(), 7U);
    }

    void aCachedSwitchOfThePromptReadsAsOnWhateverItSays()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        PropertyListDictionary dictionary{{u"LoginSettingsVersion"_s, qlonglong{1}}};
        QVERIFY(s.deserialize(dictionary));
        QCOMPARE(s.fileVaultPromptEnabled(), false);
        dictionary.insert(u"FileVaultSyncPrompt.Enabled"_s, false);
        QVERIFY(s.deserialize(dictionary));
        QCOMPARE(s.fileVaultPromptEnabled(), true);
        dictionary.insert(u"FileVaultSyncPrompt.Enabled"_s, u"anything"_s);
        QVERIFY(s.deserialize(dictionary));
        QCOMPARE(s.fileVaultPromptEnabled(), true);
    }

    void theWholeInOneBuffer()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        QVERIFY(s.deserialize(everyCachedKey()));
        QVERIFY(s.deserializeKeyHashes(everyCachedKeyHash()));
        const auto data = s.serializedData();
        QVERIFY(data);
        const auto bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data->bytes()),
                                                   static_cast<qsizetype>(data->length()));
        QVERIFY(!bytes.contains("session"));
        QCOMPARE(read(bytes).size(), settingsKeys().size() + keyKeys().size() - 1);
        const auto copy = SSLogonSettings::settingsFromData(data.get());
        QVERIFY(copy);
        QVERIFY(copy->compare(&s, true));
        QVERIFY(copy->sessionKey()->isEqualToSecureData(secure("session").get()));
        QCOMPARE(copy->serialize(), s.serialize());
    }

    void aBufferThatIsNoSettingsGivesNone()
    {
        const OfflinePlatform fake;
        QVERIFY(!SSLogonSettings::initWithSerializedData(nullptr));
        QVERIFY(!SSLogonSettings::initWithSerializedData(secure("").get()));
        QVERIFY(fake.log->rawLines().isEmpty());
        QVERIFY(!SSLogonSettings::initWithSerializedData(secure("rubbish").get()));
        const auto empty = encoded({});
        QVERIFY(!SSLogonSettings::initWithSerializedData(
            SSSecureData::dataWithData(SSSecure::bytes(empty)).get()));
        const QStringList lines = fake.log->lines();
        QCOMPARE(lines.size(), 2);
        QVERIFY(
            lines.at(0).startsWith(error(u"Unable de-serialize login settings data. Error:"_s)));
        QCOMPARE(lines.at(1), error(u"Unable de-serialize login settings data. Error:(null)"_s));
        const auto other = encoded({{u"LoginSettingsVersion"_s, qlonglong{2}}});
        QVERIFY(!SSLogonSettings::initWithSerializedData(
            SSSecureData::dataWithData(SSSecure::bytes(other)).get()));
    }
};

QTEST_GUILESS_MAIN(tst_SSLogonSettingsSerialization)
#include "tst_SSLogonSettingsSerialization.moc"
