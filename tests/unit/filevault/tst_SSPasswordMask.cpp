#include "filevault/SSPasswordMask.h"

#include "foundation/SSStringHelper.h"

#include <QTest>

class tst_SSPasswordMask : public QObject
{
    Q_OBJECT

    static QString masked(const QStringList &passwords, const QString &output)
    {
        SSPasswordMask mask;
        for (const QString &password : passwords)
            mask.add(password, SSHelper::stringEscapedToShell(password));
        return mask.masked(output);
    }

private Q_SLOTS:
    void passwordsAreReplaced_data()
    {
        QTest::addColumn<QStringList>("passwords");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QStringList &passwords, const char *output,
                            const char *expected) {
            QTest::newRow(name) << passwords << QString::fromUtf8(output)
                                << QString::fromUtf8(expected);
        };
        const QStringList plain{QStringLiteral("hunter2")};
        row("none there", plain, "all is well\r\n", "all is well\r\n");
        row("as it is", plain, "say hunter2 now", "say ******** now");
        row("inside a word", plain, "xhunter2x", "x********x");
        row("twice", plain, "hunter2hunter2", "****************");
        row("another spelling is another word", plain, "Hunter2", "Hunter2");
        row("a beginning only", plain, "hunter", "hunter");
        row("the end of a line of the echo", plain, "hunter2\r\n", "********\r\n");
        row("as the script sends it", plain, "send \"hunter2\\r\"", "send \"********\\r\"");
        row("wrapped by a terminal", plain, "a hunt\r\ner2 b", "a ******** b");
        row("a line end between all", plain, "h\nu\nn\nt\ne\nr\n2\n", "********\n");
        row("a letter at the end first", plain, "hhunter2", "h********");
        row("no letters but those", QStringList(QStringLiteral("aaab")), "aaaab", "a********");
        row("two", {QStringLiteral("hunter2"), QStringLiteral("letmein")}, "hunter2 letmein",
            "******** ********");
        row("one inside the other", {QStringLiteral("hunter"), QStringLiteral("hunter2")},
            "hunter2 hunter", "******** ********");
        row("one that overlaps the other", {QStringLiteral("abcd"), QStringLiteral("cdef")},
            "xabcdefx", "x********x");
        row("stars", QStringList(QStringLiteral("****")), "a **** b", "a ******** b");
        row("non-ASCII letters", QStringList(QStringLiteral("Grün€")), "so Grün€.", "so ********.");
        row("beyond sixteen bits",
            QStringList(QString::fromUtf8("a\xf0\x9d\x84\x9e"
                                          "bc")),
            "x a\xf0\x9d\x84\x9e"
            "bc",
            "x ********");
        const QStringList quoted{QStringLiteral("a\"b\\c")};
        row("quotes, as it is", quoted, "x a\"b\\c y", "x ******** y");
        row("quotes, as a script has it", quoted, "x a\\\"b\\\\c y", "x ******** y");
        row("a line end in the password", QStringList(QStringLiteral("one\ntwo\nsix")),
            "x one\r\ntwo\r\nsix y", "x ******** y");
    }
    void passwordsAreReplaced()
    {
        QFETCH(QStringList, passwords);
        QFETCH(QString, output);
        QFETCH(QString, expected);
        QCOMPARE(masked(passwords, output), expected);
    }

    void anEmptyPasswordMasksNothing()
    {
        QCOMPARE(masked({QString()}, QStringLiteral("FileVault is On.\n")),
                 QStringLiteral("FileVault is On.\n"));
        QCOMPARE(masked({QStringLiteral("\r\n")}, QStringLiteral("a\r\nb")),
                 QStringLiteral("a\r\nb"));
    }

    void aShortPasswordIsMaskedWhereItStandsAlone()
    {
        QCOMPARE(masked({QStringLiteral("a")}, QStringLiteral("a fault at 'a', a1 or \u00e4a")),
                 QStringLiteral("******** fault at '********', a1 or \u00e4a"));
        QCOMPARE(masked({QStringLiteral("abc")}, QStringLiteral("abcd abc\r\n")),
                 QStringLiteral("abcd ********\r\n"));
        QCOMPARE(masked({QStringLiteral(".")}, QStringLiteral("Done. .")),
                 QStringLiteral("Done. ********"));
    }

    void theLeastThatIsMaskedInsideWordsIsFour()
    {
        QCOMPARE(masked({QStringLiteral("abcd")}, QStringLiteral("xabcdx")),
                 QStringLiteral("x********x"));
    }

    void aShellsComplaintAboutAPieceIsMasked()
    {
        const QStringList password{QStringLiteral("x`reboot now`y")};
        QCOMPARE(masked(password, QStringLiteral("-bash: line 1: reboot: command not found\r\n")),
                 QStringLiteral("-bash: line 1: ********: command not found\r\n"));
        // a piece is no part of a word
        QCOMPARE(masked(password, QStringLiteral("it rebooted, I know\r\n")),
                 QStringLiteral("it rebooted, I know\r\n"));
        QCOMPARE(masked({QStringLiteral("pa$word_1-end")},
                        QStringLiteral("word_1: unbound variable, word_1-end")),
                 QStringLiteral("********: unbound variable, ********"));
    }

    void aPasswordThatMeansNothingIsNotTakenToPieces()
    {
        QCOMPARE(masked({QStringLiteral("user-name")}, QStringLiteral("the user has a name")),
                 QStringLiteral("the user has a name"));
    }

    // The traces are what expect 5.45 prints for these passwords.
    void nothingOfATraceIsKept_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("output");
        const auto row = [](const char *name, const QString &password, const QString &output) {
            QTest::newRow(name) << password << output;
        };
        row("a variable", QStringLiteral("a$nosuch"),
            QStringLiteral("can't read \"nosuch\": no such variable\n"
                           "    while executing\n"
                           "\"send \"a$nosuch\\r\" \"\n"
                           "    invoked from within\n"
                           "\"expect \"Password:\" { send \"a$nosuch\\r\" } eof { send_user "
                           "$expect_out(buffer); exit; }\"\r\n"));
        row("a command", QStringLiteral("a[b c]d"),
            QStringLiteral("invalid command name \"b\"\n"
                           "    while executing\n"
                           "\"b c\"\n"
                           "    invoked from within\n"
                           "\"expect \"Password:\" { send \"a[b c]d\\r\" } eof\"\r\n"));
        row("a brace", QStringLiteral("a}b"),
            QStringLiteral("extra characters after close-brace\n"
                           "    while executing\n"
                           "\"expect \"Password:\" { send \"a}b\"\r\n"));
        row("cut short", QStringLiteral("aVeryLongOneThatIsCut$x"),
            QStringLiteral("can't read \"x\": no such variable\n"
                           "    while executing\n"
                           "\"send \"aVeryLongOneThat...\"\r\n"));
    }
    void nothingOfATraceIsKept()
    {
        QFETCH(QString, password);
        QFETCH(QString, output);
        QCOMPARE(masked({password}, output),
                 QStringLiteral("********\n    while executing\n\"********\""));
        // the lines of a terminal
        QCOMPARE(
            masked({password}, QString(output).replace(QLatin1String("\n"), QLatin1String("\r\n"))),
            QStringLiteral("********\n    while executing\n\"********\""));
    }

    void theMessageBeforeATraceStaysForAPlainPassword()
    {
        QCOMPARE(masked({QStringLiteral("aVeryLongOneThatIsCut")},
                        QStringLiteral("couldn't execute \"su\": no such file or directory\n"
                                       "    while executing\n"
                                       "\"send \"aVeryLongOneThat...\"\r\n")),
                 QStringLiteral("couldn't execute \"su\": no such file or directory\n"
                                "    while executing\n\"********\""));
    }

    void withoutPasswordsAnOutputStaysAsItIs()
    {
        const QString trace = QStringLiteral("x\n    while executing\n\"y\"");
        QCOMPARE(masked({}, trace), trace);
        QCOMPARE(SSPasswordMask().masked(std::optional<QString>()), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_SSPasswordMask)
#include "tst_SSPasswordMask.moc"
