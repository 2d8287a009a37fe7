#include "tests/integration/filevault/ChildProcessTest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

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

/// What a program has from this process, and what not.
class tst_ChildProcessInheritance : public ChildProcessTest
{
    Q_OBJECT

private Q_SLOTS:
    void withoutAnInputTheProgramHasThisProcessesOwn()
    {
        // A file: where there is no input anyway, any program's would be /dev/null.
        const QTemporaryDir folder;
        QFile input(folder.filePath(QStringLiteral("input")));
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
};

QTEST_GUILESS_MAIN(tst_ChildProcessInheritance)
#include "tst_ChildProcessInheritance.moc"
