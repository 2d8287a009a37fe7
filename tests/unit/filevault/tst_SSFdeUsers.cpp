#include "filevault/SSFdeUsers.h"

#include "tests/unit/filevault/ToolFixture.h"

#include <QTest>

#include <array>

namespace {

const QString noUsers =
    QStringLiteral("[Error]: Unable find secure token users using fdesetup. Log: ");

} // namespace

class tst_SSFdeUsers : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFixture> m_tools;

    static std::optional<QSet<QString>> parsed(const char *list)
    {
        return SSFdeUsers::parseSecureTokenUsersWithResult(QString::fromUtf8(list));
    }
    static QSet<QString> names(std::initializer_list<const char *> texts)
    {
        QSet<QString> result;
        for (const char *text : texts)
            result.insert(QString::fromUtf8(text));
        return result;
    }

private Q_SLOTS:
    void init() { m_tools = std::make_unique<ToolFixture>(); }
    void cleanup() { m_tools.reset(); }

    void theScriptIsFilledInOrder()
    {
        m_tools->print("jdoe,00000000-0000-0000-0000-000000000000\r\n");
        const SSFdeUsers users(QStringLiteral("boss"), *password("secret"));
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f boss -c \"sudo fdesetup list\"; expect \"Password:\" { send "
            "\"secret\\r\" } eof { send_user $expect_out(buffer); exit; }; expect \"Password:\" { "
            "send \"secret\\r\" } eof { send_user $expect_out(buffer); exit; }; log_user 1; expect "
            "eof;");
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/expect"), QStringLiteral("-c"), expected}));
        const auto &run = m_tools->childProcesses->runs.last();
        QCOMPARE(run.environment, std::nullopt);
        QCOMPARE(run.input, std::nullopt);
    }

    void nameAndPasswordAreEscaped()
    {
        const SSFdeUsers users(QStringLiteral("bo\"ss\\"), *password("a\\\"b$x"));
        const QString script = m_tools->lastRun().last();
        QVERIFY(script.startsWith(QLatin1String("log_user 0;spawn su - -f bo\\\"ss\\\\ -c ")));
        QCOMPARE(script.count(QLatin1String("send \"a\\\\\\\"b$x\\r\"")), 2);
    }

    void theListIsReadAtOnceAndAsked()
    {
        m_tools->print("\r\nJDoe,11111111-2222-3333-4444-55555555AAAA\r\n"
                       "Boss Man,11111111-2222-3333-4444-55555555BBBB\r\n");
        const SSFdeUsers users(QStringLiteral("boss"), *password("secret"));
        QCOMPARE(users.secureTokenUsers(), names({"jdoe", "boss man"}));
        QVERIFY(users.isSecureTokenUserWithName(QStringLiteral("jdoe")));
        QVERIFY(users.isSecureTokenUserWithName(QStringLiteral("JDOE")));
        QVERIFY(users.isSecureTokenUserWithName(QStringLiteral("Boss Man")));
        QVERIFY(!users.isSecureTokenUserWithName(QStringLiteral("jdo")));
        QVERIFY(!users.isSecureTokenUserWithName(QString()));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral(
                     "[Info]: /expect result: \r\nJDoe,11111111-2222-3333-4444-55555555AAAA\r\n"
                     "Boss Man,11111111-2222-3333-4444-55555555BBBB\r\n")));
    }

    void aToolThatCannotBeStartedLeavesTheUsersAsTheyWere()
    {
        m_tools->print("jdoe,11111111-2222-3333-4444-555555555555\n");
        SSFdeUsers users(QStringLiteral("boss"), *password("secret"));
        m_tools->failWith(QStringLiteral("no expect"));
        m_tools->log->clear();
        users.retreiveSecureTokenUsersWithAdminUserName(QStringLiteral("boss"),
                                                        *password("secret"));
        QCOMPARE(users.secureTokenUsers(), names({"jdoe"}));
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: /expect result: (null)"),
                              QStringLiteral("[Error]: Unable get secure token users using "
                                             "fdesetup. Error: no expect")}));
    }

    void anEmptyAnswerAndOneThatIsNoTextAreErrorsWithoutAReason_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("shown");
        QTest::newRow("empty") << QByteArray() << QString();
        QTest::newRow("no UTF-8") << QByteArray("\xff") << QStringLiteral("(null)");
    }
    void anEmptyAnswerAndOneThatIsNoTextAreErrorsWithoutAReason()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, shown);
        m_tools->print(answer);
        const SSFdeUsers users(QStringLiteral("boss"), *password("secret"));
        QCOMPARE(users.secureTokenUsers(), std::nullopt);
        QVERIFY(!users.isSecureTokenUserWithName(QStringLiteral("jdoe")));
        QCOMPARE(m_tools->lines(),
                 QStringList({QStringLiteral("[Info]: /expect result: ") + shown,
                              QStringLiteral("[Error]: Unable get secure token users using "
                                             "fdesetup. Error: (null)")}));
    }

    void aListWithoutUsersReplacesTheUsersByNone()
    {
        m_tools->print("jdoe,11111111-2222-3333-4444-555555555555\n");
        SSFdeUsers users(QStringLiteral("boss"), *password("secret"));
        m_tools->print("nothing here\n");
        users.retreiveSecureTokenUsersWithAdminUserName(QStringLiteral("boss"),
                                                        *password("secret"));
        QCOMPARE(users.secureTokenUsers(), std::nullopt);
    }

    void twoLinesOfOneNameGiveOneAndALogLine()
    {
        QCOMPARE(parsed("JDOE,ABCDEF01-2345-6789-ABCD-EF0123456789\n"
                        "jdoe,abcdef01-2345-6789-abcd-ef0123456789\n"),
                 names({"jdoe"}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral(
                     "[Info]: user 'jdoe' already exists in set: {(\n    jdoe\n)}")));
        QCOMPARE(m_tools->normalLines([] {
            static_cast<void>(parsed("a,ABCDEF01-2345-6789-ABCD-EF0123456789\n"
                                     "A,ABCDEF01-2345-6789-ABCD-EF0123456789\n"));
        }),
                 QStringList());
    }

    void theSetOfTheLogLineIsThatBeforeTheName()
    {
        static_cast<void>(parsed("b,ABCDEF01-2345-6789-ABCD-EF0123456789\n"
                                 "a c,ABCDEF01-2345-6789-ABCD-EF0123456789\n"
                                 "b,ABCDEF01-2345-6789-ABCD-EF0123456789\n"
                                 "d,ABCDEF01-2345-6789-ABCD-EF0123456789\n"));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: user 'b' already exists in set: {(\n    \"a "
                                            "c\",\n    b\n)}")));
    }

    void aNameMayHoldSpaces()
    {
        QCOMPARE(parsed("Jane Q Doe,ABCDEF01-2345-6789-ABCD-EF0123456789"), names({"jane q doe"}));
    }

    void aNameMayHoldAnythingButAComma()
    {
        QCOMPARE(parsed("Jürgen\\x,ABCDEF01-2345-6789-ABCD-EF0123456789"), names({"jürgen\\x"}));
        QCOMPARE(parsed("a,b,ABCDEF01-2345-6789-ABCD-EF0123456789"), std::nullopt);
        QCOMPARE(parsed(",ABCDEF01-2345-6789-ABCD-EF0123456789"), std::nullopt);
    }

    void anIdentifierThatIsTooShortIsSkipped()
    {
        QCOMPARE(parsed("short,ABCDEF01-2345-6789-ABCD-EF012345678\n"
                        "shorter,ABCDEF01-2345-6789-ABCD\n"
                        "good,ABCDEF01-2345-6789-ABCD-EF0123456789\n"),
                 names({"good"}));
    }

    void whatFollowsTheIdentifierIsIgnored()
    {
        QCOMPARE(parsed("jdoe,ABCDEF01-2345-6789-ABCD-EF0123456789,and more"), names({"jdoe"}));
        QCOMPARE(parsed("jdoe,ABCDEF01-2345-6789-ABCD-EF0123456789ABC"), names({"jdoe"}));
    }

    void promptsBlankLinesAndMessagesAreSkipped()
    {
        QCOMPARE(parsed("\r\nPassword:\r\n\r\njdoe,ABCDEF01-2345-6789-ABCD-EF0123456789\r\nbye"),
                 names({"jdoe"}));
    }

    void everyKindOfLineEndParts()
    {
        QCOMPARE(parsed("a,ABCDEF01-2345-6789-ABCD-EF0123456789\v"
                        "b,ABCDEF01-2345-6789-ABCD-EF0123456789\f"
                        "c,ABCDEF01-2345-6789-ABCD-EF0123456789\r"
                        "d,ABCDEF01-2345-6789-ABCD-EF0123456789\xc2\x85"
                        "e,ABCDEF01-2345-6789-ABCD-EF0123456789\xe2\x80\xa8"
                        "f,ABCDEF01-2345-6789-ABCD-EF0123456789\xe2\x80\xa9"
                        "g,ABCDEF01-2345-6789-ABCD-EF0123456789\n"),
                 names({"a", "b", "c", "d", "e", "f", "g"}));
    }

    void theTextOfAFailedPasswordPromptGivesNone()
    {
        QCOMPARE(parsed("\r\nsudo: 1 incorrect password attempt\r\n"), std::nullopt);
        QCOMPARE(
            m_tools->lines(),
            QStringList(noUsers + QStringLiteral("\r\nsudo: 1 incorrect password attempt\r\n")));
    }

    void aPasswordInTheAnswerIsReadButNotLogged()
    {
        m_tools->print("secret\r\nsecret,ABCDEF01-2345-6789-ABCD-EF0123456789\r\n"
                       "SECRET,ABCDEF01-2345-6789-ABCD-EF0123456789\r\n");
        const SSFdeUsers users(QStringLiteral("boss"), *password("secret"));
        QVERIFY(users.isSecureTokenUserWithName(QStringLiteral("secret")));
        QVERIFY2(!m_tools->log->lines().join(QString()).contains(QLatin1String("secret")),
                 qPrintable(m_tools->log->lines().join(QLatin1Char('\n'))));
        QVERIFY(m_tools->lines().contains(QStringLiteral(
            "[Info]: user '********' already exists in set: {(\n    \"********\"\n)}")));

        m_tools->log->clear();
        m_tools->print("wrong: secret\r\n");
        const SSFdeUsers none(QStringLiteral("boss"), *password("secret"));
        QCOMPARE(m_tools->lines().last(), noUsers + QStringLiteral("wrong: ********\r\n"));
    }

    void aPasswordOfHalfACharacterReachesNoTool()
    {
        m_tools->print("jdoe,11111111-2222-3333-4444-555555555555\n");
        const std::array bytes{std::byte{0x70}, std::byte{0}, std::byte{0x31}};
        const SSFdeUsers users(QStringLiteral("boss"),
                               *SSSecureData::dataWithBytes(bytes.data(), bytes.size()));
        QCOMPARE(users.secureTokenUsers(), std::nullopt);
        QCOMPARE(m_tools->lines(), QStringList(QStringLiteral("[Error]: The password for a tool is "
                                                              "not UTF-16 text.")));
    }

    void aPasswordOfMixedCaseIsNotLoggedAsALowerCaseName()
    {
        m_tools->print("Secret,ABCDEF01-2345-6789-ABCD-EF0123456789\r\n"
                       "Secret,ABCDEF01-2345-6789-ABCD-EF0123456789\r\n");
        const SSFdeUsers users(QStringLiteral("boss"), *password("Secret"));
        QVERIFY(users.isSecureTokenUserWithName(QStringLiteral("secret")));
        const QString log = m_tools->log->lines().join(QLatin1Char('\n'));
        QVERIFY2(!log.contains(QLatin1String("secret"), Qt::CaseInsensitive), qPrintable(log));
        QVERIFY(m_tools->lines().contains(QStringLiteral(
            "[Info]: user '********' already exists in set: {(\n    \"********\"\n)}")));
    }
};

QTEST_GUILESS_MAIN(tst_SSFdeUsers)
#include "tst_SSFdeUsers.moc"
