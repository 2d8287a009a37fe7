#include "tests/unit/app/ctl/ControlFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString home = u"/home/jdoe"_s;
const QString file = home + u"/Library/Preferences/com.zevrik.selfservice.plist"_s;

class Fixture : public ControlFixture
{
public:
    explicit Fixture(quint32 userId = 1000)
    {
        fake.identity->userId = userId;
        FakeDirectory::add(directory->localUsers,
                           {{u"dsAttrTypeStandard:RecordName"_s, {u"jdoe"_s}},
                            {u"dsAttrTypeStandard:PrimaryGroupID"_s, {u"1234"_s}},
                            {u"dsAttrTypeStandard:NFSHomeDirectory"_s, {home}}});
        for (const QString &folder : {home, home + u"/Library"_s, home + u"/Library/Preferences"_s})
            fake.settingsFiles->addFolder(folder);
    }
    void write(const QByteArray &flag)
    {
        fake.settingsFiles->addFile(file, "<plist><dict><key>PasswordChanged</key>" + flag +
                                              "</dict></plist>");
    }
    [[nodiscard]] QByteArray contents() const
    {
        return fake.settingsFiles->entries.value(file).bytes.simplified();
    }
};

} // namespace

class tst_SSControlFlag : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTheFlag()
    {
        Fixture f;
        f.write("<true/>");
        QCOMPARE(f.run({"flag", "show"}), 0);
        QCOMPARE(f.output, u"YES\n"_s);
        QCOMPARE(f.run({"flag", "show", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"passwordChanged"_s, true}}));
        QVERIFY(f.errors.isEmpty());
    }

    void showsThatThereIsNoFile()
    {
        Fixture f;
        QCOMPARE(f.run({"flag", "show"}), 0);
        QCOMPARE(f.output, u"NO\n"_s);
        QCOMPARE(f.run({"flag", "show", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"passwordChanged"_s, false}}));
    }

    void aFileThatCannotBeReadIsNoAnswer()
    {
        Fixture f;
        f.fake.settingsFiles->addFile(file, "no property list");
        QCOMPARE(f.run({"flag", "show", "--json"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(u"Unable translate user defaults"_s));
        QVERIFY(f.errors.endsWith(u"zevrikselfservicectl: the flag could not be read\n"_s));
    }

    void rootHasNoFlag()
    {
        Fixture f(0);
        QCOMPARE(f.run({"flag", "show"}), 1);
        QCOMPARE(f.errors,
                 u"zevrikselfservicectl: only ordinary user can read from user defaults.\n"
                 "zevrikselfservicectl: the flag could not be read\n"_s);
        QCOMPARE(f.run({"flag", "reset"}), 1);
        QCOMPARE(f.errors, u"zevrikselfservicectl: Only ordinary user can write to user defaults.\n"
                           "zevrikselfservicectl: the flag could not be reset\n"_s);
    }

    void rootSetsAUsersFlag()
    {
        Fixture f(0);
        QCOMPARE(f.run({"flag", "set", "--user", "jdoe"}), 0);
        QCOMPARE(f.output, u"The flag of the user jdoe is set.\n"_s);
        QVERIFY(f.contents().contains("<key>PasswordChanged</key> <true/>"));
        QCOMPARE(f.run({"flag", "set", "--user", "jdoe", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"user"_s, u"jdoe"_s}, {u"passwordChanged"_s, true}}));
        QVERIFY(f.errors.isEmpty());
    }

    void nobodyElseSetsAUsersFlag()
    {
        Fixture f;
        QCOMPARE(f.run({"flag", "set", "--user", "jdoe"}), 1);
        QVERIFY(f.output.isEmpty());
        QCOMPARE(f.errors, u"zevrikselfservicectl: Only root can write to user defaults.\n"
                           "zevrikselfservicectl: the flag of the user jdoe could not be set\n"_s);
        QVERIFY(!f.fake.settingsFiles->entries.contains(file));
    }

    void anUnknownUser()
    {
        Fixture f(0);
        f.directory->localUsers.records.clear();
        QCOMPARE(f.run({"flag", "set", "--user", "nobody"}), 1);
        QVERIFY(f.errors.contains(u"Unable get user 'nobody' information."_s));
    }

    void aUserClearsHisFlag()
    {
        Fixture f;
        f.write("<true/>");
        QCOMPARE(f.run({"flag", "reset"}), 0);
        QCOMPARE(f.output, u"The flag is not set.\n"_s);
        QVERIFY(f.contents().contains("<key>PasswordChanged</key> <false/>"));
        QCOMPARE(f.run({"flag", "reset", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"passwordChanged"_s, false}}));
        QCOMPARE(f.run({"flag", "show"}), 0);
        QCOMPARE(f.output, u"NO\n"_s);
    }

    void whatMakesNoSense_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("fault");
        QTest::newRow("nothing to do") << QStringList{u"flag"_s} << u"show|set|reset is missing"_s;
        QTest::newRow("another thing") << QStringList{u"flag"_s, u"clear"_s}
                                       << u"there is no \"flag clear\", only show, set and reset"_s;
        QTest::newRow("nobody's flag")
            << QStringList{u"flag"_s, u"set"_s} << u"\"flag set\" needs --user"_s;
        QTest::newRow("an empty name")
            << QStringList{u"flag"_s, u"set"_s, u"--user="_s} << u"the value of --user is empty"_s;
        QTest::newRow("show somebody else's")
            << QStringList{u"flag"_s, u"show"_s, u"--user"_s, u"jdoe"_s}
            << u"--user goes with \"flag set\" alone"_s;
        QTest::newRow("reset somebody else's")
            << QStringList{u"flag"_s, u"reset"_s, u"--user"_s, u"jdoe"_s}
            << u"--user goes with \"flag set\" alone"_s;
    }
    void whatMakesNoSense()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, fault);
        Fixture f(0);
        QList<QByteArray> texts;
        for (const QString &argument : arguments)
            texts.append(argument.toUtf8());
        std::vector<const char *> pointers;
        for (const QByteArray &text : texts)
            pointers.push_back(text.constData());
        QCOMPARE(f.run(pointers), 2);
        QCOMPARE(f.errors.section(u'\n', 0, 0), u"zevrikselfservicectl: "_s + fault);
        QCOMPARE(f.platformsMade, 0);
    }
};

QTEST_GUILESS_MAIN(tst_SSControlFlag)
#include "tst_SSControlFlag.moc"
