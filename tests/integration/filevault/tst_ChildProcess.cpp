#include "tests/integration/filevault/ChildProcessTest.h"

#include <QTest>

#include <csignal>

#include <sys/resource.h>

/// What goes into a program, what comes out of it, and why it cannot be started.
class tst_ChildProcess : public ChildProcessTest
{
    Q_OBJECT

private Q_SLOTS:
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

    void whatCannotReachAProgramWholeIsNotStarted()
    {
        const QString null = QString::fromUtf16(u"a\0b", 3);
        QCOMPARE(
            outputOf({shell(), QStringList(null), std::nullopt}),
            QStringLiteral("<The program \"/bin/sh\" cannot be started: an argument contains a "
                           "null character>"));
        QCOMPARE(outputOf({shell(), std::nullopt, QMap<QString, QString>{{null, {}}}}),
                 QStringLiteral("<The program \"/bin/sh\" cannot be started: its environment has a "
                                "variable that cannot be>"));
        QCOMPARE(outputOf({shell(), std::nullopt,
                           QMap<QString, QString>{{QStringLiteral("A=B"), QString()}}}),
                 QStringLiteral("<The program \"/bin/sh\" cannot be started: its environment has a "
                                "variable that cannot be>"));
        const QString tooLong(8388608, QLatin1Char('x'));
        QCOMPARE(
            outputOf({shell(), QStringList(tooLong), std::nullopt}),
            QStringLiteral("<The program \"/bin/sh\" cannot be started: Argument list too long>"));
    }

    void whyAProgramCannotBeStarted()
    {
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
