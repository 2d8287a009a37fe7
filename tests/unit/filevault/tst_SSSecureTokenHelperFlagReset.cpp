#include "tests/unit/filevault/FlagFixture.h"

#include <QTest>

using namespace Flag;

/// The flag as its user clears it.
class tst_SSSecureTokenHelperFlagReset : public QObject
{
    Q_OBJECT

    static bool reset() { return SSSecureTokenHelper::resetPasswordChangedFlag(); }
    static QVariantMap cleared()
    {
        QVariantMap values = otherValues();
        values.insert(u"PasswordChanged"_s, false);
        return values;
    }

private Q_SLOTS:
    void isNotForRoot()
    {
        const Fixture f(0);
        f.addFile(xmlFile("<true/>"));
        QVERIFY(!reset());
        QCOMPARE(f.errors(),
                 QStringList{error(u"Only ordinary user can write to user defaults."_s)});
        QCOMPARE(f.bytes(), xmlFile("<true/>"));
    }

    void noFileIsDoneAndMakesNothing()
    {
        const Fixture f;
        QVERIFY(reset());
        QCOMPARE(f.files().changes, QStringList());
        QCOMPARE(f.files().entries.keys(), QStringList{home});
        QCOMPARE(f.errors(), QStringList());
        QCOMPARE(
            f.trace(),
            (QStringList{u"[Debug]: >> +[SSSecureTokenHelper resetPasswordChangedFlag] started"_s,
                         u"[Debug]: >> +[SSSecureTokenHelper resetPasswordChangedFlag] ended"_s}));
    }

    void keepsEveryOtherValueAndTheFormat_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("start");
        QTest::newRow("XML") << xmlFile("<true/>") << QByteArray("<?xml ");
        QTest::newRow("XML without the flag")
            << xmlFile().replace("<key>PasswordChanged</key>\n\t<false/>", "")
            << QByteArray("<?xml ");
        QTest::newRow("binary") << flaggedBinaryFile() << QByteArray("bplist00");
    }
    void keepsEveryOtherValueAndTheFormat()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, start);
        const Fixture f;
        f.addFile(bytes);
        QVERIFY(reset());
        QVERIFY(f.bytes().startsWith(start));
        QCOMPARE(f.values(), cleared());
        QCOMPARE(f.files().changes,
                 (QStringList{u"writeAtomically "_s + file, u"setAttributes "_s + file}));
        QCOMPARE(f.errors(), QStringList());
    }

    void theFileBecomesTheUsersAloneWhateverItWas()
    {
        const Fixture f;
        f.addFile(xmlFile("<true/>"));
        QVERIFY(reset());
        QCOMPARE(f.rights(), u"0600 jdoe 1234"_s);
        QVERIFY(!f.files().looks.contains(u"attributes "_s + file));
    }

    void whatWasSetIsRead()
    {
        const Fixture f;
        f.addFile(xmlFile("<true/>"));
        QVERIFY(SSSecureTokenHelper::passwordChanged());
        QVERIFY(reset());
        QVERIFY(!SSSecureTokenHelper::passwordChanged());
        f.fake.identity->userId = 0;
        QVERIFY(SSSecureTokenHelper::updatePasswordChangedForUser(u"jdoe"_s));
        f.fake.identity->userId = 1000;
        QVERIFY(SSSecureTokenHelper::passwordChanged());
    }

    void anUnknownUser()
    {
        const Fixture f;
        f.addFile(xmlFile("<true/>"));
        f.directory->localUsers.records.clear();
        QVERIFY(!reset());
        QCOMPARE(f.errors(), QStringList{error(u"Unable get user 'jdoe' information."_s)});
    }

    void noFileName()
    {
        const Fixture f;
        f.fake.defaults->domainName.clear();
        QVERIFY(!reset());
        QCOMPARE(f.errors(), QStringList{error(u"Unable get user 'jdoe' defaults file name."_s)});
    }

    void whatIsNoPropertyListStays_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a text") << QByteArray("PasswordChanged = 1");
        QTest::newRow("a torn one") << binaryFile().chopped(1);
    }
    void whatIsNoPropertyListStays()
    {
        QFETCH(QByteArray, bytes);
        const Fixture f;
        f.addFile(bytes);
        QVERIFY(!reset());
        QCOMPARE(f.errors().size(), 2);
        QCOMPARE(f.errors().first(), error(u"Unable translate user 'jdoe' defaults"_s));
        QCOMPARE(f.bytes(), bytes);
        QCOMPARE(f.files().changes, QStringList());
    }

    void whatIsNoDictionaryHoldsNoFlagAndStays()
    {
        const Fixture f;
        f.addFile("<plist><array/></plist>");
        QVERIFY(reset());
        QCOMPARE(f.errors(), QStringList());
        QCOMPARE(f.files().changes, QStringList());
    }

    void aFileThatCannotBeRead()
    {
        const Fixture f;
        f.addFile(xmlFile("<true/>"));
        f.fails(u"read"_s);
        QVERIFY(!reset());
        QCOMPARE(f.errors(), (QStringList{error(u"Unable translate user 'jdoe' defaults"_s),
                                          error(u"no such luck"_s)}));
    }

    void whatCannotBeSerialized()
    {
        const Fixture f;
        f.addFile(fullFile());
        QVERIFY(!reset());
        QCOMPARE(f.errors(),
                 QStringList{error(u"Unable serialize user 'jdoe' defaults. Error: too many or "
                                   "too large values"_s)});
        QCOMPARE(f.bytes(), fullFile());
    }

    void failuresOfWriting_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no file") << u"writeAtomically"_s
                                 << QStringList{
                                        error(u"Unable write user 'jdoe' defaults to file."_s),
                                        error(u"no such luck"_s)};
        QTest::newRow("no rights")
            << u"setAttributes"_s
            << QStringList{error(
                   u"Unable correct rights of the file: %1. Error: no such luck"_s.arg(file))};
    }
    void failuresOfWriting()
    {
        QFETCH(QString, operation);
        QFETCH(QStringList, expected);
        const Fixture f;
        f.addFile(xmlFile("<true/>"));
        f.fails(operation);
        QVERIFY(!reset());
        QCOMPARE(f.errors(), expected);
    }

    void theAccountsNameIsTheFilesOwner()
    {
        const Fixture f;
        f.fake.identity->name = u"CORP\\jdoe"_s;
        f.addFile(xmlFile("<true/>"));
        QVERIFY(reset());
        QCOMPARE(f.directory->calls.first().query.value, u"CORP\\jdoe"_s);
        QCOMPARE(f.rights(), u"0600 CORP\\jdoe 1234"_s);
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperFlagReset)
#include "tst_SSSecureTokenHelperFlagReset.moc"
