#include "platform/linux/accounts/LocalAccountNode.h"
#include "platform/linux/accounts/SuPasswordCheck.h"
#include "tests/integration/accounts/Processes.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Code = DirectoryError::Code;
using namespace std::chrono_literals;

constexpr quint32 aliceId = 7101;
constexpr char16_t oddPassword[] = u"Grün€ 𝄞 \"q\" 'q' \\n $HOME $[x] `id` {}; ";
constexpr char su[] = "/usr/bin/su";

QString cannot(const char *name, const char *reason)
{
    return QStringLiteral("%1 The password of \"%2\" cannot be checked through su: %3.")
        .arg(static_cast<int>(Code::CannotTell))
        .arg(QString::fromUtf8(name), QString::fromUtf8(reason));
}

QString refused(const char *name)
{
    return QStringLiteral(
               "%1 su refuses the password of \"%2\": it is wrong, or the account is locked.")
        .arg(static_cast<int>(Code::AuthenticationRefused))
        .arg(QString::fromUtf8(name));
}

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries)
        .size();
}

/// One check, by whoever runs it: "right" or the error's code and text; what was logged; and what
/// the check left behind, which is to be nothing.
struct Check
{
    QString answer;
    QString log;
    QString left;

    template<typename Verify>
    static QString run(Verify verify)
    {
        Check check;
        const DiagnosticSink sink = [&](unsigned level, DiagnosticType type, const QString &text) {
            check.log +=
                QStringLiteral("%1 %2 %3\n").arg(level).arg(static_cast<int>(type)).arg(text);
        };
        const qsizetype before = openDescriptors();
        const Result<bool, DirectoryError> result = verify(sink);
        if (result.ok())
            check.answer = result.value() ? QStringLiteral("right") : QStringLiteral("wrong");
        else
            check.answer = QStringLiteral("%1 %2")
                               .arg(static_cast<int>(result.error().code))
                               .arg(result.error().localizedDescription);
        if (openDescriptors() != before)
            check.left += QStringLiteral("descriptors ");
        errno = 0;
        if (waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD)
            check.left += QStringLiteral("a process");
        return check.answer + QChar(u'\x1E') + check.log + QChar(u'\x1E') + check.left;
    }
    static Check of(const QString &text)
    {
        const QStringList parts = text.split(QChar(u'\x1E'));
        return {parts.value(0), parts.value(1), parts.value(2, QStringLiteral("no report"))};
    }
};

/// A check through the local node.
QString checkNode(const char *name, std::u16string_view password)
{
    return Check::run([&](const DiagnosticSink &sink) -> Result<bool, DirectoryError> {
        LocalAccountNode node({}, sink);
        const auto records = node.query({DirectoryRecordType::Users,
                                         QString::fromUtf16(DirectoryAttribute::RecordName),
                                         DirectoryMatchType::EqualTo,
                                         QString::fromUtf8(name),
                                         {},
                                         0});
        if (!records.ok() || records.value().isEmpty())
            return Failure{DirectoryError{Code::Internal, QStringLiteral("no such account")}};
        return records.value().first()->verifyPassword(password);
    });
}

/// The same, by an ordinary user.
Check askNode(const char *name, std::u16string_view password)
{
    return Check::of(asUser(aliceId, [&] { return checkNode(name, password); }));
}

/// A check by an ordinary user of an account that only su needs to know.
Check askSu(
    const QByteArray &name, std::u16string_view password,
    const SuPasswordCheck::Options &options = {}, const std::function<void()> &before = [] {})
{
    return Check::of(asUser(aliceId, [&] {
        before();
        return Check::run([&](const DiagnosticSink &sink) {
            NameService::User user;
            user.name = name;
            user.userId = 7999;
            return SuPasswordCheck::verify(user, password, sink, options);
        });
    }));
}

QByteArray report()
{
    QFile file(QStringLiteral(SS_SU_REPORT));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// Run by with-own-etc as root: makes accounts as it likes, and binds over su.
class it_su_password : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    bool m_isBound = false;

    QString inFolder(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }
    static bool add(const char *name, const char *id, const char *shell)
    {
        return run({QStringLiteral("useradd"), QStringLiteral("-M"), QStringLiteral("-U"),
                    QStringLiteral("-u"), QString::fromUtf8(id), QStringLiteral("-s"),
                    QString::fromUtf8(shell), QString::fromUtf8(name)}) == 0;
    }
    bool bindOverSu(const QString &program)
    {
        m_isBound = mount(qPrintable(program), su, nullptr, MS_BIND, nullptr) == 0;
        return m_isBound;
    }
    bool standIn() { return bindOverSu(inFolder("su")); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(geteuid() == 0, "this test makes accounts, so it needs root");
        QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
        QVERIFY(add("ssit-alice", "7101", "/bin/sh"));
        QVERIFY(add("ssit-bob", "7102", "/bin/bash"));
        QVERIFY(add("ssit-locked", "7103", "/bin/sh"));
        QVERIFY(add("ssit-expired", "7104", "/bin/sh"));
        QVERIFY(add("ssit-mustchange", "7105", "/bin/sh"));
        QVERIFY(add("ssit-blank", "7106", "/bin/sh"));
        QVERIFY(add("ssit-nologin", "7107", "/usr/sbin/nologin"));
        QVERIFY(add("ssit-false", "7108", "/bin/false"));
        QVERIFY(add("ssit-long", "7109", "/bin/sh"));

        // A home whose start-up files print, wait and fail.
        QCOMPARE(chmod(qPrintable(m_folder.path()), 0755), 0);
        QFile profile(inFolder(".profile"));
        QVERIFY(profile.open(QIODevice::WriteOnly));
        profile.write("echo su: Authentication failure; read answer; exit 1\n");
        profile.close();
        // A shell of none of /etc/shells, so that su runs no other in its place.
        QFile shell(inFolder("shell"));
        QVERIFY(shell.open(QIODevice::WriteOnly));
        shell.write("#!/bin/sh\necho 'a shell, and it waits'\nexec sleep 1000\n");
        shell.close();
        QCOMPARE(chmod(qPrintable(shell.fileName()), 0755), 0);
        QVERIFY(add("ssit-waits", "7110", qPrintable(shell.fileName())));
        // Names that useradd refuses.
        QFile passwd(QStringLiteral("/etc/passwd"));
        QVERIFY(passwd.open(QIODevice::Append));
        passwd.write("4242:x:7210:7210::/:/bin/sh\n"
                     "CORP\\jroe:x:7202:7202::" +
                     m_folder.path().toUtf8() + ":/bin/sh\n");
        passwd.close();
        QFile shadow(QStringLiteral("/etc/shadow"));
        QVERIFY(shadow.open(QIODevice::Append));
        shadow.write("4242:*:19000:0:99999:7:::\nCORP\\jroe:*:19000:0:99999:7:::\n");
        shadow.close();
        QCOMPARE(run({QStringLiteral("chpasswd")},
                     "ssit-alice:her own\nssit-bob:" + QString::fromUtf16(oddPassword).toUtf8() +
                         "\nssit-locked:right\nssit-expired:right\nssit-mustchange:right\n"
                         "ssit-nologin:right\nssit-false:right\nssit-waits:right\n4242:"
                         "right\nCORP\\jroe:right\n"
                         "ssit-long:" +
                         QByteArray(511, 'x') + "\n"),
                 0);
        const auto change = [](std::initializer_list<const char *> words) {
            QStringList command;
            for (const char *word : words)
                command.append(QString::fromUtf8(word));
            return run(command) == 0;
        };
        QVERIFY(change({"usermod", "-L", "ssit-locked"}));
        QVERIFY(change({"usermod", "-e", "1", "ssit-expired"}));
        QVERIFY(change({"chage", "-d", "0", "ssit-mustchange"}));
        QVERIFY(change({"passwd", "-d", "-q", "ssit-blank"}));

        // The stand-in gets a file system of its own, as that of the build may be "nosuid".
        const QString place = inFolder("bin");
        QVERIFY(QDir().mkdir(place));
        QCOMPARE(mount("tmpfs", qPrintable(place), "tmpfs", 0, "mode=0755"), 0);
        const QString copy = place + QStringLiteral("/su");
        QVERIFY(QFile::copy(QStringLiteral(SS_SU_STANDIN), copy));
        QCOMPARE(chown(qPrintable(copy), 0, 0), 0);
        QCOMPARE(chmod(qPrintable(copy), 04755), 0);
        QVERIFY(QFile::link(copy, inFolder("su")));
    }
    void cleanupTestCase() { umount(qPrintable(inFolder("bin"))); }
    void cleanup()
    {
        // At once even if a stand-in that was killed is not gone yet.
        if (m_isBound)
            QCOMPARE(umount2(su, MNT_DETACH), 0);
        m_isBound = false;
        QFile::remove(QStringLiteral(SS_SU_REPORT));
    }

    void anOrdinaryUserLearnsWhetherAPasswordIsSomebodyElses_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("password");
        const auto row = [](const char *test, const char *name, const QString &password) {
            QTest::newRow(test) << QByteArray(name) << password;
        };
        const QString right = QStringLiteral("right");
        row("quotes, backslashes, dollars, brackets, not of ASCII", "ssit-bob",
            QString::fromUtf16(oddPassword));
        row("as long as PAM takes it", "ssit-long", QString(511, QLatin1Char('x')));
        row("a name of digits", "4242", right);
        row("a domain before the name; start-up files that print, wait and fail", "CORP\\jroe",
            right);
    }
    void anOrdinaryUserLearnsWhetherAPasswordIsSomebodyElses()
    {
        QFETCH(QByteArray, name);
        QFETCH(QString, password);
        const Check check = askNode(name.constData(), password.toStdU16String());
        QCOMPARE(check.answer, QStringLiteral("right"));
        QCOMPARE(check.log, QString());
        QCOMPARE(check.left, QString());
    }

    void aWrongPasswordIsRefusedAndStandsInNoProcessList()
    {
        constexpr char16_t wrong[] = u"zebra-wrong-7731";
        const QString found = asUser(aliceId, [&] {
            std::atomic_bool isDone = false;
            QString answer;
            std::thread asking([&] {
                answer = Check::of(checkNode("ssit-bob", wrong)).answer;
                isDone = true;
            });
            bool wasSeen = false;
            bool suWasSeen = false;
            while (!isDone) {
                const QStringList ids =
                    QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs);
                for (const QString &id : ids) {
                    QFile file(QStringLiteral("/proc/%1/cmdline").arg(id));
                    if (!file.open(QIODevice::ReadOnly))
                        continue;
                    const QByteArray line = file.readAll();
                    wasSeen = wasSeen || line.contains("zebra-wrong-7731");
                    suWasSeen = suWasSeen || line.split('\0').mid(0, 7) ==
                                                 QByteArrayList({"su", "-s", "/bin/true", "-c",
                                                                 "true", "-", "ssit-bob"});
                }
                usleep(20000);
            }
            asking.join();
            return QStringLiteral("%1|%2|%3").arg(answer).arg(suWasSeen).arg(wasSeen);
        });
        QCOMPARE(found, refused("ssit-bob") + QStringLiteral("|1|0"));
    }

    void aLockedAccountIsRefusedAsAWrongPasswordIs()
    {
        QCOMPARE(askNode("ssit-locked", u"right").answer, refused("ssit-locked"));
    }

    void accountsThatLetNobodyInConfirmNoPassword_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<QString>("logged");
        const auto row = [](const char *name, const char *reason, const char *logged) {
            QTest::newRow(name) << QByteArray(name) << QByteArray(reason)
                                << QString::fromUtf8(logged);
        };
        const char *const failed =
            "it ended with status 1, but not as it does for a wrong password";
        row("ssit-expired", failed, "Your account has expired");
        row("ssit-nologin", failed, "This account is currently not available.");
        row("ssit-false", failed, "using restricted shell /bin/false");
        row("ssit-mustchange", "it asked for more than the password", "Current password:");
        row("ssit-blank", "it asks for no password", "; it printed");
    }
    void accountsThatLetNobodyInConfirmNoPassword()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, reason);
        QFETCH(QString, logged);
        const Check check = askNode(name.constData(), u"right");
        QCOMPARE(check.answer, cannot(name.constData(), reason.constData()));
        QVERIFY2(check.log.startsWith(QStringLiteral("1 1 The password of")) &&
                     check.log.contains(logged) && check.log.count(QChar(u'\n')) == 1,
                 qPrintable(check.log));
        QCOMPARE(check.left, QString());
    }

    void aWrongPasswordOfAnAccountWithoutAShellIsRefused()
    {
        QCOMPARE(askNode("ssit-nologin", u"wrong").answer, refused("ssit-nologin"));
    }

    void passwordsThatATerminalWouldCutAreNotTyped_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QByteArray>("reason");
        const QByteArray control = "a control character in the password would not pass the "
                                   "terminal";
        // line end, return, end of file, interrupt, quit, suspend, erase, kill, stop, start,
        // reprint, word erase, literal next, tab, bell, escape
        for (const int c : {0x0A, 0x0D, 0x04, 0x03, 0x1C, 0x1A, 0x7F, 0x15, 0x13, 0x11, 0x12, 0x17,
                            0x16, 0x09, 0x07, 0x1B})
            QTest::addRow("character %d", c)
                << (QStringLiteral("right") + QChar(c)) + QStringLiteral("right") << control;
        QTest::newRow("too long") << QString(512, QLatin1Char('x'))
                                  << QByteArray("the password is longer than 511 bytes");
        QTest::newRow("too long in UTF-8")
            << QString(256, QChar(u'ü')) << QByteArray("the password is longer than 511 bytes");
    }
    void passwordsThatATerminalWouldCutAreNotTyped()
    {
        QFETCH(QString, password);
        QFETCH(QByteArray, reason);
        QVERIFY(standIn());
        const Check check = askSu("reports", password.toStdU16String());
        QCOMPARE(check.answer, cannot("reports", reason.constData()));
        QCOMPARE(report(), QByteArray()); // su was not even started
    }

    void suIsGivenThePasswordOnItsTerminalAndNothingElse()
    {
        QVERIFY(standIn());
        const Check check = askSu("reports", oddPassword);
        QCOMPARE(check.answer, QStringLiteral("right"));
        QByteArrayList lines = report().split('\n');
        QVERIFY(lines.takeFirst().startsWith("process "));
        QCOMPARE(lines, QByteArrayList({"argument su", "argument -s", "argument /bin/true",
                                        "argument -c", "argument true", "argument -",
                                        "argument reports", "variable LC_ALL=C.UTF-8",
                                        "variable PATH=/usr/local/bin:/usr/bin:/bin",
                                        "variable TERM=dumb", "descriptors 3", "effective user 0",
                                        "typed " + QString::fromUtf16(oddPassword).toUtf8(), ""}));
    }

    void anOddSuIsGivenUp_data()
    {
        QTest::addColumn<QByteArray>("account");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<bool>("isTyped");
        QTest::addColumn<QString>("logged");
        const auto row = [](const char *account, const char *reason, bool isTyped,
                            const char *logged) {
            QTest::newRow(account) << QByteArray(account) << QByteArray(reason) << isTyped
                                   << QString::fromUtf8(logged);
        };
        const char *const late = "it did not answer in time";
        const char *const other = "it did not ask in the form that is known";
        row("silent", late, false, "; it printed nothing.");
        row("own-root", late, false, "; it printed nothing.");
        row("thinks", late, true, "; it printed: Password:.");
        row("floods", late, true, "; it printed: Password: There is no end to it.");
        row("shows-typed", "it asked while the terminal shows what is typed", false,
            "; it printed: Password:.");
        row("pin", other, false, "; it printed: PIN:.");
        row("greets", other, false, "; it printed: Touch the reader. Password:.");
        row("reader", other, false, "; it printed: Touch the reader..");
        row("trusts", "it asks for no password", false, "; it printed: Welcome..");
        row("asks-twice", "it asked for more than the password", true,
            "; it printed: Password: Verification code:.");
        row("killed", "it was ended by signal 9", true, "; it printed: Password:.");
        row("tells", "it ended with status 1, but not as it does for a wrong password", true,
            "; what it printed is left out, as the password is in it.");
    }
    void anOddSuIsGivenUp()
    {
        QFETCH(QByteArray, account);
        QFETCH(QByteArray, reason);
        QFETCH(bool, isTyped);
        QFETCH(QString, logged);
        QVERIFY(standIn());
        SuPasswordCheck::Options options;
        if (reason == "it did not answer in time")
            options.limit = account == "silent" || account == "own-root" ? 1s : 5s;
        const Check check = askSu(account, u"zebra-7731", options);
        QCOMPARE(check.answer, cannot(account.constData(), reason.constData()));
        QVERIFY2(check.log.contains(logged) && !check.log.contains(QStringLiteral("zebra")),
                 qPrintable(check.log));
        QCOMPARE(check.left, QString());
        QCOMPARE(report().count("typed zebra-7731\n"), isTyped ? 1 : 0);
        QCOMPARE(report().count("zebra"), isTyped ? 1 : 0);
        const pid_t id = report().split('\n').first().mid(8).toInt();
        QVERIFY(id > 0);
        QVERIFY(kill(id, 0) != 0);
    }

    void aSuThatCannotBeEndedDoesNotKeepTheCaller()
    {
        QVERIFY(standIn());
        SuPasswordCheck::Options options;
        options.limit = 1s;
        const Check check = askSu("stays", u"zebra-7731", options);
        QCOMPARE(check.answer, cannot("stays", "it did not answer in time"));
        const pid_t id = report().split('\n').first().mid(8).toInt();
        QVERIFY(id > 0);
        QCOMPARE(kill(id, SIGKILL), 0);
    }

    void aShellThatWaitsIsEndedWithItsSu()
    {
        SuPasswordCheck::Options options;
        options.limit = 6s;
        const Check check = askSu("ssit-waits", u"right", options);
        QCOMPARE(check.answer, cannot("ssit-waits", "it did not answer in time"));
        QVERIFY2(check.log.contains(QStringLiteral("shell, and it waits")), qPrintable(check.log));
        QCOMPARE(check.left, QString());
        // su does not wait for it. A status of 1: there is none but one that nobody has collected.
        QTRY_COMPARE_WITH_TIMEOUT(
            run({QStringLiteral("pgrep"), QStringLiteral("-r"), QStringLiteral("DRST"),
                 QStringLiteral("-U"), QStringLiteral("7110")}),
            1, 30000);
    }

    void withoutASuThatRunsAsRootNothingIsTyped_data()
    {
        QTest::addColumn<QByteArray>("program");
        QTest::addColumn<quint32>("mode");
        QTest::addColumn<QByteArray>("reason");
        QTest::newRow("missing") << QByteArray() << quint32(0) << QByteArray("there is none");
        QTest::newRow("no set-user-ID bit") << QByteArray("plain") << quint32(0755)
                                            << QByteArray("\"/usr/bin/su\" would not run as root");
        QTest::newRow("not for this user")
            << QByteArray("shut") << quint32(04750)
            << QByteArray("\"/usr/bin/su\" may not be run by this user");
        QTest::newRow("on a file system without set-user-ID")
            << QByteArray("nosuid/su") << quint32(04755)
            << QByteArray("\"/usr/bin/su\" would not run as root");
    }
    void withoutASuThatRunsAsRootNothingIsTyped()
    {
        QFETCH(QByteArray, program);
        QFETCH(quint32, mode);
        QFETCH(QByteArray, reason);
        SuPasswordCheck::Options options;
        const QString path = inFolder("bin/") + QString::fromUtf8(program);
        const QString folder = inFolder("bin/nosuid");
        if (program.isEmpty()) {
            options.programs = {"/nonexistent/su"};
        } else {
            if (program.startsWith("nosuid")) {
                QVERIFY(QDir().mkdir(folder));
                QCOMPARE(mount("tmpfs", qPrintable(folder), "tmpfs", MS_NOSUID, "mode=0755"), 0);
            }
            QVERIFY(QFile::copy(QStringLiteral(SS_SU_STANDIN), path));
            QCOMPARE(chown(qPrintable(path), 0, 0), 0);
            QCOMPARE(chmod(qPrintable(path), mode), 0);
            QVERIFY(bindOverSu(path));
            options.programs = {su};
        }
        const Check check = askSu("reports", u"zebra-7731", options);
        umount(qPrintable(folder));
        QCOMPARE(check.answer, cannot("reports", reason.constData()));
        QVERIFY(check.log.contains(QString::fromUtf8(reason)));
        QCOMPARE(report(), QByteArray());
    }

    void withoutNewPrivilegesSuIsNotAsked()
    {
        QVERIFY(standIn());
        const Check check =
            askSu("reports", u"right", {}, [] { prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0); });
        QCOMPARE(check.answer,
                 cannot("reports", "this process may gain no privileges (no_new_privs)"));
        QCOMPARE(report(), QByteArray());
    }

    void aNameThatReadsAsAnOptionIsNotPassedOn()
    {
        QVERIFY(standIn());
        QCOMPARE(askSu("-c", u"right").answer, cannot("-c", "it would not take that name for one"));
        QCOMPARE(askSu("", u"right").answer, cannot("", "it would not take that name for one"));
        QCOMPARE(report(), QByteArray());
    }

    void aPasswordThatIsNoTextIsNotTyped()
    {
        using namespace std::string_view_literals;
        QVERIFY(standIn());
        const QString expected =
            QStringLiteral("4 The password given for \"reports\" is not valid text.");
        QCOMPARE(static_cast<int>(Code::AuthenticationRefused), 4);
        QCOMPARE(askSu("reports", u"right\0"sv).answer, expected);
        QCOMPARE(askSu("reports", std::u16string(1, u'\xD800')).answer, expected);
        QCOMPARE(report(), QByteArray());
    }

    void theUsersOwnPasswordAndRootsQuestionsGoToPam()
    {
        QVERIFY(standIn());
        QCOMPARE(askNode("ssit-alice", u"her own").answer, QStringLiteral("right"));
        // by its number: an account of that name and another number is somebody else's
        QCOMPARE(Check::of(checkNode("ssit-bob", oddPassword)).answer, QStringLiteral("right"));
        QCOMPARE(report(), QByteArray());
        QCOMPARE(askNode("ssit-bob", u"stand-in").answer, QStringLiteral("right"));
        QVERIFY(report().endsWith("\ntyped stand-in\n"));
    }

    void aProcessWithoutStandardDescriptorsChecksToo()
    {
        const Check check = askSu("ssit-bob", oddPassword, {}, [] {
            for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
                close(descriptor);
        });
        QCOMPARE(check.answer, QStringLiteral("right"));
        QCOMPARE(check.left, QString());
    }
};

QTEST_GUILESS_MAIN(it_su_password)
#include "it_su_password.moc"
