#include "tests/unit/settings/LogonSettingsCache.h"

#include <QTest>

using namespace LogonSettingsFixture;

class tst_SSLogonSettingsLoading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMissingSettingsFileIsNotWorthALine()
    {
        const CacheFixture f;
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!SSLogonSettings::settingsFromCache());
        QVERIFY(f.fake.log->rawLines().isEmpty());
    }

    void aMissingKeyFileFailsForRootAndIsNotWorthALine()
    {
        const CacheFixture f(0, u"root"_s);
        f.files().addFile(settingsFile, encoded(everyCachedKey()));
        SSLogonSettings s;
        QVERIFY(!s.load());
        QVERIFY(!SSLogonSettings::settingsFromCache());
        QVERIFY(f.fake.log->rawLines().isEmpty());
    }

    void anOrdinaryUserLoadsWithoutKeys()
    {
        const CacheFixture f;
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
        const CacheFixture f(0, u"root"_s);
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
        const CacheFixture f;
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
        const CacheFixture f(0, u"root"_s);
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
        CacheFixture f(0, u"root"_s);
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
        const CacheFixture f;
        f.files().addFile(settingsFile, "<plist version=\"1.0\"><array/></plist>");
        SSLogonSettings s;
        QVERIFY(!s.load());
        QCOMPARE(f.errors().first(), error(u"Unable load settings file."_s));
    }

    void aKeyFileThatOthersCouldHaveWrittenIsRefused()
    {
        const CacheFixture f(0, u"root"_s);
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
        const CacheFixture f(0, u"root"_s);
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
};

QTEST_GUILESS_MAIN(tst_SSLogonSettingsLoading)
#include "tst_SSLogonSettingsLoading.moc"
