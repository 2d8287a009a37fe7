#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "platform/PropertyList.h"
#include "security/SSSecurityHelper.h"
#include "settings/SSLogonSettings.h"
#include "tests/unit/app/ctl/ControlFixture.h"
#include "tests/unit/security/OfflineTestSupport.h"

using namespace Qt::Literals::StringLiterals;

namespace {

const QString folder = u"/Library/Caches/ZevrikSelfService"_s;
const QString settingsFile = folder + u"/com.zevrik.selfservice.plist"_s;
const QString keyFile = folder + u"/com.zevrik.selfservice.hash.plist"_s;

class Fixture : public ControlFixture
{
public:
    Fixture()
    {
        fake.cryptography->backend = std::make_shared<LinuxCryptography>();
        addPoint(u"host"_s, pointKeywords({u"WinlogonResetPassword.Text=fresh"_s,
                                           u"FileVaultSyncPrompt.Enabled=1"_s}));
    }
    void write(const QString &path, const PropertyListDictionary &dictionary)
    {
        const auto bytes = writeBinaryPropertyList(dictionary);
        fake.settingsFiles->addFile(path, {reinterpret_cast<const char *>(bytes.value().data()),
                                           static_cast<qsizetype>(bytes.value().size())});
    }
    void writeSettings(const QString &text)
    {
        write(settingsFile, {{u"LoginSettingsVersion"_s, qlonglong{1}},
                             {u"AppleMetaNodeLocation"_s, u"/Active Directory/CORP/All Domains"_s},
                             {u"AllowLoginScreenPasswordReset"_s, true},
                             {u"OfflinePasswordReset.Enabled"_s, false},
                             {u"FileVaultSyncPrompt.Enabled"_s, true},
                             {u"ResetPasswordButton.OptionalText"_s, text},
                             {u"ResetPasswordButton.Text"_s, u"Reset password"_s},
                             {u"ResetPasswordDialog.Title"_s, u"Reset Password"_s},
                             {u"ResetPasswordDialog.LoadingText"_s, u"Loading..."_s}});
    }
    void writeKeys()
    {
        install();
        const auto enciphered = SSSecurityHelper::encodeSecureData(secure("the session key").get());
        write(keyFile, {{u"LoginSettingsVersion"_s, qlonglong{1}},
                        {u"ConfigurationSet.ComputerRID"_s, qlonglong{1104}},
                        {u"ConfigurationSet.PublicKey"_s, QByteArray("public")},
                        {u"ConfigurationSet.SessionKey"_s,
                         QVariant::fromValue(PropertyListData{enciphered->data(), enciphered})}});
    }
    void install() { Platform::install(&fake.platform); }
};

} // namespace

class tst_SSControlCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pathsAreTold()
    {
        Fixture f;
        QCOMPARE(f.run({"cache", "path"}), 0);
        QCOMPARE(f.output, settingsFile + u'\n' + keyFile + u'\n');
        QCOMPARE(f.run({"cache", "path", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"settingsPath"_s, folder},
                                        {u"settingsFile"_s, settingsFile},
                                        {u"keyHashesFile"_s, keyFile}}));
    }

    void anUnknownActionIsWrongUsage()
    {
        Fixture f;
        QCOMPARE(f.run({"cache", "drop"}), 2);
        QVERIFY(f.errors.contains(u"there is no \"cache drop\", only show, check and path"_s));
        QCOMPARE(f.run({"cache"}), 2);
    }

    void noCacheIsAFailure()
    {
        Fixture f;
        QCOMPARE(f.run({"cache", "show"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(u"there is no cache: "_s + settingsFile));
        QCOMPARE(f.run({"cache", "check", "--json"}), 1);
        QCOMPARE(f.json()[u"usable"_s], QJsonValue(false));
        QCOMPARE(f.json()[u"needKey"_s], QJsonValue(QJsonValue::Null));
        QCOMPARE(f.run({"compare"}), 1);
        QVERIFY(f.errors.contains(u"there is no cache that can be used"_s));
    }

    void anOrdinaryUserSeesTheSettings()
    {
        Fixture f;
        f.writeSettings(u"cached"_s);
        f.writeKeys();
        QCOMPARE(f.run({"cache", "show", "--json"}), 0);
        const QJsonObject settings = f.json()[u"settings"_s].toObject();
        QCOMPARE(settings[u"ResetPasswordButton.OptionalText"_s], QJsonValue(u"cached"_s));
        QCOMPARE(settings[u"AllowLoginScreenPasswordReset"_s], QJsonValue(true));
        QCOMPARE(settings[u"LoginSettingsVersion"_s], QJsonValue(1));
        QVERIFY(f.json()[u"keys"_s].isNull());
        QCOMPARE(f.run({"cache", "show"}), 0);
        QVERIFY(f.output.contains(u"ResetPasswordButton.OptionalText = \"cached\"\n"_s));
        QVERIFY(f.output.contains(u"(the key file is for root alone)"_s));
        QCOMPARE(f.run({"cache", "check", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"usable"_s, true},
                                        {u"settingsFile"_s, true},
                                        {u"keyHashesFile"_s, QJsonValue::Null},
                                        {u"needKey"_s, false},
                                        {u"hasKey"_s, QJsonValue::Null}}));
    }

    void rootSeesTheKeysButNeverTheSessionKey()
    {
        Fixture f;
        f.fake.identity->userId = 0;
        f.writeSettings(u"cached"_s);
        f.writeKeys();
        QCOMPARE(f.run({"cache", "show", "--json"}), 0);
        const QJsonObject keys = f.json()[u"keys"_s].toObject();
        QCOMPARE(keys[u"ConfigurationSet.ComputerRID"_s], QJsonValue(1104));
        QCOMPARE(keys[u"ConfigurationSet.PublicKey"_s], QJsonValue(u"cHVibGlj"_s)); // of "public"
        QCOMPARE(keys[u"ConfigurationSet.SessionKey"_s], QJsonValue(u"(not shown)"_s));
        QCOMPARE(f.run({"cache", "check"}), 0);
        QVERIFY(f.output.contains(u"Nothing that is on needs a session key."_s));
    }

    void rootWithoutAKeyFileIsTold()
    {
        Fixture f;
        f.fake.identity->userId = 0;
        f.writeSettings(u"cached"_s);
        QCOMPARE(f.run({"cache", "check"}), 1);
        QVERIFY(f.errors.contains(u"root has not saved the key file "_s + keyFile));
        QCOMPARE(f.run({"cache", "show"}), 0);
        QVERIFY(f.output.contains(u"\"cached\""_s));
    }

    void aTornCacheIsAFailureWithItsReason()
    {
        Fixture f;
        f.fake.settingsFiles->addFile(settingsFile, "bplist00");
        QCOMPARE(f.run({"cache", "check"}), 1);
        QVERIFY(f.errors.contains(u"Unable load settings file."_s));
        QVERIFY(f.errors.contains(u"the cache cannot be used"_s));
    }

    void equalSettingsAreTold()
    {
        Fixture f;
        QCOMPARE(f.run({"settings"}), 0);
        f.install();
        SSLogonSettings fresh;
        fresh.loadFromConnectionPointKeywords(
            SSConnectionPointHelper::getConnectionPointKeywords().get());
        f.write(settingsFile, fresh.serialize());
        QCOMPARE(f.run({"compare", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"equal"_s, true},
                                        {u"firstDifference"_s, QJsonValue::Null},
                                        {u"fresh"_s, QJsonValue::Null},
                                        {u"cached"_s, QJsonValue::Null}}));
    }

    void theFirstDifferenceIsNamedWithBothValues()
    {
        Fixture f;
        f.writeSettings(u"cached"_s);
        QCOMPARE(f.run({"compare", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"equal"_s, false},
                                        {u"firstDifference"_s, u"text"_s},
                                        {u"fresh"_s, u"fresh"_s},
                                        {u"cached"_s, u"cached"_s}}));
        QCOMPARE(f.run({"compare"}), 0);
        QCOMPARE(f.output, u"The cache differs at text\n    from the directory: \"fresh\"\n"
                           "    in the cache:       \"cached\"\n"_s);
    }

    void theKeysAreForRootToCompare()
    {
        Fixture f;
        f.directory->connectionPoints.records.clear();
        f.addPoint(u"host"_s, Fixture::pointKeywords({u"OfflinePasswordReset.Enabled=1"_s,
                                                      u"FileVaultSyncPrompt.Enabled=1"_s,
                                                      u"ConfigurationSet.Key:0=cHVibGlj"_s}));
        f.install();
        SSLogonSettings fresh;
        fresh.loadFromConnectionPointKeywords(
            SSConnectionPointHelper::getConnectionPointKeywords().get());
        f.write(settingsFile, fresh.serialize());
        f.writeKeys();
        QCOMPARE(f.run({"compare", "--keys"}), 1);
        QVERIFY(f.errors.contains(u"only root can compare the keys"_s));
        f.fake.identity->userId = 0;
        QCOMPARE(f.run({"compare", "--keys", "--json"}), 0);
        QCOMPARE(f.json()[u"equal"_s], QJsonValue(true)); // the key file has the same key
        f.directory->connectionPoints.records.clear();
        f.addPoint(u"host"_s, Fixture::pointKeywords({u"OfflinePasswordReset.Enabled=1"_s,
                                                      u"FileVaultSyncPrompt.Enabled=1"_s,
                                                      u"ConfigurationSet.Key:0=b3RoZXI="_s}));
        QCOMPARE(f.run({"compare", "--keys", "--json"}), 0);
        QCOMPARE(f.json()[u"firstDifference"_s], QJsonValue(u"configurationSetPublicKey"_s));
    }

    void withoutAConnectionPointThereIsNothingToCompare()
    {
        Fixture f;
        f.directory->connectionPoints.records.clear();
        f.writeSettings(u"cached"_s);
        QCOMPARE(f.run({"compare"}), 1);
        QVERIFY(f.errors.contains(u"no connection point of the service was found"_s));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlCache)
#include "tst_SSControlCache.moc"
