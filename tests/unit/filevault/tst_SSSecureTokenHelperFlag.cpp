#include "tests/unit/filevault/FlagFixture.h"

#include <QTest>

using namespace Flag;

/// The flag as it is read, and as root sets it.
class tst_SSSecureTokenHelperFlag : public QObject
{
    Q_OBJECT

    static bool update() { return SSSecureTokenHelper::updatePasswordChangedForUser(u"jdoe"_s); }
    static QVariantMap flagged(QVariantMap values = otherValues())
    {
        values.insert(u"PasswordChanged"_s, true);
        return values;
    }

private Q_SLOTS:
    void read_theFlag_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("expected");
        QTest::newRow("true in XML") << xmlFile("<true/>") << true;
        QTest::newRow("false in XML") << xmlFile() << false;
        QTest::newRow("true in binary") << flaggedBinaryFile() << true;
        QTest::newRow("false in binary") << binaryFile() << false;
        QTest::newRow("absent") << QByteArray("<plist><dict/></plist>") << false;
        QTest::newRow("a number") << xmlFile("<integer>1</integer>") << true;
        QTest::newRow("a text that says yes") << xmlFile("<string>YES</string>") << true;
        QTest::newRow("a text that says no") << xmlFile("<string>NO</string>") << false;
        QTest::newRow("a list") << xmlFile("<array><true/></array>") << false;
    }
    void read_theFlag()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, expected);
        const Fixture f;
        f.addFile(bytes);
        QCOMPARE(SSSecureTokenHelper::passwordChanged(), expected);
        QCOMPARE(f.errors(), QStringList());
        QCOMPARE(f.trace(),
                 (QStringList{u"[Debug]: >> +[SSSecureTokenHelper passwordChanged] started"_s,
                              u"[Debug]: >> +[SSSecureTokenHelper passwordChanged] ended"_s}));
        QCOMPARE(f.files().changes, QStringList());
    }

    void read_rootHasNoFlag()
    {
        const Fixture f(0);
        f.addFile(xmlFile("<true/>"));
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(f.errors(),
                 QStringList{error(u"only ordinary user can read from user defaults."_s)});
    }

    void read_noFileIsNoFlagAndNoError()
    {
        const Fixture f;
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(SSSecureTokenHelper::readPasswordChanged(), std::optional(false));
        QCOMPARE(f.errors(), QStringList());
    }

    void read_theHomeFolderIsTheAccountDatabases()
    {
        const Fixture f;
        f.fake.identity->accounts = {{u"jdoe"_s, 1000, 1000, u"/srv/people/jdoe"_s}};
        f.addFile(xmlFile("<true/>"));
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(
            f.files().looks,
            QStringList{
                u"exists /srv/people/jdoe/Library/Preferences/com.zevrik.selfservice.plist"_s});
    }

    void read_noFileName_data()
    {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<QString>("folder");
        QTest::newRow("no domain") << QString() << home;
        QTest::newRow("no home folder") << u"com.zevrik.selfservice"_s << QString();
    }
    void read_noFileName()
    {
        QFETCH(QString, domain);
        QFETCH(QString, folder);
        const Fixture f;
        f.fake.defaults->domainName = domain;
        f.fake.identity->accounts = {{u"jdoe"_s, 1000, 1000, folder}};
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(f.errors(), QStringList{error(u"Unable get user defaults file name."_s)});
    }

    void read_noAccountDatabase()
    {
        const Fixture f;
        f.fake.identity->userError = u"no such luck"_s;
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(f.errors(), (QStringList{error(u"no such luck"_s),
                                          error(u"Unable get user defaults file name."_s)}));
    }

    void read_noAccount()
    {
        const Fixture f;
        f.fake.identity->accounts.clear();
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(f.errors(), QStringList{error(u"Unable get user defaults file name."_s)});
    }

    void read_noPropertyList_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a text") << QByteArray("PasswordChanged = 1");
        QTest::newRow("a torn one") << binaryFile().chopped(1);
        QTest::newRow("an array") << QByteArray("<plist><array/></plist>");
    }
    void read_noPropertyList()
    {
        QFETCH(QByteArray, bytes);
        const Fixture f;
        f.addFile(bytes);
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(f.errors().size(), 2);
        QCOMPARE(f.errors().first(), error(u"Unable translate user defaults"_s));
        QCOMPARE(SSSecureTokenHelper::readPasswordChanged(), std::nullopt);
    }

    void read_aFileThatCannotBeRead()
    {
        const Fixture f;
        f.addFile(xmlFile("<true/>"));
        f.fails(u"read"_s);
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable translate user defaults"_s),
                                          error(u"no such luck"_s)}));
    }

    void update_isForRootAlone()
    {
        const Fixture f;
        QVERIFY(!update());
        QCOMPARE(f.errors(), QStringList{error(u"Only root can write to user defaults."_s)});
        QCOMPARE(f.files().changes, QStringList());
        QVERIFY(f.directory->calls.isEmpty());
    }

    void update_makesAMissingFileAsXmlOfTheUsersAlone()
    {
        const Fixture f(0);
        f.addFolders();
        QVERIFY(update());
        QVERIFY(f.bytes().startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"));
        QCOMPARE(f.values(), flagged({}));
        QCOMPARE(f.rights(), u"0600 jdoe 1234"_s);
        QCOMPARE(f.files().changes,
                 (QStringList{as(u"writeAtomically "_s + file), as(u"setAttributes "_s + file)}));
        QCOMPARE(f.errors(), QStringList());
        QCOMPARE(f.trace(),
                 (QStringList{
                     u"[Debug]: >> +[SSSecureTokenHelper updatePasswordChangedForUser:] started"_s,
                     u"[Debug]: >> +[SSSecureTokenHelper updatePasswordChangedForUser:] ended"_s}));
    }

    void update_makesTheMissingFoldersTheUsersAlone()
    {
        const Fixture f(0);
        QVERIFY(update());
        QCOMPARE(f.files().changes,
                 (QStringList{as(u"createDirectory "_s + library),
                              as(u"createDirectory "_s + preferences),
                              as(u"writeAtomically "_s + file), as(u"setAttributes "_s + file)}));
        for (const QString &folder : {library, preferences}) {
            QCOMPARE(f.files().entries.value(folder).mode, 0700U);
            QCOMPARE(f.files().entries.value(folder).owner, u"jdoe"_s);
            QCOMPARE(f.files().entries.value(folder).groupId, std::optional(1234U));
        }
    }

    void update_keepsEveryOtherValueTheFormatAndTheRights_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("start");
        QTest::newRow("XML") << xmlFile() << QByteArray("<?xml ");
        QTest::newRow("binary") << binaryFile() << QByteArray("bplist00");
    }
    void update_keepsEveryOtherValueTheFormatAndTheRights()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, start);
        const Fixture f(0);
        f.addFile(bytes);
        QVERIFY(update());
        QVERIFY(f.bytes().startsWith(start));
        QCOMPARE(f.values(), flagged());
        QCOMPARE(f.rights(), u"0640 jdoe 77"_s);
        QCOMPARE(f.errors(), QStringList());
    }

    void update_nothingInTheHomeFolderIsDoneAsRoot()
    {
        const Fixture f(0);
        f.addFile(xmlFile());
        QVERIFY(update());
        const QStringList all = f.files().looks + f.files().changes;
        QVERIFY(all.size() >= 4);
        for (const QString &call : all)
            QVERIFY2(call.startsWith(u"as jdoe: "_s), qPrintable(call));
    }

    void update_anUnknownUser()
    {
        const Fixture f(0);
        f.directory->localUsers.records.clear();
        QVERIFY(!update());
        QCOMPARE(f.errors(), QStringList{error(u"Unable get user 'jdoe' information."_s)});
        QCOMPARE(f.files().changes, QStringList());
    }

    void update_aUserWhoCannotBeActedFor()
    {
        const Fixture f(0);
        f.fails(u"asUser"_s);
        QVERIFY(!update());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable get user 'jdoe' information."_s),
                                          error(u"no such luck"_s)}));
        QCOMPARE(f.files().changes, QStringList());
    }

    void update_noFileName_data()
    {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<QString>("folder");
        QTest::newRow("no domain") << QString() << home;
        QTest::newRow("no home folder") << u"com.zevrik.selfservice"_s << QString();
    }
    void update_noFileName()
    {
        QFETCH(QString, domain);
        QFETCH(QString, folder);
        const Fixture f(0);
        f.fake.defaults->domainName = domain;
        f.addRecord(u"1234"_s, folder);
        QVERIFY(!update());
        QCOMPARE(f.errors(), QStringList{error(u"Unable get user 'jdoe' defaults file name."_s)});
    }

    void update_attributesThatCannotBeReadAreTheNewFiles()
    {
        const Fixture f(0);
        f.addFile(binaryFile());
        f.fails(u"attributes"_s);
        QVERIFY(update());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable get attributes for the file: "_s + file),
                                          error(u"no such luck"_s)}));
        QCOMPARE(f.rights(), u"0600 jdoe 1234"_s);
        QCOMPARE(f.values(), flagged());
    }

    void update_whatIsNoPropertyListIsReplacedByXml_data() { read_noPropertyList_data(); }
    void update_whatIsNoPropertyListIsReplacedByXml()
    {
        QFETCH(QByteArray, bytes);
        const Fixture f(0);
        f.addFile(bytes);
        QVERIFY(update());
        QCOMPARE(f.errors().size(), 2);
        QCOMPARE(f.errors().first(), error(u"Unable translate user 'jdoe' defaults"_s));
        QVERIFY(f.bytes().startsWith("<?xml "));
        QCOMPARE(f.values(), flagged({}));
        QCOMPARE(f.rights(), u"0640 jdoe 77"_s);
    }

    void update_aFileThatCannotBeReadIsNotReplaced()
    {
        const Fixture f(0);
        f.addFile(xmlFile());
        f.fails(u"read"_s);
        QVERIFY(!update());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable translate user 'jdoe' defaults"_s),
                                          error(u"no such luck"_s)}));
        QCOMPARE(f.bytes(), xmlFile());
        QCOMPARE(f.files().changes, QStringList());
    }

    void update_aGroupThatIsNoNumberStaysTheWriters()
    {
        const Fixture f(0);
        f.addFolders();
        f.addRecord(u"staff"_s);
        QVERIFY(update());
        QCOMPARE(f.rights(), u"0600 jdoe 0"_s);
        QCOMPARE(f.files().entries.value(file).groupId, std::nullopt);
    }

    void update_whatCannotBeSerialized()
    {
        const Fixture f(0);
        f.addFile(fullFile());
        QVERIFY(!update());
        QCOMPARE(f.errors(),
                 QStringList{error(u"Unable serialize user 'jdoe' defaults. Error: too many or "
                                   "too large values"_s)});
        QCOMPARE(f.bytes(), fullFile());
    }

    void update_failuresOfWriting_data()
    {
        const QString unwritten = error(u"Unable write user 'jdoe' defaults to file."_s);
        const QString why = error(u"no such luck"_s);
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no folder") << u"createDirectory"_s << QStringList{unwritten, why};
        QTest::newRow("no file") << u"writeAtomically"_s << QStringList{unwritten, why};
        QTest::newRow("no rights")
            << u"setAttributes"_s
            << QStringList{error(
                   u"Unable correct rights of the file: %1. Error: no such luck"_s.arg(file))};
    }
    void update_failuresOfWriting()
    {
        QFETCH(QString, operation);
        QFETCH(QStringList, expected);
        const Fixture f(0);
        f.fails(operation);
        QVERIFY(!update());
        QCOMPARE(f.errors(), expected);
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperFlag)
#include "tst_SSSecureTokenHelperFlag.moc"
