#include "directory/SSConnectionPointKeywords.h"
#include "platform/PropertyList.h"
#include "platform/linux/cryptography/LinuxCryptography.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "settings/SSLogonSettings.h"
#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString folder = u"/Library/Caches/ZevrikSelfService"_s;
const QString cacheFile = folder + u"/com.zevrik.selfservice.plist"_s;
const QString keyFile = folder + u"/com.zevrik.selfservice.hash.plist"_s;

/// What the controller does with the logon settings and their cache.
class Fixture : public EnrollFixture
{
public:
    void cache(const PropertyListDictionary &dictionary) { write(cacheFile, dictionary); }
    void cacheKeys(const PropertyListDictionary &dictionary) { write(keyFile, dictionary); }
    /// What an earlier run would have kept of the same connection point.
    void cacheTheDirectory(const QMap<QString, QString> &changes = {})
    {
        QMap<QString, QString> data = keywords;
        data.insert(changes);
        const SSConnectionPointKeywords point(data, u"/Active Directory/CORP/All Domains"_s);
        SSLogonSettings settings;
        settings.loadFromConnectionPointKeywords(&point);
        cache(settings.serialize());
        fake.log->clear();
    }
    [[nodiscard]] QStringList writes() const { return fake.settingsFiles->changes; }

private:
    void write(const QString &path, const PropertyListDictionary &dictionary)
    {
        const auto bytes = writeBinaryPropertyList(dictionary);
        fake.settingsFiles->addFile(path, {reinterpret_cast<const char *>(bytes.value().data()),
                                           static_cast<qsizetype>(bytes.value().size())});
    }
};

} // namespace

class tst_SSEnrollSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void freshSettingsAreKeptWhenThereIsNoCache()
    {
        Fixture f;
        f.set(u"WinlogonResetPassword.WebUiUrl", u"https://host/reset"_s);
        f.start();
        QCOMPARE(f.writes(), QStringList{u"writeInPlace "_s + cacheFile});
        const auto kept = SSLogonSettings::settingsFromCache();
        QVERIFY(kept);
        QCOMPARE(kept->linkURL(), std::optional(u"https://host/reset"_s));
    }

    void equalSettingsAreNotWrittenAgain()
    {
        // Read back, the switch of the prompt is on; so it has to be in the directory.
        Fixture f;
        f.set(u"FileVaultSyncPrompt.Enabled", u"1"_s);
        f.cacheTheDirectory();
        f.start();
        QCOMPARE(f.writes(), QStringList());
    }

    void anotherProxyAloneIsNotWritten()
    {
        Fixture f;
        f.set(u"FileVaultSyncPrompt.Enabled", u"1"_s);
        f.cacheTheDirectory({{u"EnrollSysNotification.Proxy"_s, u"old:1"_s}});
        f.start();
        QCOMPARE(f.writes(), QStringList());
    }

    void changedSettingsAreWritten()
    {
        Fixture f;
        f.set(u"FileVaultSyncPrompt.Enabled", u"1"_s);
        f.set(u"WinlogonResetPassword.Text", u"new"_s);
        f.cacheTheDirectory({{u"WinlogonResetPassword.Text"_s, u"old"_s}});
        f.start();
        QCOMPARE(f.writes(), QStringList{u"writeInPlace "_s + cacheFile});
        QCOMPARE(SSLogonSettings::settingsFromCache()->text(), std::optional(u"new"_s));
    }

    void aSwitchedOffPromptReadsAsOnAndIsWrittenEachTime()
    {
        Fixture f;
        f.cacheTheDirectory();
        f.start();
        QCOMPARE(f.writes(), QStringList{u"writeInPlace "_s + cacheFile});
    }

    void rootKeepsTheKeysThatTheDirectoryDoesNotKnow_data()
    {
        QTest::addColumn<QString>("publicKey"); // Base64, in the directory
        QTest::addColumn<bool>("byAClick");
        QTest::addColumn<QByteArray>("settingsFile"); // null: what the directory said before
        QTest::addColumn<bool>("isKept");
        const QString same = u"cHVibGlj"_s; // of "public"
        QTest::newRow("the same public key") << same << false << QByteArray() << true;
        QTest::newRow("launched by a click") << same << true << QByteArray() << true;
        QTest::newRow("another public key") << u"b3RoZXI="_s << false << QByteArray() << false;
        // What any user of the computer can do to the settings file.
        QTest::newRow("a torn settings file")
            << same << false << QByteArray("bplist00\xd1") << true;
        QTest::newRow("an empty settings file") << same << false << QByteArray("") << true;
        QTest::newRow("another version of the settings file")
            << same << false
            << QByteArray("<plist><dict><key>LoginSettingsVersion</key><integer>2</integer></"
                          "dict></plist>")
            << true;
    }
    void rootKeepsTheKeysThatTheDirectoryDoesNotKnow()
    {
        QFETCH(QString, publicKey);
        QFETCH(bool, byAClick);
        QFETCH(QByteArray, settingsFile);
        QFETCH(bool, isKept);
        Fixture f;
        f.fake.cryptography->backend = std::make_shared<LinuxCryptography>();
        f.fake.identity->userId = 0;
        f.set(u"OfflinePasswordReset.Enabled", u"1"_s);
        f.set(u"ConfigurationSet.Key:0", publicKey);
        f.cacheTheDirectory();
        const auto session = SSSecurityHelper::encodeSecureData(
            SSSecureData::dataWithData(SSSecure::bytes(QByteArray("session key"))).get());
        f.cacheKeys({{u"LoginSettingsVersion"_s, qlonglong{1}},
                     {u"ConfigurationSet.ComputerRID"_s, qlonglong{1104}},
                     {u"ConfigurationSet.PublicKey"_s, QByteArray("public")},
                     {u"ConfigurationSet.SessionKey"_s,
                      QVariant::fromValue(PropertyListData{session->data(), session})},
                     {u"ConfigurationSet.CipheredSessionKey"_s, QByteArray("ciphered")}});
        if (!settingsFile.isNull())
            f.fake.settingsFiles->addFile(cacheFile, settingsFile);
        if (byAClick)
            f.startWithClick(f.identifier());
        else
            f.start();
        const auto kept = SSLogonSettings::settingsFromCache();
        QVERIFY(kept);
        QCOMPARE(kept->computerRID(), 1104U);
        QCOMPARE(kept->hasKey(), isKept);
        QCOMPARE(kept->cipheredSessionKey() != nullptr, isKept);
    }

    void aTornCacheIsRefusedAndWrittenAnew()
    {
        Fixture f;
        f.fake.settingsFiles->addFile(cacheFile, "bplist00\xd1\x01");
        f.start();
        QCOMPARE(f.errors().first(), u"[Error]: Unable load settings file."_s);
        QCOMPARE(f.writes(), QStringList{u"writeInPlace "_s + cacheFile});
        QVERIFY(SSLogonSettings::settingsFromCache());
    }

    void aCacheThatCannotBeWrittenStopsNothing()
    {
        Fixture f;
        f.fake.settingsFiles->errors.insert(u"writeInPlace"_s, u"full"_s);
        f.startAndRemind();
        QVERIFY(f.errors().contains(u"[Error]: Unable write settings to file."_s));
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
    }

    void theCachedSettingsServeUntilTheDirectoryAnswers()
    {
        Fixture f;
        f.set(u"WinlogonResetPassword.Text", u"new"_s);
        f.cacheTheDirectory({{u"WinlogonResetPassword.Text"_s, u"old"_s}});
        f.setDirectoryFails(true);
        f.start();
        QVERIFY(f.enroll->loginSettings());
        QCOMPARE(f.enroll->loginSettings()->text(), std::optional(u"old"_s));
        f.setDirectoryFails(false);
        f.fake.runLoop->advance(10);
        QCOMPARE(f.enroll->loginSettings()->text(), std::optional(u"new"_s));
        f.enroll->terminate();
        QVERIFY(!f.enroll->loginSettings());
    }

    void withoutEitherThereAreNoLoginSettings()
    {
        Fixture f;
        f.setDirectoryFails(true);
        f.start();
        QVERIFY(!f.enroll->loginSettings());
    }

    void aDirectoryThatStaysAwayLeavesAWorkingProcessOnTheCache()
    {
        Fixture f;
        f.cacheTheDirectory();
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(60);
        QCOMPARE(f.searches(), 7);
        QVERIFY(!f.terminated());
        // The reminder cannot start without the directory and stays pending.
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Initial);
        f.fake.runLoop->advance(3600);
        QCOMPARE(f.searches(), 7);
        QVERIFY(!f.terminated());
        QVERIFY(f.enroll->loginSettings());
    }

    void theLogOfADirectoryThatStaysAway()
    {
        Fixture f;
        f.cacheTheDirectory();
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(60);
        const QString unreachable =
            u"[Error]: Unable process open directory search request: no server"_s;
        QStringList expected;
        for (int attempt = 0; attempt < 7; ++attempt)
            expected.append(unreachable);
        expected.append(u"[Error]: Enroll: Unable retrieve settings from Active Directory."_s);
        QCOMPARE(f.errors(), expected);
        // The last attempt as a whole: what follows it is the rule for quitting, not the end.
        const QStringList lines = f.fake.log->lines();
        const auto scope = [](const char16_t *name, const char16_t *moment) {
            return u"[Debug]: >> -[SSEnroll "_s + QString::fromUtf16(name) + u"] "_s +
                   QString::fromUtf16(moment);
        };
        const qsizetype last = lines.lastIndexOf(expected.last());
        QCOMPARE(lines.mid(last + 1),
                 (QStringList{scope(u"checkTerminateApplication", u"started"),
                              scope(u"checkTerminateApplication", u"ended"),
                              scope(u"loadSettingsAndProcessNotification", u"ended"),
                              scope(u"onLoadSettingsTimer:", u"ended")}));
    }

    void aCacheOfAnotherVersionIsNoCache()
    {
        Fixture f;
        f.cache({{u"LoginSettingsVersion"_s, qlonglong{2}}});
        f.setDirectoryFails(true);
        f.start();
        f.fake.runLoop->advance(60);
        QVERIFY(f.terminated());
        QCOMPARE(f.errors().first(), u"[Error]: Unable de-serialize settings."_s);
    }

    void aClickWithoutADirectoryLivesOnWhenThereIsACache()
    {
        Fixture f;
        f.cacheTheDirectory();
        f.setDirectoryFails(true);
        f.startWithClick(f.identifier());
        f.fake.runLoop->advance(3600);
        QCOMPARE(f.searches(), 7);
        QVERIFY(!f.terminated());
        QVERIFY(f.fake.workspace->opened.isEmpty());
    }

    void theTrayAndTheLogonSettingsAreLoadedInThatOrder()
    {
        Fixture f;
        f.start();
        const QStringList lines = f.fake.log->lines();
        const QString load = u" loadFromConnectionPointKeywords:] "_s;
        const auto at = [&](const QString &text) { return lines.indexOf(text); };
        const qsizetype tray = at(u"[Debug]: >> -[SSTraySettings"_s + load + u"ended"_s);
        const qsizetype logon = at(u"[Debug]: >> -[SSLogonSettings"_s + load + u"started"_s);
        QVERIFY(tray >= 0);
        QVERIFY(logon > tray);
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollSettings)
#include "tst_SSEnrollSettings.moc"
