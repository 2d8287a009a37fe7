#include "tests/unit/app/ctl/ControlFixture.h"

#include "app/ctl/SSControlCommand.h"

#include <QTest>

class tst_SSControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutArgumentsTheHelpIsAnErrorOfUsage()
    {
        ControlFixture f;
        QCOMPARE(f.run({}), 2);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(QStringLiteral("Usage: zevrikselfservicectl COMMAND")));
        QCOMPARE(f.platformsMade, 0);
    }

    void helpNamesEveryCommand()
    {
        ControlFixture f;
        QCOMPARE(f.run({"--help"}), 0);
        QVERIFY(f.errors.isEmpty());
        for (const char *const name : {"discover", "settings", "user", "enroll-status", "url",
                                       "cache", "compare", "offline", "key", "flag", "filevault"})
            QVERIFY2(f.output.contains(QStringLiteral("\n    %1 ").arg(QLatin1String(name))), name);
        QVERIFY(f.output.contains(QStringLiteral("Examples:")));
        QCOMPARE(f.platformsMade, 0);
    }

    void everyCommandExplainsItselfWithExamplesThatAreGoodUsage()
    {
        for (const SSControlCommand *command : SSControlCommands::all()) {
            ControlFixture f;
            QCOMPARE(f.run({command->name, "--help"}), 0);
            QVERIFY(f.output.contains(QStringLiteral("Usage: zevrikselfservicectl %1")
                                          .arg(QLatin1String(command->name))));
            QVERIFY(f.output.contains(QStringLiteral("Examples:\n    ")));
            for (const SSControlOption &option : command->options) {
                QVERIFY(f.output.contains(QStringLiteral("--") + QLatin1String(option.name)));
            }
            const QStringList lines = f.output.split(QLatin1Char('\n'));
            for (const QString &line : lines) {
                // An example is one line, however long.
                QVERIFY2(line.size() <= 80 ||
                             line.startsWith(QStringLiteral("    zevrikselfservicectl ")),
                         qPrintable(line));
            }
        }
    }

    void helpIsGivenBesideOtherMistakes()
    {
        ControlFixture f;
        QCOMPARE(f.run({"user", "--help"}), 0);
        QCOMPARE(f.run({"--help", "discover", "surplus"}), 0);
    }

    void theVersionIsPrinted()
    {
        ControlFixture f;
        QCOMPARE(f.run({"--version"}), 0);
        QVERIFY(f.output.startsWith(QStringLiteral("zevrikselfservicectl 0.")));
    }

    void wrongUsageMakesNoPlatform()
    {
        ControlFixture f;
        QCOMPARE(f.run({"discovr"}), 2);
        QCOMPARE(f.errors, QStringLiteral("zevrikselfservicectl: there is no command \"discovr\"\n"
                                          "Try \"zevrikselfservicectl --help\".\n"));
        QVERIFY(f.output.isEmpty());
        QCOMPARE(f.run({"user"}), 2);
        QCOMPARE(f.errors, QStringLiteral("zevrikselfservicectl: NAME is missing\n"
                                          "Try \"zevrikselfservicectl user --help\".\n"));
        QCOMPARE(f.platformsMade, 0);
    }

    void filesTakeThePlaceOfTheLiveMachine()
    {
        ControlFixture f;
        (void)f.run({"discover"});
        QVERIFY(!f.options.ldifFile);
        QVERIFY(!f.options.defaultsFile);
        (void)f.run({"--ldif", "a.ldif", "discover", "--defaults=b.plist"});
        QCOMPARE(f.options.ldifFile, QStringLiteral("a.ldif"));
        QCOMPARE(f.options.defaultsFile, QStringLiteral("b.plist"));
    }

    void theLogFileIsNeverMade()
    {
        ControlFixture f;
        (void)f.run({"discover"});
        QVERIFY(f.platformsMade == 1 && !f.options.createLogFile);
    }

    void aReasonReachesTheTerminalWhileTheLogIsSilent()
    {
        ControlFixture f;
        f.directory->connectionPoints.error = QStringLiteral("no Kerberos ticket");
        QCOMPARE(f.run({"discover"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(QStringLiteral("no Kerberos ticket")));
        QVERIFY(f.fake.log->lines().isEmpty());
    }

    void aReasonReachesTheTerminalAndTheLog()
    {
        ControlFixture f;
        f.fake.defaults->values.insert(QStringLiteral("LogLevel"), 1);
        f.directory->connectionPoints.error = QStringLiteral("no Kerberos ticket");
        QCOMPARE(f.run({"discover"}), 1);
        QVERIFY(f.errors.contains(QStringLiteral("no Kerberos ticket")));
        QCOMPARE(f.fake.log->lines().filter(QStringLiteral("no Kerberos ticket")).size(), 1);
        QVERIFY(f.fake.log->lines().filter(QStringLiteral(">> ")).isEmpty());
    }

    void theVerboseLevelLogsAsTheAgentDoes()
    {
        ControlFixture f;
        f.fake.defaults->values.insert(QStringLiteral("LogLevel"), 2);
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        QCOMPARE(f.run({"settings"}), 0);
        QVERIFY(f.fake.log->lines().contains(QStringLiteral(
            "[Debug]: >> -[SSTraySettings loadFromConnectionPointKeywords:] started")));
    }

    void whatAnAdapterReportsWhileItIsMadeReachesTheTerminal()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        f.whenMade = [](const PlatformOptions &options) {
            options.diagnostics(1, DiagnosticType::Error, QStringLiteral("directory.conf: line 3"));
        };
        QCOMPARE(f.run({"discover"}), 0);
        QVERIFY(f.errors.contains(
            QStringLiteral("zevrikselfservicectl: warning: directory.conf: line 3\n")));
    }

    void defaultsThatCannotBeReadGiveNoAnswer()
    {
        class BadDefaults final : public UserDefaultsStore
        {
        public:
            explicit BadDefaults(std::function<void()> said) : m_say(std::move(said)) {}
            [[nodiscard]] QString domain() const override { return QStringLiteral("d"); }
            [[nodiscard]] std::optional<QVariant> objectForKey(const QString &) override
            {
                m_say();
                return std::nullopt;
            }

        private:
            std::function<void()> m_say;
        };
        ControlFixture f;
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        f.fake.platform.defaults = std::make_shared<BadDefaults>([&f] {
            f.options.diagnostics(1, DiagnosticType::Error, QStringLiteral("b.plist: not a list"));
        });
        QCOMPARE(f.run({"discover", "--defaults", "b.plist"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(QStringLiteral("b.plist: not a list")));
        // The agent goes on without such a layer, and so does the tool when it was not named.
        QCOMPARE(f.run({"discover"}), 0);
    }

    void anAnswerThatCannotBeWrittenIsAFailure()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        std::ostringstream out;
        out.setstate(std::ios::badbit);
        std::ostringstream err;
        SSControl control(out, err, [](const PlatformOptions &) { return Platform(); });
        const std::vector<const char *> arguments{"zevrikselfservicectl", "--help"};
        QCOMPARE(control.run(arguments, {}), 1);
        QVERIFY(err.str().find("cannot be written") != std::string::npos);
    }

    void whatTheDirectorySaysCannotDriveTheTerminal()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host\x1b[2J"), ControlFixture::pointKeywords());
        QCOMPARE(f.run({"discover"}), 0);
        QVERIFY(!f.output.contains(QChar(0x1b)));
        QVERIFY(f.output.contains(QStringLiteral("host\\u{1b}[2J")));
        QCOMPARE(f.run({"discover", "--json"}), 0);
        QCOMPARE(f.json()[QStringLiteral("connectionPoints")][0][QStringLiteral("serviceDnsName")]
                     .toString(),
                 QStringLiteral("host\x1b[2J"));
        QVERIFY(!f.output.contains(QChar(0x1b)));
    }
};

QTEST_GUILESS_MAIN(tst_SSControl)
#include "tst_SSControl.moc"
