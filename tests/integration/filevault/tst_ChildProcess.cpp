#include "platform/linux/process/LinuxChildProcessFactory.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Code = ChildProcessError::Code;

/// A limit for what comes at once on an idle machine.
constexpr int limitMs = 60000;

const QString shell = QStringLiteral("/bin/sh");

ChildProcessRequest script(const QString &text)
{
    return {shell, QStringList({QStringLiteral("-c"), text}), std::nullopt};
}

/// The direct children of this process, zombies included, as "ID STATE".
QStringList ownChildren()
{
    QStringList result;
    QFile list(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
    if (!list.open(QIODevice::ReadOnly))
        return {QStringLiteral("the kernel lists no children")};
    for (const QByteArray &id : list.readAll().split(' ')) {
        QFile status(QStringLiteral("/proc/%1/stat").arg(QString::fromLatin1(id)));
        if (!id.isEmpty() && status.open(QIODevice::ReadOnly)) {
            const QByteArray line = status.readAll();
            result.append(QString::fromLatin1(id + ' ' + line.mid(line.lastIndexOf(')') + 2, 1)));
        }
    }
    return result;
}

QStringList descriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System);
}

/// The signals that a process with this /proc/ID/status does not get, but for 32 and 33, which the
/// C library keeps for itself and switches off at every start of a program.
quint64 signalsWithheld(const QString &status)
{
    quint64 result = 0;
    for (const QString &line : status.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("SigBlk:")) || line.startsWith(QLatin1String("SigIgn:")))
            result |= line.section(QLatin1Char('\t'), 1).toULongLong(nullptr, 16);
    }
    return result & ~(quint64{3} << 31U);
}

} // namespace

/// Real child processes of every kind.
class tst_ChildProcess : public QObject
{
    Q_OBJECT

    QStringList m_diagnostics;
    std::unique_ptr<LinuxChildProcessFactory> m_factory;
    QTemporaryDir m_folder;

    /// What a program prints; the error's text in angle brackets.
    QString outputOf(const ChildProcessRequest &request,
                     const std::optional<QByteArray> &input = std::nullopt)
    {
        const auto process = m_factory->makeProcess(request);
        const auto failure = [](const ChildProcessError &error) {
            return QLatin1Char('<') + error.localizedDescription + QLatin1Char('>');
        };
        if (const auto started = process->launch(input.has_value()); !started)
            return failure(started.error());
        if (input) {
            const auto written = process->writeInput(std::as_bytes(
                std::span(input->constData(), static_cast<std::size_t>(input->size()))));
            if (!written)
                return failure(written.error());
        }
        process->waitUntilExit();
        const auto output = process->readOutput();
        if (!output)
            return failure(output.error());
        return QString::fromUtf8(reinterpret_cast<const char *>(output.value().data()),
                                 static_cast<qsizetype>(output.value().size()));
    }
    Code errorOf(const QString &program)
    {
        const auto process = m_factory->makeProcess({program, std::nullopt, std::nullopt});
        const auto started = process->launch(false);
        return started ? Code::OutputFailed : started.error().code;
    }
    QString file(const char *name, const QByteArray &contents, mode_t mode) const
    {
        QFile made(m_folder.filePath(QString::fromUtf8(name)));
        if (!made.open(QIODevice::WriteOnly) || made.write(contents) != contents.size() ||
            fchmod(made.handle(), mode) != 0)
            return {};
        return made.fileName();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(ownChildren().isEmpty()); }
    void init()
    {
        m_diagnostics.clear();
        m_factory = std::make_unique<LinuxChildProcessFactory>(
            [this](unsigned, DiagnosticType, const QString &text) { m_diagnostics.append(text); });
    }
    void cleanup()
    {
        // whatever was run, nothing is left of it
        QTRY_VERIFY2_WITH_TIMEOUT(ownChildren().isEmpty(),
                                  qPrintable(ownChildren().join(QLatin1Char(','))), limitMs);
    }

    void standardOutputAndErrorAreOneInOrder()
    {
        QCOMPARE(outputOf(script(QStringLiteral("echo a; echo b >&2; echo c"))),
                 QStringLiteral("a\nb\nc\n"));
    }

    void whatIsPrintedToStandardErrorAloneIsReturned()
    {
        QCOMPARE(outputOf(script(QStringLiteral("echo told >&2"))), QStringLiteral("told\n"));
    }

    void theExitStatusPlaysNoPart()
    {
        QCOMPARE(outputOf(script(QStringLiteral("echo a; exit 7"))), QStringLiteral("a\n"));
        QCOMPARE(outputOf(script(QStringLiteral("echo a; kill -9 $$"))), QStringLiteral("a\n"));
        QCOMPARE(outputOf(script(QStringLiteral("exit 1"))), QString());
    }

    void argumentsArriveAsTheyAre()
    {
        const QStringList given{QStringLiteral("%s|"), QString(), QStringLiteral("a b"),
                                QStringLiteral("$HOME `x` \"'\\"), QStringLiteral("Grün€")};
        QCOMPARE(outputOf({QStringLiteral("/usr/bin/printf"), given, std::nullopt}),
                 QStringLiteral("|a b|$HOME `x` \"'\\|Grün€|"));
    }

    void aMebibyteOfOutputArrivesWhole()
    {
        const QString output =
            outputOf(script(QStringLiteral("yes 0123456789abcde | head -c 1048576; echo end")));
        QCOMPARE(output.size(), 1048580);
        QCOMPARE(output.count(QStringLiteral("0123456789abcde\n")), 65536);
        QVERIFY(output.endsWith(QLatin1String("end\n")));
    }

    void anInputLargerThanAPipeMeetsAProgramThatAnswersMeanwhile()
    {
        const QByteArray input(3145728, 'x');
        QCOMPARE(outputOf({QStringLiteral("/bin/cat"), std::nullopt, std::nullopt}, input).size(),
                 input.size());
    }

    void theProgramSeesTheEndOfItsInput()
    {
        QCOMPARE(
            outputOf(script(QStringLiteral("read -r a; read -r b || echo \"$a, end\"")), "one\n"),
            QStringLiteral("one, end\n"));
        QCOMPARE(outputOf({QStringLiteral("/bin/cat"), std::nullopt, std::nullopt}, QByteArray("")),
                 QString());
    }

    void aProgramThatDoesNotReadItsInputIsAnErrorAndNoSignal()
    {
        const QByteArray input(1048576, 'x');
        QCOMPARE(outputOf(script(QStringLiteral("exec 0<&-; echo gone")), input),
                 QStringLiteral("<The input of \"/bin/sh\" cannot be written: Broken pipe>"));
        sigset_t pending;
        QCOMPARE(sigpending(&pending), 0);
        QCOMPARE(sigismember(&pending, SIGPIPE), 0);
        sigset_t blocked;
        QCOMPARE(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
        QCOMPARE(sigismember(&blocked, SIGPIPE), 0);
    }

    void withoutAnInputTheProgramHasThisProcessesOwn()
    {
        // A file: where there is no input anyway, any program's would be /dev/null.
        QFile input(m_folder.filePath(QStringLiteral("input")));
        QVERIFY(input.open(QIODevice::WriteOnly));
        const int before = dup(0);
        QCOMPARE(dup2(input.handle(), 0), 0);
        const QString link = outputOf(script(QStringLiteral("readlink /proc/self/fd/0"))).trimmed();
        QCOMPARE(dup2(before, 0), 0);
        close(before);
        QCOMPARE(link, QFileInfo(input).canonicalFilePath());
    }

    void noDescriptorIsInherited()
    {
        // One that would be inherited, and one with a high number.
        const int plain = open("/dev/null", O_RDONLY);
        QVERIFY(plain >= 0);
        const int high = fcntl(plain, F_DUPFD, 200);
        QVERIFY(high >= 200);
        const QString listed = outputOf(
            {QStringLiteral("/bin/ls"), QStringList(QStringLiteral("/proc/self/fd")), std::nullopt},
            QByteArray(""));
        close(plain);
        close(high);
        // 3 is the folder that is being listed
        QCOMPARE(listed, QStringLiteral("0\n1\n2\n3\n"));
    }

    void descriptorsAreGivenBack()
    {
        const QStringList before = descriptors();
        static_cast<void>(outputOf(script(QStringLiteral("cat")), QByteArray("a")));
        static_cast<void>(outputOf(script(QStringLiteral("exec 0<&-")), QByteArray(1 << 20, 'a')));
        static_cast<void>(errorOf(QStringLiteral("/nonexistent")));
        QVERIFY(m_factory->makeProcess(script(QStringLiteral("sleep 600")))->launch(true));
        QCOMPARE(descriptors(), before);
    }

    void pipesAreNotMistakenForStandardDescriptorsThatAreClosed()
    {
        const int saved[] = {dup(0), dup(1), dup(2)};
        QString copied;
        for (const int closed : {0, 1, 2})
            close(closed);
        copied = outputOf(script(QStringLiteral("cat; echo error >&2")), QByteArray("input\n"));
        for (const int closed : {0, 1, 2}) {
            dup2(saved[closed], closed);
            close(saved[closed]);
        }
        QCOMPARE(copied, QStringLiteral("input\nerror\n"));
    }

    void noSignalIsBlockedOrIgnored()
    {
        sigset_t blocked;
        sigset_t before;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        sigaddset(&blocked, SIGUSR1);
        QCOMPARE(pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
        const auto pipeBefore = std::signal(SIGPIPE, SIG_IGN);
        const auto childBefore = std::signal(SIGHUP, SIG_IGN);
        const QString status =
            outputOf({QStringLiteral("/bin/cat"), QStringList(QStringLiteral("/proc/self/status")),
                      std::nullopt});
        std::signal(SIGPIPE, pipeBefore);
        std::signal(SIGHUP, childBefore);
        QCOMPARE(pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
        QVERIFY(status.contains(QLatin1String("SigBlk:\t")));
        QCOMPARE(signalsWithheld(status), quint64{0});
    }

    void withoutAnEnvironmentTheOwnOneIsInheritedButForTheLanguage()
    {
        qputenv("SS_TEST_VARIABLE", "handed on");
        qputenv("LC_ALL", "POSIX");
        qputenv("LANGUAGE", "de");
        const QString listed =
            outputOf({QStringLiteral("/usr/bin/env"), std::nullopt, std::nullopt});
        qunsetenv("SS_TEST_VARIABLE");
        qunsetenv("LANGUAGE");
        qputenv("LC_ALL", "C.UTF-8");
        const QStringList variables = listed.split(QLatin1Char('\n'));
        QVERIFY(variables.contains(QStringLiteral("SS_TEST_VARIABLE=handed on")));
        QCOMPARE(variables.filter(QStringLiteral("LC_ALL=")),
                 QStringList(QStringLiteral("LC_ALL=C.UTF-8")));
        QCOMPARE(variables.filter(QStringLiteral("LANGUAGE=")), QStringList());
    }

    void aGivenEnvironmentIsTheWholeOne()
    {
        const QMap<QString, QString> given{{QStringLiteral("A"), QStringLiteral("b=c d")},
                                           {QStringLiteral("E"), QString()}};
        QCOMPARE(outputOf({QStringLiteral("/usr/bin/env"), std::nullopt, given}),
                 QStringLiteral("A=b=c d\nE=\n"));
    }

    void whatCannotReachAProgramWholeIsNotStarted()
    {
        const QString null = QString::fromUtf16(u"a\0b", 3);
        QCOMPARE(
            outputOf({shell, QStringList(null), std::nullopt}),
            QStringLiteral("<The program \"/bin/sh\" cannot be started: an argument contains a "
                           "null character>"));
        QCOMPARE(outputOf({shell, std::nullopt, QMap<QString, QString>{{null, {}}}}),
                 QStringLiteral("<The program \"/bin/sh\" cannot be started: its environment has a "
                                "variable that cannot be>"));
        QCOMPARE(outputOf({shell, std::nullopt,
                           QMap<QString, QString>{{QStringLiteral("A=B"), QString()}}}),
                 QStringLiteral("<The program \"/bin/sh\" cannot be started: its environment has a "
                                "variable that cannot be>"));
        const QString tooLong(8388608, QLatin1Char('x'));
        QCOMPARE(
            outputOf({shell, QStringList(tooLong), std::nullopt}),
            QStringLiteral("<The program \"/bin/sh\" cannot be started: Argument list too long>"));
    }

    void whyAProgramCannotBeStarted()
    {
        QVERIFY(m_folder.isValid());
        QCOMPARE(errorOf(QStringLiteral("/nonexistent/tool")), Code::NotFound);
        QCOMPARE(errorOf(QStringLiteral("/etc/passwd/tool")), Code::NotFound);
        QCOMPARE(errorOf(QStringLiteral("sh")), Code::NotFound);
        QCOMPARE(errorOf(QString()), Code::NotFound);
        QCOMPARE(errorOf(m_folder.path()), Code::NotExecutable);
        QCOMPARE(errorOf(file("plain", "#!/bin/sh\n", 0644)), Code::NotExecutable);
        QCOMPARE(errorOf(file("binary", QByteArray("\x7f\x00garbage", 9), 0755)),
                 Code::NotExecutable);
        QCOMPARE(errorOf(file("orphan", "#!/nonexistent/interpreter\n", 0755)),
                 Code::NotExecutable);
        QCOMPARE(
            outputOf({QStringLiteral("/nonexistent/tool"),
                      QStringList(QStringLiteral("secret argument")), std::nullopt}),
            QStringLiteral("<The program \"/nonexistent/tool\" cannot be started: No such file "
                           "or directory>"));
    }

    void whenNoDescriptorIsLeftThePipesAreMissing()
    {
        rlimit before{};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
        const auto input = m_factory->makeProcess(script(QStringLiteral("true")));
        const auto output = m_factory->makeProcess(script(QStringLiteral("true")));
        rlimit none = before;
        none.rlim_cur = 0;
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
        const auto withInput = input->launch(true);
        const auto withoutInput = output->launch(false);
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &before), 0);
        QVERIFY(!withInput);
        QCOMPARE(withInput.error().code, Code::InputPipe);
        QVERIFY(!withoutInput);
        QCOMPARE(withoutInput.error().code, Code::OutputPipe);
    }

    void aProgramRunsUntilItIsAskedToStop_data()
    {
        QTest::addColumn<bool>("isInterrupt");
        QTest::addColumn<QString>("told");
        QTest::newRow("terminate") << false << QStringLiteral("TERM\n");
        QTest::newRow("interrupt") << true << QStringLiteral("INT\n");
    }
    void aProgramRunsUntilItIsAskedToStop()
    {
        QFETCH(bool, isInterrupt);
        QFETCH(QString, told);
        // It waits for its input, which the signal alone keeps it from seeing the end of.
        const QString ready = m_folder.filePath(QStringLiteral("ready"));
        QFile::remove(ready);
        const auto process = m_factory->makeProcess(
            script(QStringLiteral("trap 'echo TERM; exit' TERM; trap 'echo INT; exit' INT; "
                                  ": > %1; while :; do read -r line && exit; done")
                       .arg(ready)));
        QVERIFY(process->launch(true));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(ready), limitMs);
        QVERIFY(process->isRunning());
        if (isInterrupt)
            process->interrupt();
        else
            process->terminate();
        process->waitUntilExit();
        QVERIFY(!process->isRunning());
        const auto output = process->readOutput();
        QVERIFY(output);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(output.value().data()),
                            static_cast<qsizetype>(output.value().size())),
                 told.toLatin1());
        // one that is over is left alone
        process->terminate();
        process->interrupt();
    }

    void anObjectThatGoesTakesARunningProgramWithIt()
    {
        {
            const auto process = m_factory->makeProcess(
                {QStringLiteral("/bin/sleep"), QStringList(QStringLiteral("600")), std::nullopt});
            QVERIFY(process->launch(false));
            QCOMPARE(ownChildren().size(), 1);
        }
        QTRY_COMPARE_WITH_TIMEOUT(ownChildren(), QStringList(), limitMs);
    }

    void aProgramThatHeedsNothingIsCollectedWhenItEndsAllTheSame()
    {
        const QString ready = m_folder.filePath(QStringLiteral("deaf"));
        pid_t id = 0;
        {
            const auto process = m_factory->makeProcess(
                script(QStringLiteral("trap '' TERM INT PIPE; echo $$ > %1.new; mv %1.new %1; "
                                      "while :; do sleep 1; done")
                           .arg(ready)));
            QVERIFY(process->launch(false));
            QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(ready), limitMs);
            QFile told(ready);
            QVERIFY(told.open(QIODevice::ReadOnly));
            id = told.readAll().trimmed().toInt();
            QVERIFY(id > 0);
            // destroyed here, without waiting for it
        }
        QCOMPARE(ownChildren().size(), 1);
        QCOMPARE(kill(id, SIGKILL), 0);
        QTRY_COMPARE_WITH_TIMEOUT(ownChildren(), QStringList(), limitMs);
    }

    void whereChildrenAreCollectedByTheSystemNothingHangs()
    {
        const auto before = std::signal(SIGCHLD, SIG_IGN);
        const QString output = outputOf(script(QStringLiteral("echo a")));
        std::signal(SIGCHLD, before);
        QCOMPARE(output, QStringLiteral("a\n"));
    }

    void aProcessLeftBehindWithThePipeDoesNotHoldUpTheAnswer()
    {
        const QString id = m_folder.filePath(QStringLiteral("left"));
        QElapsedTimer timer;
        timer.start();
        const QString output =
            outputOf(script(QStringLiteral("sleep 600 & echo $! > %1; echo answer").arg(id)));
        const qint64 elapsed = timer.elapsed();
        QFile left(id);
        QVERIFY(left.open(QIODevice::ReadOnly));
        QCOMPARE(kill(left.readAll().trimmed().toInt(), SIGKILL), 0);
        QCOMPARE(output, QStringLiteral("answer\n"));
        QVERIFY2(elapsed < 300000, qPrintable(QString::number(elapsed)));
        QCOMPARE(m_diagnostics,
                 QStringList(QStringLiteral("A process that \"/bin/sh\" left behind keeps its "
                                            "output open. What it prints from now on is lost.")));
    }

    void aProcessLeftBehindThatPrintsOnAndOnDoesNotEither()
    {
        const QString output = outputOf(script(QStringLiteral("yes & echo answer")));
        QCOMPARE(m_diagnostics.size(), 1);
        QVERIFY(output.contains(QLatin1String("answer\n")) ||
                output.contains(QLatin1String("longer than")));
        // nobody reads it any more, which ends it
    }

    void aProcessLeftBehindWithTheInputDoesNotHoldUpTheWriter()
    {
        const QString id = m_folder.filePath(QStringLiteral("reader"));
        const QString output =
            outputOf(script(QStringLiteral("exec 3<&0; sleep 600 <&3 >/dev/null 2>&1 & "
                                           "echo $! > %1")
                                .arg(id)),
                     QByteArray(1048576, 'x'));
        QFile left(id);
        QVERIFY(left.open(QIODevice::ReadOnly));
        QCOMPARE(kill(left.readAll().trimmed().toInt(), SIGKILL), 0);
        QCOMPARE(output,
                 QStringLiteral("<The input of \"/bin/sh\" cannot be written: Broken pipe>"));
    }

    void whatIsPrintedBeforeAProgramClosesItsOutputIsKept()
    {
        QCOMPARE(outputOf(script(QStringLiteral("echo early; exec >&- 2>&-; sleep 1; true"))),
                 QStringLiteral("early\n"));
    }

    void moreThanAnyToolSaysIsAnError()
    {
        QCOMPARE(outputOf(script(QStringLiteral("head -c 67108865 /dev/zero; echo end"))),
                 QStringLiteral("<The output of \"/bin/sh\" cannot be read: it is longer than "
                                "67108864 bytes>"));
    }

    void aProcessIsStartedOnce()
    {
        const auto process = m_factory->makeProcess(script(QStringLiteral("echo a")));
        QVERIFY(process->launch(false));
        const auto again = process->launch(false);
        QVERIFY(!again);
        QCOMPARE(
            again.error().localizedDescription,
            QStringLiteral("The program \"/bin/sh\" cannot be started: it was started before"));
    }
};

QTEST_GUILESS_MAIN(tst_ChildProcess)
#include "tst_ChildProcess.moc"
