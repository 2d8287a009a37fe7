#include "platform/linux/accounts/SuAnswer.h"

#include <QTest>

#include <csignal>

namespace {

using Kind = SuAnswer::Kind;
using Stop = SuRun::Stop;

constexpr int exited(int code)
{
    return code << 8; // as wait(2) packs it on Linux
}

} // namespace

Q_DECLARE_METATYPE(Kind)
Q_DECLARE_METATYPE(Stop)

/// The outputs are those of util-linux 2.38.1 with Debian's PAM modules, seen at a terminal.
class tst_SuAnswer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRunOfSuMeans_data()
    {
        QTest::addColumn<QByteArray>("printed");
        QTest::addColumn<bool>("wasTyped");
        QTest::addColumn<int>("waitStatus");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char *name, const char *printed, bool wasTyped, int status,
                            Kind kind, const char *reason = "") {
            QTest::newRow(name) << QByteArray(printed) << wasTyped << status << kind
                                << QString::fromUtf8(reason);
        };
        const char *const other = "it ended with status 1, but not as it does for a wrong password";

        row("right", "Password: \r\n", true, exited(0), Kind::Right);
        row("right, without a home folder",
            "Password: \r\nsu: warning: cannot change directory to /home/a: No such file or "
            "directory\r\n",
            true, exited(0), Kind::Right);
        row("right, with su's words for a refusal from somebody else",
            "Password: \r\nsu: Authentication failure\r\n", true, exited(0), Kind::Right);
        row("wrong", "Password: \r\nsu: Authentication failure\r\n", true, exited(1),
            Kind::Refused);
        row("wrong, by another system's line ends", "Password: \nsu: Authentication failure\n",
            true, exited(1), Kind::Refused);
        row("expired",
            "Password: \r\nYour account has expired; please contact your system "
            "administrator.\r\nsu: Authentication failure\r\n",
            true, exited(1), Kind::CannotTell, other);
        row("kept out by a rule", "Password: \r\nsu: Permission denied\r\n", true, exited(1),
            Kind::CannotTell, other);
        row("nologin",
            "Password: \r\nsu: using restricted shell /usr/sbin/nologin\r\nThis account is "
            "currently not available.\r\n",
            true, exited(1), Kind::CannotTell, other);
        row("a shell that fails in silence", "Password: \r\n", true, exited(1), Kind::CannotTell,
            other);
        row("a shell that is missing", "Password: \r\nsu: failed to execute /none\r\n", true,
            exited(127), Kind::CannotTell,
            "it ended with status 127, but not as it does for a wrong password");
        row("the words of a refusal with another status",
            "Password: \r\nsu: Authentication failure\r\n", true, exited(2), Kind::CannotTell,
            "it ended with status 2, but not as it does for a wrong password");
        row("killed", "Password: \r\n", true, SIGKILL, Kind::CannotTell,
            "it was ended by signal 9");
        row("no password asked for", "", false, exited(0), Kind::CannotTell,
            "it asks for no password");
        row("unknown to su",
            "su: user a does not exist or the user entry does not contain all the required "
            "fields\r\n",
            false, exited(1), Kind::CannotTell,
            "it ended with status 1 before it asked for the password");
        row("refused before anything was typed", "Password: \r\nsu: Authentication failure\r\n",
            false, exited(1), Kind::CannotTell,
            "it ended with status 1 before it asked for the password");
        row("not executed", "", false, exited(127), Kind::CannotTell,
            "it ended with status 127 before it asked for the password");
    }
    void aRunOfSuMeans()
    {
        QFETCH(QByteArray, printed);
        QFETCH(bool, wasTyped);
        QFETCH(int, waitStatus);
        const SuAnswer answer = SuAnswer::of(
            {std::string_view(printed.constData(), static_cast<std::size_t>(printed.size())),
             wasTyped, Stop::None, waitStatus});
        QTEST(answer.kind, "kind");
        QTEST(answer.reason, "reason");
    }

    void aRunThatWasBrokenOffTellsNothing_data()
    {
        QTest::addColumn<Stop>("stop");
        QTest::addColumn<QString>("reason");
        const auto row = [](Stop stop, const char *reason) {
            QTest::newRow(reason) << stop << QString::fromUtf8(reason);
        };
        row(Stop::OtherPrompt, "it did not ask in the form that is known");
        row(Stop::Echo, "it asked while the terminal shows what is typed");
        row(Stop::SecondQuestion, "it asked for more than the password");
        row(Stop::TimeLimit, "it did not answer in time");
        row(Stop::Terminal, "the terminal did not take the password");
    }
    void aRunThatWasBrokenOffTellsNothing()
    {
        QFETCH(Stop, stop);
        // Even when it ended well after all, while it was being broken off.
        const SuAnswer answer = SuAnswer::of({"Password: \r\n", true, stop, exited(0)});
        QCOMPARE(answer.kind, Kind::CannotTell);
        QTEST(answer.reason, "reason");
    }

    void aLostStatusTellsNothing()
    {
        const SuAnswer answer = SuAnswer::of(
            {"Password: \r\nsu: Authentication failure\r\n", true, Stop::None, std::nullopt});
        QCOMPARE(answer.kind, Kind::CannotTell);
        QCOMPARE(answer.reason, QStringLiteral("how it ended is not known"));
    }
};

QTEST_GUILESS_MAIN(tst_SuAnswer)
#include "tst_SuAnswer.moc"
