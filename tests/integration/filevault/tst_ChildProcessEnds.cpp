#include "tests/integration/filevault/ChildProcessTest.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <csignal>

/// How a program ends, and what it may leave behind.
class tst_ChildProcessEnds : public ChildProcessTest
{
    Q_OBJECT

private Q_SLOTS:
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
};

QTEST_GUILESS_MAIN(tst_ChildProcessEnds)
#include "tst_ChildProcessEnds.moc"
