#include "tests/integration/accounts/Processes.h"
#include "tests/integration/accounts/SuCheck.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Code = DirectoryError::Code;
using namespace std::chrono_literals;

constexpr char su[] = "/usr/bin/su";

/// What the stand-in was given.
QByteArray report()
{
    QFile file(QStringLiteral(SS_SU_REPORT));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// Run by with-own-etc as root: asks a su that misbehaves, bound over the real one.
class it_su_standin : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    bool m_isBound = false;

    QString inFolder(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }
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
        QVERIFY(addAccount("ssit-alice", "7101", "/bin/sh"));
        QVERIFY(addAccount("ssit-bob", "7102", "/bin/sh"));
        QCOMPARE(run({QStringLiteral("chpasswd")}, "ssit-alice:her own\nssit-bob:his own\n"), 0);

        QCOMPARE(chmod(qPrintable(m_folder.path()), 0755), 0);
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
    void cleanupTestCase() { QCOMPARE(umount2(qPrintable(inFolder("bin")), MNT_DETACH), 0); }
    void cleanup()
    {
        // At once even if a stand-in that was killed is not gone yet.
        if (m_isBound)
            QCOMPARE(umount2(su, MNT_DETACH), 0);
        m_isBound = false;
        QFile::remove(QStringLiteral(SS_SU_REPORT));
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
            options.limit = account == "silent" || account == "own-root" ? 4s : 8s;
        const Check check = askSu(account, u"zebra-7731", options);
        QCOMPARE(check.answer, cannot(account.constData(), reason.constData()));
        QVERIFY2(check.log.contains(logged) && !check.log.contains(QStringLiteral("zebra")),
                 qPrintable(check.log));
        QCOMPARE(check.left, QString());
        QCOMPARE(report().count("typed zebra-7731\n"), isTyped ? 1 : 0);
        QCOMPARE(report().count("zebra"), isTyped ? 1 : 0);
        const pid_t id = report().split('\n').first().mid(8).toInt();
        QVERIFY(id > 0);
        QTRY_VERIFY_WITH_TIMEOUT(kill(id, 0) != 0, 60000);
    }

    void aSuThatCannotBeEndedDoesNotKeepTheCaller()
    {
        QVERIFY(standIn());
        SuPasswordCheck::Options options;
        options.limit = 4s;
        const Check check = askSu("stays", u"zebra-7731", options);
        QCOMPARE(check.answer, cannot("stays", "it did not answer in time"));
        const pid_t id = report().split('\n').first().mid(8).toInt();
        QVERIFY(id > 0);
        QCOMPARE(kill(id, SIGKILL), 0);
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
        // by root, as which this test runs
        QCOMPARE(Check::of(checkNode("ssit-bob", u"his own")).answer, QStringLiteral("right"));
        QCOMPARE(report(), QByteArray());
        QCOMPARE(askNode("ssit-bob", u"stand-in").answer, QStringLiteral("right"));
        QVERIFY(report().endsWith("\ntyped stand-in\n"));
    }
};

QTEST_GUILESS_MAIN(it_su_standin)
#include "it_su_standin.moc"
