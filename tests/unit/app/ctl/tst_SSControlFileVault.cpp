#include "tests/unit/app/ctl/ControlFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString openWarning =
    u"zevrikselfservicectl: warning: other users of this computer can see the passwords in the "
    "arguments of the disk encryption tools while these run; \"Who can see a password\" in the "
    "manual disk-encryption.md says how to close that\n"_s;
const QString unknownWarning =
    u"zevrikselfservicectl: warning: it cannot be told whether other users of this computer can "
    u"see "
    "the passwords in the arguments of the disk encryption tools while these run; \"Who can see a "
    "password\" in the manual disk-encryption.md says how to close that\n"_s;

class Fixture : public ControlFixture
{
public:
    explicit Fixture(quint32 userId = 1000)
    {
        fake.identity->userId = userId;
        fake.identity->users = {{u"jdoe"_s, 1000}, {u"Other"_s, 1001}};
        fake.childProcesses->answer = [this](const FakeChildProcesses::Run &run) {
            FakeChildProcesses::Answer answer;
            const QStringList asked = QStringList(run.executable) + *run.arguments;
            const auto found = tools.constFind(asked.mid(0, 2).join(u' '));
            if (found == tools.constEnd()) {
                answer.launchError =
                    ChildProcessError{ChildProcessError::Code::NotFound, u"no such tool"_s};
            } else {
                answer.output = *found;
            }
            return answer;
        };
    }
    /// The programs that ran, each with its arguments.
    [[nodiscard]] QList<QStringList> runs() const
    {
        QList<QStringList> result;
        for (const FakeChildProcesses::Run &run : fake.childProcesses->runs)
            result.append(QStringList(run.executable) + run.arguments.value_or(QStringList()));
        return result;
    }

    /// What a tool prints, by its path and first argument.
    QMap<QString, QByteArray> tools{
        {u"/usr/bin/fdesetup status"_s, "FileVault is On.\n"},
        {u"/usr/bin/fdesetup list"_s, "other,11111111-2222-3333-4444-555555555555\n"},
        {u"/usr/sbin/sysadminctl -secureTokenStatus"_s, "Secure token is ENABLED for user\n"},
        {u"/usr/bin/expect -c"_s, "\r\nzoe,11111111-2222-3333-4444-555555555555\r\n"
                                  "Boss,11111111-2222-3333-4444-555555555556\r\n"
                                  "jdoe,11111111-2222-3333-4444-555555555557\r\n"}};
};

QJsonObject statusJson(bool isSupported, const QJsonValue &isOn, const QString &user,
                       const QJsonValue &token)
{
    return {{u"isSecureTokenSupported"_s, isSupported},
            {u"fdeStatus"_s, isOn},
            {u"user"_s, user},
            {u"secureTokenStatus"_s, token},
            {u"areArgumentsOpenToOthers"_s, false}};
}

} // namespace

class tst_SSControlFileVault : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTheStatusOfWhoeverAsks()
    {
        Fixture f;
        QCOMPARE(f.run({"filevault", "status"}), 0);
        QCOMPARE(f.output, u"SecureToken supported: YES\n"
                           "FileVault is on:       YES\n"
                           "User:                  jdoe\n"
                           "SecureToken status:    YES\n"_s);
        QVERIFY(f.errors.isEmpty());
        QCOMPARE(f.runs(), (QList<QStringList>{
                               {u"/usr/bin/fdesetup"_s, u"status"_s},
                               {u"/usr/sbin/sysadminctl"_s, u"-secureTokenStatus"_s, u"jdoe"_s}}));
        QCOMPARE(f.run({"filevault", "status", "--json"}), 0);
        QCOMPARE(f.json(), statusJson(true, true, u"jdoe"_s, true));
    }

    void asksUnderTheNameThatTheComputerKnows()
    {
        Fixture f;
        f.fake.identity->fullName = u"jdoe@corp.example.test"_s;
        QCOMPARE(f.run({"filevault", "status", "--json"}), 0);
        QCOMPARE(f.json(), statusJson(true, true, u"jdoe@corp.example.test"_s, true));
        QCOMPARE(f.runs().last().last(), u"jdoe@corp.example.test"_s);
    }

    void showsWhatIsOff()
    {
        Fixture f;
        f.tools[u"/usr/bin/fdesetup status"_s] = "FileVault is Off.\n";
        f.tools[u"/usr/sbin/sysadminctl -secureTokenStatus"_s] = "Secure token is DISABLED\n";
        QCOMPARE(f.run({"filevault", "status", "--json"}), 0);
        QCOMPARE(f.json(), statusJson(true, false, u"jdoe"_s, false));
        QCOMPARE(f.run({"filevault", "status"}), 0);
        QVERIFY(f.output.contains(u"FileVault is on:       NO\n"_s));
        QVERIFY(f.output.contains(u"SecureToken status:    NO\n"_s));
    }

    void showsTheStatusOfAnother()
    {
        for (const quint32 userId : {0U, 1000U}) {
            Fixture f(userId);
            QCOMPARE(f.run({"filevault", "status", "--user", "Other", "--json"}), 0);
            QCOMPARE(f.json(), statusJson(true, true, u"Other"_s, true));
            QCOMPARE(f.runs().last(), (QStringList{u"/usr/sbin/sysadminctl"_s,
                                                   u"-secureTokenStatus"_s, u"Other"_s}));
        }
    }

    void rootReadsTheListWhereThereIsNoSecureToken()
    {
        Fixture f(0);
        f.fake.system->secureTokenSupported = false;
        QCOMPARE(f.run({"filevault", "status", "--user", "Other", "--json"}), 0);
        QCOMPARE(f.json(), statusJson(false, true, u"Other"_s, true));
        QCOMPARE(f.runs().last(), (QStringList{u"/usr/bin/fdesetup"_s, u"list"_s}));
        QCOMPARE(f.run({"filevault", "status", "--user", "jdoe", "--json"}), 0);
        QCOMPARE(f.json(), statusJson(false, true, u"jdoe"_s, false));

        f.tools[u"/usr/bin/fdesetup list"_s] = "no list\n";
        QCOMPARE(f.run({"filevault", "status", "--user", "jdoe", "--json"}), 1);
        QCOMPARE(f.json(), statusJson(false, true, u"jdoe"_s, QJsonValue::Null));
    }

    void nobodyElseIsToldAStatusWhereThereIsNoSecureToken()
    {
        Fixture f;
        f.fake.system->secureTokenSupported = false;
        QCOMPARE(f.run({"filevault", "status"}), 0);
        QCOMPARE(f.output, u"SecureToken supported: NO\n"
                           "FileVault is on:       YES\n"
                           "User:                  jdoe\n"
                           "SecureToken status:    (unknown)\n"_s);
        QVERIFY(f.errors.isEmpty());
        QCOMPARE(f.runs(), (QList<QStringList>{{u"/usr/bin/fdesetup"_s, u"status"_s}}));

        QCOMPARE(f.run({"filevault", "status", "--user", "Other", "--json"}), 1);
        QCOMPARE(f.json(), statusJson(false, true, u"Other"_s, QJsonValue::Null));
        QCOMPARE(f.errors,
                 u"zevrikselfservicectl: Only sudo user can get fde secure token "
                 "status.\nzevrikselfservicectl: the SecureToken status of the user Other "
                 "could not be read\n"_s);
    }

    void aToolThatIsMissingIsAFailureThatShowsWhatIsKnown()
    {
        Fixture f;
        f.tools.remove(u"/usr/bin/fdesetup status"_s);
        QCOMPARE(f.run({"filevault", "status", "--json"}), 1);
        QCOMPARE(f.json(), statusJson(true, QJsonValue::Null, u"jdoe"_s, true));
        QVERIFY(f.errors.contains(u"unable check FileVault status. Error: no such tool\n"_s));
        QVERIFY(f.errors.endsWith(
            u"zevrikselfservicectl: whether FileVault is on could not be read\n"_s));

        Fixture g;
        g.tools.remove(u"/usr/sbin/sysadminctl -secureTokenStatus"_s);
        QCOMPARE(g.run({"filevault", "status", "--json"}), 1);
        QCOMPARE(g.json(), statusJson(true, true, u"jdoe"_s, QJsonValue::Null));
        QVERIFY(g.errors.endsWith(u"zevrikselfservicectl: the SecureToken status of the user jdoe "
                                  "could not be read\n"_s));
    }

    void anUnknownUserIsAFailure()
    {
        Fixture f;
        QCOMPARE(f.run({"filevault", "status", "--user", "jdeo", "--json"}), 1);
        QVERIFY(f.output.isEmpty());
        QCOMPARE(f.errors, u"zevrikselfservicectl: this computer has no user jdeo\n"_s);
        QVERIFY(f.runs().isEmpty());

        f.fake.identity->userError = u"no answer"_s;
        QCOMPARE(f.run({"filevault", "status", "--user", "jdoe"}), 1);
        QCOMPARE(f.errors,
                 u"zevrikselfservicectl: the user jdoe could not be looked up: no answer\n"_s);
    }

    void listsTheUsersSorted()
    {
        Fixture f;
        f.fake.secretInput->lines = {"qu\"ote"};
        QCOMPARE(f.run({"filevault", "users", "--admin", "boss"}), 0);
        QCOMPARE(f.output, u"boss\njdoe\nzoe\n"_s);
        QVERIFY(f.errors.isEmpty());
        QCOMPARE(f.fake.secretInput->prompts, QStringList{u"Password: "_s});
        QCOMPARE(f.runs().size(), 1);
        const QString script = f.runs().first().at(2);
        QVERIFY(script.contains(u"spawn su - -f boss -c \"sudo fdesetup list\";"_s));
        QCOMPARE(script.count(u"send \"qu\\\"ote\\r\""_s), 2);

        f.fake.secretInput->lines = {"secret"};
        QCOMPARE(f.run({"filevault", "users", "--admin", "boss", "--json"}), 0);
        QCOMPARE(f.json(), (QJsonObject{{u"users"_s, QJsonArray{u"boss"_s, u"jdoe"_s, u"zoe"_s}},
                                        {u"areArgumentsOpenToOthers"_s, false}}));
    }

    void withoutAPasswordNothingRuns()
    {
        Fixture f;
        QCOMPARE(f.run({"filevault", "users", "--admin", "boss", "--json"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.startsWith(u"zevrikselfservicectl: no password: "_s));
        f.fake.secretInput->lines = {"\xff\xfe"};
        QCOMPARE(f.run({"filevault", "users", "--admin", "boss"}), 1);
        QCOMPARE(f.errors, u"zevrikselfservicectl: the password is not UTF-8 text\n"_s);
        QVERIFY(f.runs().isEmpty());
    }

    void aListThatCannotBeReadIsAFailureWithoutThePassword()
    {
        Fixture f;
        f.tools[u"/usr/bin/expect -c"_s] = "su: Authentication failure of Secret-Word77\n";
        f.fake.secretInput->lines = {"Secret-Word77"};
        QCOMPARE(f.run({"filevault", "users", "--admin", "boss", "--json"}), 1);
        QVERIFY(f.output.isEmpty());
        QCOMPARE(f.errors,
                 u"zevrikselfservicectl: Unable find secure token users using fdesetup. Log: su: "
                 "Authentication failure of ********\n\n"
                 "zevrikselfservicectl: the FileVault users could not be read with the rights of "
                 "boss\n"_s);
        QVERIFY(!f.fake.log->lines().join(u'\n').contains(u"Secret-Word77"_s));
    }

    void warnsWhereArgumentsAreOpen()
    {
        Fixture f;
        for (const bool isKnown : {true, false}) {
            f.fake.system->argumentsOpenToOthers =
                isKnown ? std::optional(true) : std::optional<bool>();
            const QString expected = isKnown ? openWarning : unknownWarning;
            const QJsonValue json = isKnown ? QJsonValue(true) : QJsonValue(QJsonValue::Null);
            QCOMPARE(f.run({"filevault", "status", "--json"}), 0);
            QCOMPARE(f.errors, expected);
            QCOMPARE(f.json().value(u"areArgumentsOpenToOthers"_s), json);
            f.fake.secretInput->lines = {"secret"};
            QCOMPARE(f.run({"filevault", "users", "--admin", "boss", "--json"}), 0);
            QCOMPARE(f.errors, expected);
            QCOMPARE(f.json().value(u"areArgumentsOpenToOthers"_s), json);
        }
    }

    void otherCommandsDoNotWarn()
    {
        Fixture f;
        f.fake.system->argumentsOpenToOthers = true;
        QCOMPARE(f.run({"cache", "path"}), 0);
        QVERIFY(f.errors.isEmpty());
    }

    void whatMakesNoSense_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("fault");
        const auto row = [](const char *name, const QStringList &arguments, const QString &fault) {
            QTest::newRow(name) << QStringList{u"filevault"_s} + arguments << fault;
        };
        row("nothing to do", {}, u"status|users is missing"_s);
        row("another thing", {u"on"_s}, u"there is no \"filevault on\", only status and users"_s);
        row("nobody's rights", {u"users"_s}, u"\"filevault users\" needs --admin"_s);
        row("an empty name", {u"users"_s, u"--admin="_s}, u"the value of --admin is empty"_s);
        row("an administrator for the status", {u"status"_s, u"--admin"_s, u"boss"_s},
            u"--admin goes with \"filevault users\" alone"_s);
        row("a user for the list", {u"users"_s, u"--admin"_s, u"boss"_s, u"--user"_s, u"jdoe"_s},
            u"--user goes with \"filevault status\" alone"_s);
        row("a password", {u"users"_s, u"secret"_s, u"--admin"_s, u"boss"_s},
            u"\"secret\" is one argument too many"_s);
    }
    void whatMakesNoSense()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, fault);
        Fixture f;
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

QTEST_GUILESS_MAIN(tst_SSControlFileVault)
#include "tst_SSControlFileVault.moc"
