#include "platform/PropertyList.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"
#include "tests/unit/settings/LogonSettingsFixture.h"

#include <QTest>

using namespace LogonSettingsFixture;

namespace {

const QString folder = u"/Library/Caches/ZevrikSelfService"_s;
const QString settingsFile = folder + u"/com.zevrik.selfservice.plist"_s;
const QString keyFile = folder + u"/com.zevrik.selfservice.hash.plist"_s;

QString error(const QString &text)
{
    return u"[Error]: "_s + text;
}

QVariantMap read(const QByteArray &bytes)
{
    const PropertyListResult result = readBinaryPropertyList(bytes);
    return result ? result.value().toMap() : QVariantMap();
}

/// Encodes what a test puts together itself.
QByteArray encoded(const PropertyListDictionary &dictionary)
{
    const auto bytes = writeBinaryPropertyList(dictionary);
    return {reinterpret_cast<const char *>(bytes.value().data()),
            static_cast<qsizetype>(bytes.value().size())};
}

} // namespace

class tst_SSLogonSettingsPersistence : public QObject
{
    Q_OBJECT

    /// A platform whose folder for caches is there, and nothing in it.
    struct Fixture
    {
        explicit Fixture(quint32 userId = 1000, const QString &name = u"jdoe"_s)
        {
            fake.identity->userId = userId;
            fake.identity->name = name;
            fake.settingsFiles->addFolder(u"/Library/Caches"_s);
            load(settings, everyKeyword());
            fake.log->clear();
        }
        [[nodiscard]] QStringList errors() const { return fake.log->lines().filter(u"[Error]"_s); }
        void fails(const QString &operation)
        {
            fake.settingsFiles->errors.insert(operation, u"no such luck"_s);
        }
        [[nodiscard]] FakeSettingsFiles &files() const { return *fake.settingsFiles; }

        OfflinePlatform fake;
        SSLogonSettings settings;
    };

    static QStringList settingsKeys()
    {
        QStringList keys{u"LoginSettingsVersion"_s,
                         u"AppleMetaNodeLocation"_s,
                         u"AllowLoginScreenPasswordReset"_s,
                         u"ResetPasswordButton.Position"_s,
                         u"ResetPasswordButton.OptionalText"_s,
                         u"ResetPasswordButton.Text"_s,
                         u"WebInterfaceURL"_s,
                         u"EnrollTrayProxy"_s,
                         u"ResetPasswordDialog.Title"_s,
                         u"ResetPasswordDialog.LoadingText"_s,
                         u"UpdateCredentialsCache.Disabled.Error"_s,
                         u"UpdateCredentialsCache.Disabled.Title"_s,
                         u"ExchangeKeys.Error"_s,
                         u"ExchangeKeys.Title"_s,
                         u"ExchangeKeys.GeneratedError"_s,
                         u"UpdateCredentialsCache.Enabled"_s,
                         u"UpdateCredentialsCache.Error"_s,
                         u"OfflinePasswordReset.Enabled"_s};
        const QStringList offline = offlineTexts();
        for (const QString &name : offline)
            keys.append(u"OfflinePasswordReset."_s + name);
        keys.append(u"FileVaultSyncPrompt.Enabled"_s);
        return keys + fileVaultPromptKeys() + fileVaultDialogKeys();
    }
    static QStringList keyKeys()
    {
        return {u"LoginSettingsVersion"_s, u"ConfigurationSet.ComputerRID"_s,
                u"ConfigurationSet.PublicKey"_s, u"ConfigurationSet.SessionKey"_s,
                u"ConfigurationSet.CipheredSessionKey"_s};
    }
    static QStringList keysOf(const PropertyListDictionary &dictionary)
    {
        QStringList keys;
        for (const auto &entry : dictionary)
            keys.append(entry.first);
        return keys;
    }
    /// A settings file of every key, as another program would have written it.
    static PropertyListDictionary everyCachedKey()
    {
        PropertyListDictionary dictionary;
        const QStringList keys = settingsKeys();
        for (const QString &key : keys)
            dictionary.insert(key, u"cached "_s + key);
        dictionary.insert(u"LoginSettingsVersion"_s, qlonglong{1});
        for (const auto &key :
             {u"AllowLoginScreenPasswordReset"_s, u"UpdateCredentialsCache.Enabled"_s,
              u"OfflinePasswordReset.Enabled"_s, u"FileVaultSyncPrompt.Enabled"_s}) {
            dictionary.insert(key, true);
        }
        dictionary.insert(u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s, qlonglong{-5});
        return dictionary;
    }
    static PropertyListDictionary everyCachedKeyHash()
    {
        const auto enciphered = SSSecurityHelper::encodeSecureData(secure("session").get());
        return {{u"LoginSettingsVersion"_s, qlonglong{1}},
                {u"ConfigurationSet.ComputerRID"_s, qlonglong{0xFFFFFFFF}},
                {u"ConfigurationSet.PublicKey"_s, QByteArray("public")},
                {u"ConfigurationSet.SessionKey"_s,
                 QByteArray(reinterpret_cast<const char *>(enciphered->bytes()),
                            static_cast<qsizetype>(enciphered->length()))},
                {u"ConfigurationSet.CipheredSessionKey"_s, QByteArray("ciphered")}};
    }

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
        QCOMPARE(keysOf(s.serializeKeysHashes()), keyKeys());
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
        QCOMPARE(keysOf(s.serializeKeysHashes()),
                 (QStringList{u"LoginSettingsVersion"_s, u"ConfigurationSet.ComputerRID"_s}));
    }

    void typesInTheFile()
    {
        Fixture f(0, u"root"_s);
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
        Fixture f(0, u"root"_s);
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
        Fixture f(0, u"root"_s);
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

    void rootWritesBothFilesAtomicallyWithTheirRights()
    {
        Fixture f(0, u"root"_s);
        QVERIFY(f.settings.save());
        QCOMPARE(
            f.files().changes,
            (QStringList{u"createDirectory "_s + folder, u"setAttributes "_s + folder,
                         u"writeAtomically "_s + settingsFile, u"setAttributes "_s + settingsFile,
                         u"writeAtomically "_s + keyFile, u"setAttributes "_s + keyFile}));
        const auto made = f.files().entries.value(folder);
        QCOMPARE(made.mode, 0711U);
        QCOMPARE(made.owner, u"_securityagent"_s);
        QCOMPARE(made.group, u"admin"_s);
        const auto settings = f.files().entries.value(settingsFile);
        QCOMPARE(settings.mode, 0666U);
        QCOMPARE(settings.owner, u"_securityagent"_s);
        QCOMPARE(settings.group, u"admin"_s);
        const auto keys = f.files().entries.value(keyFile);
        QCOMPARE(keys.mode, 0600U);
        QCOMPARE(keys.owner, u"(writer)"_s);
        QCOMPARE(keys.group, u"(writer)"_s);
        QVERIFY(f.errors().isEmpty());
    }

    void theLoginWindowsUserWritesTheSettingsAtomicallyAndNoKeys()
    {
        const Fixture f(75, u"_securityagent"_s);
        QVERIFY(f.settings.save());
        QCOMPARE(f.files().changes,
                 (QStringList{u"createDirectory "_s + folder, u"setAttributes "_s + folder,
                              u"writeAtomically "_s + settingsFile,
                              u"setAttributes "_s + settingsFile}));
    }

    void anOrdinaryUserWritesInPlaceAndNoKeys()
    {
        const Fixture f;
        f.files().addFolder(folder);
        QVERIFY(f.settings.save());
        QCOMPARE(f.files().changes, (QStringList{u"writeInPlace "_s + settingsFile}));
    }

    void anExistingFolderIsUsedAsItIs()
    {
        const Fixture f(0, u"root"_s);
        f.files().entries.insert(folder, {.isFolder = true,
                                          .bytes = {},
                                          .mode = 0777,
                                          .owner = u"jdoe"_s,
                                          .group = u"users"_s,
                                          .isTrusted = true});
        QVERIFY(f.settings.save());
        QCOMPARE(f.files().entries.value(folder).mode, 0777U);
        QCOMPARE(f.files().entries.value(folder).owner, u"jdoe"_s);
    }

    void failuresOfSaving_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("folderIsThere");
        QTest::newRow("no folder") << u"createDirectory"_s
                                   << QStringList{error(u"Unable create directory: %1. "
                                                        "Error:no such luck"_s.arg(folder))}
                                   << false;
        QTest::newRow("no owner of the folder")
            << u"setAttributes"_s
            << QStringList{error(u"Unable change owner to the directory: %1. "
                                 "Error:no such luck"_s.arg(folder))}
            << false;
        QTest::newRow("no rights of the file")
            << u"setAttributes"_s
            << QStringList{error(u"Unable correct rights of file: %1. "
                                 "Error:no such luck"_s.arg(settingsFile))}
            << true;
        QTest::newRow("no file") << u"writeAtomically"_s
                                 << QStringList{error(u"Unable write settings to file."_s),
                                                error(u"no such luck"_s)}
                                 << true;
    }
    void failuresOfSaving()
    {
        QFETCH(QString, operation);
        QFETCH(QStringList, expected);
        QFETCH(bool, folderIsThere);
        Fixture f(0, u"root"_s);
        if (folderIsThere)
            f.files().addFolder(folder);
        f.fails(operation);
        QVERIFY(!f.settings.save());
        QCOMPARE(f.errors(), expected);
        QVERIFY(!f.files().entries.contains(keyFile));
    }

    void failuresOfSavingTheKeys_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no rights of the file")
            << u"setAttributes"_s
            << QStringList{error(u"Unable correct rights of file: %1. "
                                 "Error:no such luck"_s.arg(keyFile))};
        QTest::newRow("no file") << u"writeAtomically"_s
                                 << QStringList{error(u"Unable write settings hash to file."_s),
                                                error(u"no such luck"_s)};
        QTest::newRow("no folder") << u"createDirectory"_s
                                   << QStringList{error(u"Unable create directory: %1. "
                                                        "Error:no such luck"_s.arg(folder))};
    }
    void failuresOfSavingTheKeys()
    {
        QFETCH(QString, operation);
        QFETCH(QStringList, expected);
        Fixture f(0, u"root"_s);
        if (operation != u"createDirectory"_s)
            f.files().addFolder(folder);
        f.fails(operation);
        QVERIFY(!f.settings.saveKeyHashes());
        QCOMPARE(f.errors(), expected);
    }

    void theSettingsStayWhenTheKeysCannotBeWritten()
    {
        // The key file is a folder, which the settings file is not.
        Fixture f(0, u"root"_s);
        f.files().addFolder(folder);
        f.files().addFolder(keyFile);
        QVERIFY(!f.settings.save());
        QVERIFY(!f.files().entries.value(settingsFile).bytes.isEmpty());
        QCOMPARE(f.errors().first(), error(u"Unable write settings hash to file."_s));
    }

    void namesThatThereAreNot()
    {
        Fixture f(0, u"root"_s);
        f.files().addFolder(folder);
        f.fake.defaults->domainName.clear();
        QVERIFY(!f.settings.save());
        QVERIFY(!f.settings.saveKeyHashes());
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!s.loadKeyHashes());
        f.fake.system->caches.clear();
        QVERIFY(!f.settings.save());
        QVERIFY(!f.settings.saveKeyHashes());
        QCOMPARE(f.errors(),
                 (QStringList{error(u"Unable get settings file name to save it."_s),
                              error(u"Unable get settings hash file name to save it."_s),
                              error(u"Unable get settings file name to load it."_s),
                              error(u"Unable get settings hash file name to load it."_s),
                              error(u"Unable get settings path to save it."_s),
                              error(u"Unable get settings hash path to save it."_s)}));
    }

    void aTextThatIsNoUnicodeIsNotSaved()
    {
        Fixture f(0, u"root"_s);
        f.fake.defaults->values = {
            {u"ResetPasswordDialog.Title"_s, QString(QChar(char16_t(0xD800)))}};
        load(f.settings, everyKeyword());
        f.fake.log->clear();
        QVERIFY(!f.settings.save());
        QVERIFY(!f.settings.serializedData());
        QCOMPARE(f.errors().size(), 2);
        QVERIFY(f.errors().at(0).startsWith(error(u"Unable serialize settings. Error: "_s)));
        QVERIFY(
            f.errors().at(1).startsWith(error(u"Unable serialize login settings data. Error:"_s)));
        QVERIFY(!f.files().entries.contains(settingsFile));
    }

    void aMissingSettingsFileIsNotWorthALine()
    {
        const Fixture f;
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!SSLogonSettings::settingsFromCache());
        QVERIFY(f.fake.log->rawLines().isEmpty());
    }

    void aMissingKeyFileFailsForRootAndIsNotWorthALine()
    {
        const Fixture f(0, u"root"_s);
        f.files().addFile(settingsFile, encoded(everyCachedKey()));
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!SSLogonSettings::settingsFromCache());
        QVERIFY(f.fake.log->rawLines().isEmpty());
    }

    void anOrdinaryUserLoadsWithoutKeys()
    {
        const Fixture f;
        f.files().addFile(settingsFile, encoded(everyCachedKey()));
        f.files().addFile(keyFile, encoded(everyCachedKeyHash()));
        const auto s = SSLogonSettings::settingsFromCache();
        QVERIFY(s);
        QCOMPARE(s->serialize(), everyCachedKey());
        QVERIFY(!s->sessionKey());
        QVERIFY(!s->cipheredSessionKey());
        QVERIFY(!s->configurationSetPublicKey());
        QCOMPARE(s->computerRID(), 0U);
    }

    void rootLoadsBoth()
    {
        const Fixture f(0, u"root"_s);
        f.files().addFile(settingsFile, encoded(everyCachedKey()));
        f.files().addFile(keyFile, encoded(everyCachedKeyHash()));
        const auto s = SSLogonSettings::settingsFromCache();
        QVERIFY(s);
        QCOMPARE(s->computerRID(), 0xFFFFFFFFU);
        QVERIFY(s->sessionKey()->isEqualToSecureData(secure("session").get()));
        QVERIFY(s->cipheredSessionKey()->isEqualToSecureData(secure("ciphered").get()));
        QVERIFY(s->configurationSetPublicKey()->isEqualToSecureData(secure("public").get()));
        QVERIFY(s->hasKey());
    }

    void anXmlFileOfTheSameDictionaryIsRead()
    {
        const Fixture f;
        f.files().addFile(settingsFile,
                          "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                          "<key>LoginSettingsVersion</key><integer>1</integer>"
                          "<key>AllowLoginScreenPasswordReset</key><true/>"
                          "<key>WebInterfaceURL</key><string>https://a.test/</string>"
                          "</dict></plist>");
        const auto s = SSLogonSettings::settingsFromCache();
        QVERIFY(s);
        QVERIFY(s->enabled());
        QCOMPARE(s->linkURL(), std::optional(u"https://a.test/"_s));
    }

    void anotherVersionIsRefused_data()
    {
        QTest::addColumn<QVariant>("version");
        QTest::newRow("2") << QVariant(qlonglong{2});
        QTest::newRow("none") << QVariant();
        QTest::newRow("text") << QVariant(u"two"_s);
    }
    void anotherVersionIsRefused()
    {
        QFETCH(QVariant, version);
        const Fixture f(0, u"root"_s);
        PropertyListDictionary settings;
        PropertyListDictionary keys;
        if (version.isValid()) {
            settings.insert(u"LoginSettingsVersion"_s, version);
            keys.insert(u"LoginSettingsVersion"_s, version);
        }
        settings.insert(u"ResetPasswordButton.OptionalText"_s, u"text"_s);
        f.files().addFile(settingsFile, encoded(settings));
        SSLogonSettings s;
        load(s, everyKeyword());
        f.fake.log->clear();
        QVERIFY(!s.load());
        QCOMPARE(s.serialize(), SSLogonSettings().serialize());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable de-serialize settings."_s)}));
        f.fake.log->clear();
        f.files().addFile(keyFile, encoded(keys));
        QVERIFY(!s.loadKeyHashes());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable de-serialize settings hash."_s)}));
    }

    void unreadableFilesAreRefusedWithTheCause()
    {
        Fixture f(0, u"root"_s);
        f.files().addFile(settingsFile, "bplist00 and no more");
        f.files().addFile(keyFile, "neither form");
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!s.loadKeyHashes());
        QCOMPARE(f.errors().size(), 4);
        QCOMPARE(f.errors().at(0), error(u"Unable load settings file."_s));
        QVERIFY(f.errors().at(1).startsWith(error(settingsFile + u": "_s)));
        QCOMPARE(f.errors().at(2), error(u"Unable load settings hash file."_s));
        QVERIFY(f.errors().at(3).startsWith(error(keyFile + u": "_s)));
        f.fake.log->clear();
        f.fails(u"read"_s);
        QVERIFY(!s.load());
        QCOMPARE(f.errors(),
                 (QStringList{error(u"Unable load settings file."_s), error(u"no such luck"_s)}));
    }

    void aListInTheFileIsNoDictionary()
    {
        const Fixture f;
        f.files().addFile(settingsFile, "<plist version=\"1.0\"><array/></plist>");
        SSLogonSettings s;
        QVERIFY(!s.load());
        QCOMPARE(f.errors().first(), error(u"Unable load settings file."_s));
    }

    void aKeyFileThatOthersCouldHaveWrittenIsRefused()
    {
        const Fixture f(0, u"root"_s);
        f.files().addFile(settingsFile, encoded(everyCachedKey()));
        f.files().addFile(keyFile, encoded(everyCachedKeyHash()));
        f.files().entries[keyFile].isTrusted = false;
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!s.sessionKey());
        QCOMPARE(f.errors().first(), error(u"Unable load settings hash file."_s));
    }

    void aValueOfAnotherTypeIsLoggedAndLeftOut()
    {
        const Fixture f(0, u"root"_s);
        PropertyListDictionary dictionary = everyCachedKey();
        dictionary.insert(u"WebInterfaceURL"_s, qlonglong{5});
        dictionary.insert(u"OfflinePasswordReset.Enabled"_s, QVariantList{1});
        SSLogonSettings s;
        QVERIFY(s.deserialize(dictionary));
        QVERIFY(!s.linkURL());
        QCOMPARE(s.oprEnabled(), false);
        PropertyListDictionary keys = everyCachedKeyHash();
        keys.insert(u"ConfigurationSet.PublicKey"_s, u"text"_s);
        QVERIFY(s.deserializeKeyHashes(keys));
        QVERIFY(!s.configurationSetPublicKey());
        QCOMPARE(f.errors(),
                 (QStringList{
                     error(u"The value of WebInterfaceURL in the login settings is not a text."_s),
                     error(u"The value of ConfigurationSet.PublicKey in the login settings is not "
                           "data."_s)}));
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

QTEST_GUILESS_MAIN(tst_SSLogonSettingsPersistence)
#include "tst_SSLogonSettingsPersistence.moc"
