#include "tests/unit/settings/LogonSettingsCache.h"

#include <QTest>

using namespace LogonSettingsFixture;

class tst_SSLogonSettingsSaving : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rootWritesBothFilesAtomicallyWithTheirRights()
    {
        CacheFixture f(0, u"root"_s);
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
        const CacheFixture f(75, u"_securityagent"_s);
        QVERIFY(f.settings.save());
        QCOMPARE(f.files().changes,
                 (QStringList{u"createDirectory "_s + folder, u"setAttributes "_s + folder,
                              u"writeAtomically "_s + settingsFile,
                              u"setAttributes "_s + settingsFile}));
    }

    void anOrdinaryUserWritesInPlaceAndNoKeys()
    {
        const CacheFixture f;
        f.files().addFolder(folder);
        QVERIFY(f.settings.save());
        QCOMPARE(f.files().changes, (QStringList{u"writeInPlace "_s + settingsFile}));
    }

    void anExistingFolderIsUsedAsItIs()
    {
        const CacheFixture f(0, u"root"_s);
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
        CacheFixture f(0, u"root"_s);
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
        CacheFixture f(0, u"root"_s);
        if (operation != u"createDirectory"_s)
            f.files().addFolder(folder);
        f.fails(operation);
        QVERIFY(!f.settings.saveKeyHashes());
        QCOMPARE(f.errors(), expected);
    }

    void theSettingsStayWhenTheKeysCannotBeWritten()
    {
        // The key file is a folder, which the settings file is not.
        CacheFixture f(0, u"root"_s);
        f.files().addFolder(folder);
        f.files().addFolder(keyFile);
        QVERIFY(!f.settings.save());
        QVERIFY(!f.files().entries.value(settingsFile).bytes.isEmpty());
        QCOMPARE(f.errors().first(), error(u"Unable write settings hash to file."_s));
    }

    void aSessionKeyThatCannotBeEncipheredIsNotLost()
    {
        CacheFixture f(0, u"root"_s);
        QVERIFY(f.settings.deserializeKeyHashes(everyCachedKeyHash()));
        QVERIFY(f.settings.save());
        const QByteArray before = f.files().entries.value(keyFile).bytes;
        f.fake.cryptography->computationStatus = -1;
        f.fake.log->clear();
        QVERIFY(!f.settings.save());
        QCOMPARE(f.files().entries.value(keyFile).bytes, before);
        QCOMPARE(f.errors().last(), error(u"Unable serialize settings hash."_s));
        QVERIFY(!f.settings.serializedData());
        QCOMPARE(f.errors().last(), error(u"Unable serialize settings hash."_s));
    }

    void namesThatThereAreNot()
    {
        CacheFixture f(0, u"root"_s);
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
        CacheFixture f(0, u"root"_s);
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
};

QTEST_GUILESS_MAIN(tst_SSLogonSettingsSaving)
#include "tst_SSLogonSettingsSaving.moc"
