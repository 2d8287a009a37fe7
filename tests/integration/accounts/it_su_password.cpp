#include "tests/integration/accounts/Processes.h"
#include "tests/integration/accounts/SuCheck.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

using namespace std::chrono_literals;

/// Run by with-own-etc as root: makes accounts as it likes. Asks the real su.
class it_su_password : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    QString inFolder(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(geteuid() == 0, "this test makes accounts, so it needs root");
        QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
        QVERIFY(addAccount("ssit-alice", "7101", "/bin/sh"));
        QVERIFY(addAccount("ssit-bob", "7102", "/bin/bash"));
        QVERIFY(addAccount("ssit-locked", "7103", "/bin/sh"));
        QVERIFY(addAccount("ssit-expired", "7104", "/bin/sh"));
        QVERIFY(addAccount("ssit-mustchange", "7105", "/bin/sh"));
        QVERIFY(addAccount("ssit-blank", "7106", "/bin/sh"));
        QVERIFY(addAccount("ssit-nologin", "7107", "/usr/sbin/nologin"));
        QVERIFY(addAccount("ssit-false", "7108", "/bin/false"));
        QVERIFY(addAccount("ssit-long", "7109", "/bin/sh"));

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
        QVERIFY(addAccount("ssit-waits", "7110", qPrintable(shell.fileName())));
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
        const QString found = asUser(askingId, [&] {
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

    void aShellThatWaitsIsEndedWithItsSu()
    {
        SuPasswordCheck::Options options;
        options.limit = 8s;
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
