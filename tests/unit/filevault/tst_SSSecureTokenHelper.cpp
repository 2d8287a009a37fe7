#include "filevault/SSSecureTokenHelper.h"

#include "tests/support/FakeDirectory.h"
#include "tests/unit/filevault/ToolFixture.h"

#include <QTest>

namespace {

const QString jdoe = QStringLiteral("jdoe");
const QString boss = QStringLiteral("boss");
const QString guid = QStringLiteral("11111111-2222-3333-4444-55555555AAAA");

using Update = bool (*)(const QString &, const SSSecureData &, const QString &,
                        const SSSecureData &, std::optional<QString> &);

} // namespace

/// The tools; the flag has a test of its own.
class tst_SSSecureTokenHelper : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFixture> m_tools;
    std::shared_ptr<FakeDirectory> m_directory;

    QString script() const { return m_tools->lastRun().value(2); }
    /// What an update tells the user; "[none]" for no message.
    QString message(Update update, bool expected = false) const
    {
        std::optional<QString> told;
        const bool isDone =
            update(jdoe, *password("newSecret"), boss, *password("bossSecret"), told);
        if (isDone != expected)
            return QStringLiteral("the result is another");
        return told.value_or(QStringLiteral("[none]"));
    }
    bool verify(const char *text = "secret") const
    {
        return SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(jdoe, *password(text));
    }

private Q_SLOTS:
    void init()
    {
        m_tools = std::make_unique<ToolFixture>();
        m_directory = std::make_shared<FakeDirectory>();
        m_tools->platform.directory = m_directory;
        FakeDirectory::add(m_directory->users,
                           {{QString::fromUtf16(DirectoryAttribute::RecordName), {jdoe}},
                            {QString::fromUtf16(DirectoryAttribute::GUID), {guid}}});
        // What finding the user logs is another class's business.
        m_tools->log->clear();
    }
    void cleanup()
    {
        m_tools.reset();
        m_directory.reset();
    }

    void secureTokenIsSupportedWhereTheSystemSaysSo()
    {
        QVERIFY(SSSecureTokenHelper::isSecureTokenSupported());
        m_tools->system->secureTokenSupported = false;
        QVERIFY(!SSSecureTokenHelper::isSecureTokenSupported());
    }

    void fileVaultIsOnWhenTheToolSaysSo()
    {
        m_tools->print("FileVault is On.\n");
        QVERIFY(SSSecureTokenHelper::fdeStatus());
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/fdesetup"), QStringLiteral("status")}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: fdesetup status. Info: FileVault is On.\n")));
        m_tools->print("FileVault is Off.\n");
        QVERIFY(!SSSecureTokenHelper::fdeStatus());
        m_tools->print("filevault is on\n");
        QVERIFY(!SSSecureTokenHelper::fdeStatus());
        // the output is for the verbose level
        QCOMPARE(m_tools->normalLines([] { static_cast<void>(SSSecureTokenHelper::fdeStatus()); }),
                 QStringList());
    }

    void aFileVaultToolThatFailsIsLogged()
    {
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!SSSecureTokenHelper::fdeStatus());
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: fdesetup status. Info: (null)"),
                              QStringLiteral(
                                  "[Error]: unable check FileVault status. Error: no such tool")}));
        m_tools->print("");
        QCOMPARE(
            m_tools->normalLines([] { QVERIFY(!SSSecureTokenHelper::fdeStatus()); }),
            QStringList(QStringLiteral("[Error]: unable check FileVault status. Error: (null)")));
    }

    void theSecureTokenStatusIsAPlainTestForEnabled_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("expected");
        QTest::newRow("enabled")
            << QByteArray("2021-03-04 10:15:02.123 sysadminctl[501:2345] Secure token is ENABLED "
                          "for user Jane Doe\n")
            << true;
        QTest::newRow("disabled")
            << QByteArray("2021-03-04 10:15:02.123 sysadminctl[501:2345] Secure token is DISABLED "
                          "for user Jane Doe\n")
            << false;
        QTest::newRow("small letters") << QByteArray("Secure token is Enabled\n") << false;
        QTest::newRow("inside a word") << QByteArray("NOTENABLEDATALL") << true;
        QTest::newRow("unknown user") << QByteArray("Unknown user jdoe\n") << false;
    }
    void theSecureTokenStatusIsAPlainTestForEnabled()
    {
        QFETCH(QByteArray, output);
        QFETCH(bool, expected);
        m_tools->print(output);
        QCOMPARE(SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe), expected);
        QCOMPARE(m_tools->lastRun(), QStringList({QStringLiteral("/usr/sbin/sysadminctl"),
                                                  QStringLiteral("-secureTokenStatus"), jdoe}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: sysadminctl -secureTokenStatus. Info: ") +
                             QString::fromUtf8(output)));
    }

    void aSecureTokenStatusThatFailsIsLogged()
    {
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe));
        QCOMPARE(
            m_tools->lines(),
            QStringList(
                {QStringLiteral("[Info]: sysadminctl -secureTokenStatus. Info: (null)"),
                 QStringLiteral("[Error]: sysadminctl -secureTokenStatus. Error: no such tool")}));
        m_tools->log->clear();
        m_tools->print("");
        QVERIFY(!SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Error]: sysadminctl -secureTokenStatus. Error: (null)"));
    }

    void whereThereIsNoSecureTokenItsStatusIsFalseAndNothingIsRun()
    {
        m_tools->system->secureTokenSupported = false;
        m_tools->print("ENABLED");
        QVERIFY(!SSSecureTokenHelper::secureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral(
                     "[Error]: SecureTokenStatus is not supported on macOS 10.13 or less.")));
    }

    void rootAsksForTheStatusWhereThereIsSecureToken()
    {
        m_tools->print("ENABLED");
        QVERIFY(SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->lastRun().value(1), QStringLiteral("-secureTokenStatus"));
    }

    void rootReadsTheListWhereThereIsNoSecureToken()
    {
        m_tools->system->secureTokenSupported = false;
        m_tools->identity->userId = 0;
        m_tools->print("JDoe,11111111-2222-3333-4444-55555555AAAA\n");
        QVERIFY(SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(QStringLiteral("jDOE")));
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(boss));
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/fdesetup"), QStringLiteral("list")}));
        QCOMPARE(m_tools->lines().first(),
                 QStringLiteral("[Info]: fdesetup list. Info: "
                                "JDoe,11111111-2222-3333-4444-55555555AAAA\n"));
        m_tools->print("no list");
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        m_tools->log->clear();
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Error]: unable get FileVault list. Error: no such tool"));
    }

    void anOrdinaryUserMayNotReadTheListDirectly()
    {
        m_tools->system->secureTokenSupported = false;
        QVERIFY(!SSSecureTokenHelper::sudoSecureTokenStatusWithUserName(jdoe));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines(),
                 QStringList(
                     QStringLiteral("[Error]: Only sudo user can get fde secure token status.")));
    }

    void whoIsASecureTokenUserDependsOnTheSystem()
    {
        const auto isUser = [] {
            return SSSecureTokenHelper::isSecureTokenUserWithUserName(jdoe, boss,
                                                                      *password("bossSecret"));
        };
        m_tools->print("Secure token is ENABLED");
        QVERIFY(isUser());
        QCOMPARE(m_tools->lastRun().first(), QStringLiteral("/usr/sbin/sysadminctl"));

        m_tools->system->secureTokenSupported = false;
        QVERIFY(!isUser());
        m_tools->print("\r\nJDOE,11111111-2222-3333-4444-55555555AAAA\r\n");
        QVERIFY(isUser());
        QCOMPARE(m_tools->lastRun().first(), QStringLiteral("/usr/bin/expect"));
        QVERIFY(script().startsWith(
            QLatin1String("log_user 0;spawn su - -f boss -c \"sudo fdesetup list\";")));
        QVERIFY(script().contains(QLatin1String("send \"bossSecret\\r\"")));
    }

    void theDiskPasswordIsCheckedByTheUserHimself()
    {
        m_tools->print("\r\nPassphrase valid\r\n");
        QVERIFY(verify());
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f jdoe -c \"sudo /usr/sbin/diskutil apfs unlockVolume / "
            "-verify -user \\\"11111111-2222-3333-4444-55555555AAAA\\\" -passphrase "
            "\\\"secret\\\"\"; expect \"Password:\" { send \"secret\\r\" } eof { send_user "
            "$expect_out(buffer); exit; }; expect \"Password:\" { send \"secret\\r\" } eof { "
            "send_user $expect_out(buffer); exit; }; log_user 1; expect eof;");
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/expect"), QStringLiteral("-c"), expected}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: /expect result: \r\nPassphrase valid\r\n")));
        m_tools->print("\r\nPassphrase incorrect\r\n");
        QVERIFY(!verify());
    }

    void theIdentifierIsNotEscapedAndEverythingElseIs()
    {
        m_directory->users = {};
        FakeDirectory::add(
            m_directory->users,
            {{QString::fromUtf16(DirectoryAttribute::RecordName), {QStringLiteral("j\"doe\\")}},
             {QString::fromUtf16(DirectoryAttribute::GUID), {QStringLiteral("uid\"\\")}}});
        static_cast<void>(SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(
            QStringLiteral("j\"doe\\"), *password("a\"b\\c$d[e]`f`")));
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f j\\\"doe\\\\ -c \"sudo /usr/sbin/diskutil apfs unlockVolume "
            "/ -verify -user \\\"uid\"\\\\\" -passphrase \\\"a\\\"b\\\\c$d[e]`f`\\\"\"; expect "
            "\"Password:\" { send \"a\\\"b\\\\c$d[e]`f`\\r\" } eof { send_user "
            "$expect_out(buffer); exit; }; expect \"Password:\" { send \"a\\\"b\\\\c$d[e]`f`\\r\" "
            "} eof { send_user $expect_out(buffer); exit; }; log_user 1; expect eof;");
        QCOMPARE(script(), expected);
    }

    void withoutSecureTokenTheDiskPasswordIsRightUnchecked()
    {
        m_tools->system->secureTokenSupported = false;
        QVERIFY(verify());
        QVERIFY(
            SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(std::nullopt, *password("x")));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->log->lines(), QStringList());
    }

    void aDiskPasswordOfNobodyIsNotChecked()
    {
        QVERIFY(!SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(std::nullopt,
                                                                          *password("x")));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Error]: verifyDiskPasswordWithUserName: Unable get "
                                            "info for the user: (null)")));
    }

    void aUserWithoutAnIdentifierIsNotChecked()
    {
        m_directory->users = {};
        QVERIFY(!verify());
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Error]: verifyDiskPasswordWithUserName: User UID is empty"));
    }

    void aDiskPasswordCheckThatFailsIsLogged()
    {
        const QString line = QStringLiteral(
            "[Error]: Unable check filevault current password using diskutil. Error: ");
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!verify());
        QCOMPARE(m_tools->lines().mid(m_tools->lines().size() - 2),
                 QStringList({QStringLiteral("[Info]: /expect result: (null)"),
                              line + QStringLiteral("no such tool")}));
        m_tools->print("");
        QVERIFY(!verify());
        QCOMPARE(m_tools->lines().last(), line + QStringLiteral("(null)"));
    }

    void aSecureTokenIsGrantedWithEightArguments()
    {
        m_tools->print("2021-03-04 sysadminctl[1:2] - Done!\n");
        std::optional<QString> told;
        QVERIFY(SSSecureTokenHelper::secureTokenOnWithUserName(
            jdoe, *password("n\"ew\\"), QStringLiteral("bo\"ss"), *password("a$b"), told));
        // as they are: nothing reads them but the tool
        QCOMPARE(
            m_tools->lastRun(),
            QStringList({QStringLiteral("/usr/sbin/sysadminctl"), QStringLiteral("-secureTokenOn"),
                         jdoe, QStringLiteral("-password"), QStringLiteral("n\"ew\\"),
                         QStringLiteral("-adminUser"), QStringLiteral("bo\"ss"),
                         QStringLiteral("-adminPassword"), QStringLiteral("a$b")}));
        QCOMPARE(told, std::nullopt);
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: sysadminctl -secureTokenOn. Info: 2021-03-04 "
                                            "sysadminctl[1:2] - Done!\n")));
        QVERIFY(m_tools->log->lines().contains(
            QStringLiteral("[Info]: Executing: '/usr/sbin/sysadminctl' with arguments "
                           "'********'")));
    }

    void aRefusedSecureTokenGivesTheWholeOutputAsTheMessage()
    {
        const Update on = SSSecureTokenHelper::secureTokenOnWithUserName;
        m_tools->print("Operation is not permitted without secure token unlock.\n");
        QCOMPARE(message(on),
                 QStringLiteral("Operation is not permitted without secure token unlock.\n"));
        m_tools->print("done!");
        QCOMPARE(message(on), QStringLiteral("done!"));
        m_tools->print("");
        QCOMPARE(message(on), QString());
        m_tools->print("\xff");
        QCOMPARE(message(on), QStringLiteral("[none]"));
    }

    void aSecureTokenToolThatFailsGivesItsErrorAsTheMessage()
    {
        m_tools->failWith(QStringLiteral("no such tool"));
        QCOMPARE(message(SSSecureTokenHelper::secureTokenOnWithUserName),
                 QStringLiteral("no such tool"));
        QCOMPARE(m_tools->lines(),
                 QStringList(
                     {QStringLiteral("[Info]: sysadminctl -secureTokenOn. Info: (null)"),
                      QStringLiteral("[Error]: sysadminctl -secureTokenOn. Error: no such tool")}));
    }

    void theReaddScriptIsFilledInOrder()
    {
        m_tools->print("\r\n");
        QCOMPARE(message(SSSecureTokenHelper::updateFdeUserWithUserName, true),
                 QStringLiteral("[none]"));
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f boss -c \"sudo fdesetup remove -user \\\"jdoe\\\"; sudo "
            "fdesetup add -user \\\"boss\\\" -usertoadd \\\"jdoe\\\"\"; expect \"Password:\" { "
            "send \"bossSecret\\r\" } eof { send_user $expect_out(buffer); exit; }; expect "
            "\"Password:\" { send \"bossSecret\\r\" } eof { send_user $expect_out(buffer); exit; "
            "}; expect \"Enter the password for user 'boss':\" { send \"bossSecret\\r\" } eof { "
            "send_user $expect_out(buffer); exit; }; expect \"Enter the password for the added "
            "user 'jdoe':\" { send \"newSecret\\r\" } eof { send_user $expect_out(buffer); exit; "
            "}; log_user 1; expect eof;");
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/expect"), QStringLiteral("-c"), expected}));
    }

    void aPasswordReachesTheReaddScriptEscapedAndADollarSignUnchanged()
    {
        std::optional<QString> told;
        static_cast<void>(SSSecureTokenHelper::updateFdeUserWithUserName(
            QStringLiteral("j\"doe"), *password("n\"e\\w"), QStringLiteral("bo\\ss"),
            *password("$b[o]ss"), told));
        QVERIFY(script().contains(QLatin1String("spawn su - -f bo\\\\ss -c ")));
        QCOMPARE(script().count(QLatin1String("send \"$b[o]ss\\r\"")), 3);
        QCOMPARE(script().count(QLatin1String("send \"n\\\"e\\\\w\\r\"")), 1);
        QCOMPARE(script().count(QLatin1String("j\\\"doe")), 3);
        // nor is anything that looks like a place to be filled
        static_cast<void>(SSSecureTokenHelper::updateFdeUserWithUserName(
            QStringLiteral("%@"), *password("%@x"), boss, *password("p"), told));
        QCOMPARE(script().count(QLatin1String("send \"%@x\\r\"")), 1);
        QCOMPARE(script().count(QLatin1String("send \"p\\r\"")), 3);
    }

    void aReaddThatPrintsALineEndAloneIsDone_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("expected");
        QTest::newRow("CR LF") << QByteArray("\r\n") << true;
        QTest::newRow("LF") << QByteArray("\n") << false;
        QTest::newRow("twice") << QByteArray("\r\n\r\n") << false;
        QTest::newRow("CR LF and an error")
            << QByteArray("\r\nError: The user could not be added\r\n") << false;
        QTest::newRow("a wrong password of su")
            << QByteArray(" \r\nsu: Authentication failure\r\n") << false;
    }
    void aReaddThatPrintsALineEndAloneIsDone()
    {
        QFETCH(QByteArray, output);
        QFETCH(bool, expected);
        m_tools->print(output);
        // what is printed besides becomes the user's message
        QCOMPARE(message(SSSecureTokenHelper::updateFdeUserWithUserName, expected),
                 expected ? QStringLiteral("[none]") : QString::fromUtf8(output));
        QCOMPARE(m_tools->lines(), QStringList(QStringLiteral("[Info]: /expect result: ") +
                                               QString::fromUtf8(output)));
    }

    void aReaddThatFailsIsLoggedWithItsResult()
    {
        const Update update = SSSecureTokenHelper::updateFdeUserWithUserName;
        m_tools->failWith(QStringLiteral("no such tool"));
        QCOMPARE(message(update), QStringLiteral("no such tool"));
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: /expect result: (null)"),
                              QStringLiteral("[Error]: Unable get secure token users using "
                                             "fdesetup. Error: no such tool"),
                              QStringLiteral("[Error]: Result: (null)")}));
        m_tools->log->clear();
        m_tools->print("");
        QCOMPARE(message(update), QString());
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: /expect result: "),
                              QStringLiteral("[Error]: Unable get secure token users using "
                                             "fdesetup. Error: (null)"),
                              QStringLiteral("[Error]: Result: ")}));
        m_tools->print("\xff");
        QCOMPARE(message(update), QStringLiteral("[none]"));
    }

    void anUpdateIsOneOrTheOtherAsTheSystemHasIt()
    {
        const Update update = SSSecureTokenHelper::updateSecureTokenUserWithUserName;
        m_tools->print("Done!");
        QCOMPARE(message(update, true), QStringLiteral("[none]"));
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/sbin/sysadminctl"),
                              QStringLiteral("-secureTokenOn"), jdoe, QStringLiteral("-password"),
                              QStringLiteral("newSecret"), QStringLiteral("-adminUser"), boss,
                              QStringLiteral("-adminPassword"), QStringLiteral("bossSecret")}));
        m_tools->system->secureTokenSupported = false;
        QCOMPARE(message(update), QStringLiteral("Done!"));
        QCOMPARE(m_tools->lastRun().first(), QStringLiteral("/usr/bin/expect"));
        QVERIFY(script().contains(QLatin1String("-usertoadd \\\"jdoe\\\"\"")));
        QVERIFY(script().contains(QLatin1String("'jdoe':\" { send \"newSecret\\r\" }")));
        m_tools->print("\r\n");
        QCOMPARE(message(update, true), QStringLiteral("[none]"));
    }

    void noPasswordReachesTheLogOrAMessage()
    {
        m_tools->print("bossSecret newSecret bossSecret\r\n");
        const QString masked = QStringLiteral("******** ******** ********\r\n");
        QCOMPARE(message(SSSecureTokenHelper::secureTokenOnWithUserName), masked);
        QCOMPARE(message(SSSecureTokenHelper::updateFdeUserWithUserName), masked);
        QVERIFY(!verify("bossSecret newSecret"));
        // the whole one first, then what is a piece of it
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Info]: /expect result: ******** ********\r\n"));
        QVERIFY(!m_tools->log->lines().join(QString()).contains(QLatin1String("Secret")));
    }

    void successIsJudgedByWhatWasPrintedNotByWhatIsShown()
    {
        // Passwords that are the very words that are looked for.
        m_tools->print("\r\nPassphrase valid\r\n");
        QVERIFY(verify("Passphrase valid"));
        m_tools->print("Done!");
        std::optional<QString> told;
        QVERIFY(SSSecureTokenHelper::secureTokenOnWithUserName(jdoe, *password("Done!"), boss,
                                                               *password("x"), told));
        QVERIFY(!m_tools->log->lines().join(QString()).contains(QLatin1String("Done!")));
    }

    void noEnvironmentAndNoInputIsGivenToATool()
    {
        m_tools->print("x");
        static_cast<void>(SSSecureTokenHelper::fdeStatus());
        static_cast<void>(verify());
        static_cast<void>(message(SSSecureTokenHelper::updateFdeUserWithUserName));
        QCOMPARE(m_tools->runs(), 3);
        for (const auto &run : m_tools->childProcesses->runs) {
            QCOMPARE(run.environment, std::nullopt);
            QCOMPARE(run.input, std::nullopt);
        }
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelper)
#include "tst_SSSecureTokenHelper.moc"
