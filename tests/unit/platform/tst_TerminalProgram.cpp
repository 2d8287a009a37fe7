#include "platform/linux/accounts/PseudoTerminal.h"
#include "platform/linux/accounts/TerminalProgram.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds generous(60);

/// A shell command on a terminal.
struct Session
{
    PseudoTerminal terminal;
    std::unique_ptr<TerminalProgram> program;
    std::string printed;

    explicit Session(std::string command)
    {
        std::string shell = "sh";
        std::string option = "-c";
        std::string variable = "GREETING=hello";
        const std::array arguments{shell.data(), option.data(), command.data(),
                                   static_cast<char *>(nullptr)};
        const std::array environment{variable.data(), static_cast<char *>(nullptr)};
        program = std::make_unique<TerminalProgram>(terminal, "/bin/sh", arguments.data(),
                                                    environment.data());
    }
    /// Reads until `text` was printed; without one, until nothing can be printed any more.
    bool readUntil(std::string_view text = {})
    {
        const auto deadline = Clock::now() + generous;
        std::array<char, 64> buffer{};
        while (Clock::now() < deadline) {
            if (!text.empty() && printed.find(text) != std::string::npos)
                return true;
            std::size_t size = 0;
            const auto result = terminal.read(buffer, size);
            printed.append(buffer.data(), size);
            if (result == PseudoTerminal::Read::NoMore)
                return text.empty();
            pollfd source{terminal.ownEnd(), POLLIN, 0};
            if (result == PseudoTerminal::Read::NothingNow)
                poll(&source, 1, 1000);
        }
        return false;
    }
    bool waitForExit() const
    {
        const auto deadline = Clock::now() + generous;
        while (!program->hasExited() && Clock::now() < deadline) {
            pollfd exit{program->exitDescriptor(), POLLIN, 0};
            poll(&exit, 1, 1000);
        }
        return program->hasExited();
    }
};

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries)
        .size();
}

bool exists(pid_t id)
{
    return kill(id, 0) == 0;
}

} // namespace

class tst_TerminalProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noEndOfATerminalIsInherited()
    {
        const PseudoTerminal terminal;
        QCOMPARE(terminal.error(), 0);
        QVERIFY(fcntl(terminal.ownEnd(), F_GETFD) & FD_CLOEXEC);
        QVERIFY(fcntl(terminal.programEnd(), F_GETFD) & FD_CLOEXEC);
    }

    void aTerminalTellsWhetherItShowsWhatIsTyped()
    {
        const PseudoTerminal terminal;
        QCOMPARE(terminal.echoes(), std::optional(true));
        termios settings{};
        QCOMPARE(tcgetattr(terminal.programEnd(), &settings), 0);
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        QCOMPARE(tcsetattr(terminal.programEnd(), TCSANOW, &settings), 0);
        QCOMPARE(terminal.echoes(), std::optional(false));
    }

    void aProgramReadsWhatIsTypedAsOneLine()
    {
        Session session("stty -echo; printf 'go '; IFS= read -r line; printf '<%s>' \"$line\"");
        QVERIFY(session.readUntil("go "));
        const std::string text = "Grün \\ $x \"";
        QVERIFY(session.terminal.typeLine({text.data(), text.size()}));
        QVERIFY(session.readUntil());
        QCOMPARE(QByteArray::fromStdString(session.printed), QByteArray("go <Grün \\ $x \">"));
        QVERIFY(session.waitForExit());
        QCOMPARE(session.program->waitStatus(), std::optional(0));
    }

    void aProgramHasTheTerminalAndNothingElseOfOurs()
    {
        // Inheritable on purpose, as a library's might be.
        const int stray = open("/dev/null", O_RDONLY);
        QVERIFY(stray >= 0);
        sigset_t before;
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGUSR1);
        sigprocmask(SIG_BLOCK, &blocked, &before);
        const auto oldHandler = std::signal(SIGHUP, SIG_IGN);

        Session session("tty >/dev/null && echo terminal; echo $GREETING; pwd; "
                        "ls -1 /proc/$$/fd; "
                        "grep -E 'Sig(Blk|Ign)' /proc/self/status; "
                        "cut -d' ' -f1,6 /proc/$$/stat");
        const bool ended = session.readUntil() && session.waitForExit();
        std::signal(SIGHUP, oldHandler);
        sigprocmask(SIG_SETMASK, &before, nullptr);
        close(stray);
        QVERIFY(ended);
        const QByteArray id = QByteArray::number(session.program->id());
        QByteArrayList lines = QByteArray::fromStdString(session.printed).split('\n');
        for (QByteArray &line : lines)
            line = line.trimmed();
        QCOMPARE(lines.mid(0, 9), QByteArrayList({"terminal", "hello", "/", "0", "1", "2",
                                                  "SigBlk:\t0000000000000000",
                                                  "SigIgn:\t0000000000000000", id + ' ' + id}));
    }

    void aProgramThatCannotBeExecutedEndsWith127()
    {
        PseudoTerminal terminal;
        std::string name = "none";
        const std::array arguments{name.data(), static_cast<char *>(nullptr)};
        const std::array environment{static_cast<char *>(nullptr)};
        TerminalProgram program(terminal, "/nonexistent/program", arguments.data(),
                                environment.data());
        QCOMPARE(program.error(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(program.hasExited(), 60000);
        QVERIFY(program.waitStatus());
        QVERIFY(WIFEXITED(*program.waitStatus()));
        QCOMPARE(WEXITSTATUS(*program.waitStatus()), 127);
    }

    void aProgramThatIsGivenUpIsEnded_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::newRow("one that waits") << QByteArray("echo on; exec sleep 1000");
        QTest::newRow("one that ignores the polite signals")
            << QByteArray("trap '' TERM HUP; echo on; exec sleep 1000");
        QTest::newRow("one that prints for ever") << QByteArray("echo on; exec yes");
    }
    void aProgramThatIsGivenUpIsEnded()
    {
        QFETCH(QByteArray, command);
        const qsizetype before = openDescriptors();
        pid_t id = -1;
        {
            Session session(command.toStdString());
            QVERIFY(session.readUntil("on"));
            id = session.program->id();
            QVERIFY(exists(id));
            session.program->end();
            QVERIFY(session.program->hasExited());
            session.program->end(); // once more does no harm
        }
        QVERIFY(!exists(id)); // a zombie would exist
        QCOMPARE(openDescriptors(), before);
    }

    void theStatusIsLostWhereChildrenAreNotWaitedFor()
    {
        const auto old = std::signal(SIGCHLD, SIG_IGN);
        Session session("exit 0");
        const bool ended = session.waitForExit();
        std::signal(SIGCHLD, old);
        QVERIFY(ended);
        QCOMPARE(session.program->waitStatus(), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_TerminalProgram)
#include "tst_TerminalProgram.moc"
