#include "foundation/SSCommandLine.h"

#include "tests/support/FakePlatform.h"

#include <QTest>

namespace {

using Code = ChildProcessError::Code;

const QString tool = QStringLiteral("/usr/sbin/tool");

} // namespace

Q_DECLARE_METATYPE(FakeChildProcesses::Answer)

class tst_SSCommandLine : public QObject
{
    Q_OBJECT

    std::unique_ptr<FakePlatform> m_fakes;

    /// What is logged at the normal level, which has no function scopes.
    QStringList normalLines() const
    {
        QStringList lines = m_fakes->log->lines();
        lines.removeIf(
            [](const QString &line) { return line.startsWith(QLatin1String("[Debug]")); });
        return lines;
    }
    void answerWith(const FakeChildProcesses::Answer &answer) const
    {
        m_fakes->childProcesses->answer = [answer](const FakeChildProcesses::Run &) {
            return answer;
        };
    }
    /// What a function that is traced logs.
    static QStringList scope(const char *operation)
    {
        const QString begin = QStringLiteral("[Debug]: >> -[SSCommandLine ") +
                              QString::fromLatin1(operation) + QStringLiteral("] ");
        return {begin + QStringLiteral("started"), begin + QStringLiteral("ended")};
    }
    static FakeChildProcesses::Answer launchFails(Code code)
    {
        FakeChildProcesses::Answer answer;
        answer.launchError = ChildProcessError{code, QStringLiteral("no such tool")};
        return answer;
    }

private Q_SLOTS:
    void init() { m_fakes = std::make_unique<FakePlatform>(); }
    void cleanup() { m_fakes.reset(); }

    void argumentsThatSpeakOfAPasswordAreMasked_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("shown");
        const auto list = [](std::initializer_list<const char *> texts) {
            QStringList result;
            for (const char *text : texts)
                result.append(QString::fromUtf8(text));
            return result;
        };
        const QString masked = QStringLiteral("********");
        QTest::newRow("-password, x") << list({"-password", "x"}) << masked;
        QTest::newRow("Password inside the last one")
            << list({"-c", "expect \"Password:\" { send x }"}) << masked;
        QTest::newRow("-adminUser, root") << list({"-adminUser", "root"})
                                          << QStringLiteral("(\n    \"-adminUser\",\n    root\n)");
        QTest::newRow("all capitals are let through")
            << list({"-PASSWORD", "x"}) << QStringLiteral("(\n    \"-PASSWORD\",\n    x\n)");
        QTest::newRow("none") << QStringList() << QStringLiteral("(\n)");
    }
    void argumentsThatSpeakOfAPasswordAreMasked()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, shown);
        static_cast<void>(SSCommandLine::shellExecuteWithCommand(tool, arguments));
        QCOMPARE(
            normalLines(),
            QStringList(QStringLiteral("[Info]: Executing: '/usr/sbin/tool' with arguments '") +
                        shown + QLatin1Char('\'')));
        // only the line is masked
        QCOMPARE(m_fakes->childProcesses->runs.value(0).arguments, arguments);
    }

    void everyLogLevelHasItsLines_data()
    {
        QTest::addColumn<FakeChildProcesses::Answer>("answer");
        QTest::addColumn<QStringList>("normal");
        QTest::addColumn<QStringList>("traced");
        const QString executing =
            QStringLiteral("[Info]: Executing: '/usr/sbin/tool' with arguments '(\n    x\n)'");
        const QStringList making = scope("initWithCommand:arguments:environment:");
        const QStringList launching = scope("launchWithInput:error:");
        const QStringList reading = scope("resultAndReturnError:");
        const QString executeError = QStringLiteral("[Error]: Execute error: no such tool");
        const QString resultError = QStringLiteral("[Error]: Result error: I/O error");
        const QString pipeError = QStringLiteral("[Error]: Unable create output NSPipe object.");
        // An error is told before the step that met it ends.
        const auto with = [](const QStringList &steps, const QString &error) {
            return QStringList({steps.first(), error, steps.last()});
        };

        QTest::newRow("done") << FakeChildProcesses::Answer() << QStringList(executing)
                              << QStringList(executing) + making + launching + reading;
        QTest::newRow("not started")
            << launchFails(Code::NotFound) << QStringList({executing, executeError})
            << QStringList(executing) + making + with(launching, executeError);
        QTest::newRow("no pipe") << launchFails(Code::OutputPipe)
                                 << QStringList({executing, pipeError})
                                 << QStringList(executing) + making + with(launching, pipeError);
        FakeChildProcesses::Answer unread;
        unread.outputError = ChildProcessError{Code::OutputFailed, QStringLiteral("I/O error")};
        QTest::newRow("not read") << unread << QStringList({executing, resultError})
                                  << QStringList(executing) + making + launching +
                                         with(reading, resultError);
    }
    void everyLogLevelHasItsLines()
    {
        QFETCH(FakeChildProcesses::Answer, answer);
        QFETCH(QStringList, normal);
        QFETCH(QStringList, traced);
        answerWith(answer);
        const auto linesAt = [this](quint32 level) {
            SSLogger::sharedInstance()->setLogLevel(level);
            m_fakes->log->clear();
            static_cast<void>(SSCommandLine::shellExecuteWithCommand(tool, {QStringLiteral("x")}));
            return m_fakes->log->lines();
        };
        QCOMPARE(linesAt(2), traced);
        QCOMPARE(linesAt(1), normal);
        QCOMPARE(linesAt(0), QStringList());
        QCOMPARE(m_fakes->childProcesses->runs.size(), 3);
    }

    void withoutAnInputTextStandardInputIsNotRedirected()
    {
        static_cast<void>(SSCommandLine::shellExecuteWithCommand(tool, {}));
        QCOMPARE(m_fakes->childProcesses->runs.value(0).input, std::nullopt);
    }

    void anInputTextIsWrittenAsUtf8AndNeverLogged()
    {
        const auto result = SSCommandLine::shellExecuteWithCommand(tool, {}, std::nullopt,
                                                                   QStringLiteral("sécret\n"));
        QVERIFY(!result.error);
        QCOMPARE(m_fakes->childProcesses->runs.value(0).input, QByteArray("s\xc3\xa9"
                                                                          "cret\n"));
        QVERIFY(!m_fakes->log->lines().join(QString()).contains(QLatin1String("cret")));
    }

    void anEmptyInputTextIsAnInput()
    {
        static_cast<void>(
            SSCommandLine::shellExecuteWithCommand(tool, {}, std::nullopt, QString()));
        QVERIFY(m_fakes->childProcesses->runs.value(0).input.has_value());
        QCOMPARE(*m_fakes->childProcesses->runs.value(0).input, QByteArray());
    }

    void theEnvironmentIsHandedOnOnlyWhenGiven()
    {
        static_cast<void>(SSCommandLine::shellExecuteWithCommand(tool, {}));
        const SSCommandLine::Environment given{{QStringLiteral("A"), QStringLiteral("b")}};
        static_cast<void>(SSCommandLine::shellExecuteWithCommand(tool, {}, given));
        QCOMPARE(m_fakes->childProcesses->runs.value(0).environment, std::nullopt);
        QCOMPARE(m_fakes->childProcesses->runs.value(1).environment, given);
    }

    void theOutputIsDecodedAsUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isText");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << QByteArray() << true << QString();
        QTest::newRow("lines") << QByteArray("a\r\nb\n") << true << QStringLiteral("a\r\nb\n");
        QTest::newRow("four bytes")
            << QByteArray("\xf0\x9d\x84\x9e") << true << QString::fromUtf16(u"\xd834\xdd1e");
        QTest::newRow("a null") << QByteArray("a\0b", 3) << true << QString::fromUtf16(u"a\0b", 3);
        QTest::newRow("a byte-order mark") << QByteArray("\xef\xbb\xbf"
                                                         "a")
                                           << true << QChar(u'\xfeff') + QStringLiteral("a");
        QTest::newRow("Latin-1") << QByteArray("gr\xfcn") << false << QString();
        QTest::newRow("cut short") << QByteArray("a\xe2\x82") << false << QString();
        QTest::newRow("longer than needed") << QByteArray("\xc0\xaf") << false << QString();
        QTest::newRow("a surrogate") << QByteArray("\xed\xa0\x80") << false << QString();
    }
    void theOutputIsDecodedAsUtf8()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isText);
        QFETCH(QString, text);
        answerWith({bytes, std::nullopt, std::nullopt, std::nullopt});
        const auto result = SSCommandLine::shellExecuteWithCommand(tool, {});
        // what is no UTF-8 is no error either, and not logged
        QVERIFY(!result.error);
        QCOMPARE(result.output.has_value(), isText);
        QCOMPARE(result.output.value_or(QString()), text);
        QCOMPARE(normalLines().size(), 1);
    }

    void aMissingExecutableIsAnErrorAndLogged()
    {
        answerWith(launchFails(Code::NotFound));
        const auto result = SSCommandLine::shellExecuteWithCommand(tool, {});
        QVERIFY(!result.output);
        QVERIFY(result.error);
        QCOMPARE(result.error->localizedDescription, QStringLiteral("no such tool"));
        QCOMPARE(normalLines().value(1), QStringLiteral("[Error]: Execute error: no such tool"));
        QCOMPARE(normalLines().size(), 2);
    }

    void anInputThatCannotBeWrittenIsAnErrorAndLogged()
    {
        FakeChildProcesses::Answer answer{"printed", std::nullopt, std::nullopt, std::nullopt};
        answer.inputError = ChildProcessError{Code::InputFailed, QStringLiteral("Broken pipe")};
        answerWith(answer);
        const auto result =
            SSCommandLine::shellExecuteWithCommand(tool, {}, std::nullopt, QStringLiteral("x"));
        QVERIFY(!result.output);
        QVERIFY(result.error);
        QCOMPARE(normalLines().value(1), QStringLiteral("[Error]: Execute error: Broken pipe"));
    }

    void anOutputThatCannotBeReadIsAnErrorAndLogged()
    {
        FakeChildProcesses::Answer answer;
        answer.outputError = ChildProcessError{Code::OutputFailed, QStringLiteral("I/O error")};
        answerWith(answer);
        const auto result = SSCommandLine::shellExecuteWithCommand(tool, {});
        QVERIFY(!result.output);
        QVERIFY(result.error);
        QCOMPARE(normalLines().value(1), QStringLiteral("[Error]: Result error: I/O error"));
    }

    void aPipeThatCannotBeHadIsLoggedAndNoError_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("line");
        const auto row = [](const char *name, Code code, const char *line) {
            QTest::newRow(name) << static_cast<int>(code) << QString::fromLatin1(line);
        };
        row("input", Code::InputPipe, "[Error]: Unable create input NSPipe object.");
        row("input end", Code::InputHandle, "[Error]: Unable create input NSFileHandle object.");
        row("output", Code::OutputPipe, "[Error]: Unable create output NSPipe object.");
        row("output end", Code::OutputHandle, "[Error]: Unable create output NSFileHandle object.");
    }
    void aPipeThatCannotBeHadIsLoggedAndNoError()
    {
        QFETCH(int, code);
        QFETCH(QString, line);
        answerWith(launchFails(static_cast<Code>(code)));
        const auto result = SSCommandLine::shellExecuteWithCommand(tool, {});
        QVERIFY(!result.output);
        QVERIFY(!result.error);
        QCOMPARE(normalLines().mid(1), QStringList(line));
    }

    void aRunnerThatCannotBeMadeIsLoggedAndNoError()
    {
        m_fakes->childProcesses->canMake = false;
        const auto result = SSCommandLine::shellExecuteWithCommand(tool, {});
        QVERIFY(!result.output);
        QVERIFY(!result.error);
        QCOMPARE(normalLines().mid(1),
                 QStringList(QStringLiteral("[Error]: Unable create NSTask object.")));
    }

    void anEmptyPathIsNoUrl()
    {
        const auto result = SSCommandLine::shellExecuteWithCommand(QString(), {});
        QVERIFY(!result.output);
        QVERIFY(!result.error);
        QCOMPARE(normalLines().mid(1),
                 QStringList(QStringLiteral("[Error]: Unable create NSURL object.")));
    }

    void aRunnerAsksItsProgramToTerminateAndThenToInterruptWhenItGoes()
    {
        static_cast<void>(SSCommandLine::shellExecuteWithCommand(tool, {}));
        QCOMPARE(m_fakes->childProcesses->runs.value(0).terminations, 1);
        QCOMPARE(m_fakes->childProcesses->runs.value(0).interruptions, 1);
    }

    void aRunnerRunsFromItsLaunchToItsProgramsExit()
    {
        const auto runner = SSCommandLine::initWithCommand(tool, std::nullopt, std::nullopt);
        QVERIFY(runner);
        QVERIFY(!runner->running());
        std::optional<ChildProcessError> error;
        QVERIFY(runner->launchWithInput(std::nullopt, error));
        QVERIFY(runner->running());
        runner->waitUntilExit();
        QVERIFY(!runner->running());
        QCOMPARE(m_fakes->childProcesses->runs.value(0).arguments, std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_SSCommandLine)
#include "tst_SSCommandLine.moc"
