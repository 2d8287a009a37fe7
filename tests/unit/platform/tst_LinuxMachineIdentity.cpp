#include "platform/linux/machine/LinuxMachineIdentity.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

class tst_LinuxMachineIdentity : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_root;
    QStringList m_lines;

    void write(const char *place, const QByteArray &contents) const
    {
        const QString path = m_root->path() + QLatin1String(place);
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }
    std::optional<QString> uuid()
    {
        LinuxMachineIdentity identity(
            m_root->path(), [this](unsigned level, DiagnosticType type, const QString &message) {
                QCOMPARE(level, 1U);
                QCOMPARE(type, DiagnosticType::Error);
                m_lines.append(message);
            });
        return identity.platformUuid();
    }

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_lines.clear();
    }

    // By Python: hmac.new(machine id, application id, sha256), the first 16 bytes, with the bits of
    // a random UUID.
    void theMachineIdIsHashedForThisApplication()
    {
        write("/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
        QCOMPARE(uuid(), QStringLiteral("762AC76A-99FC-4E61-95E3-31DBF5A919FB"));
        write("/etc/machine-id", "00000000000000000000000000000001");
        QCOMPARE(uuid(), QStringLiteral("B9C76E0A-B6F4-4C5C-93AF-F863F03492D5"));
        QVERIFY(m_lines.isEmpty());
    }

    void lettersOfEitherCaseAreTheSameId()
    {
        write("/etc/machine-id", "3D1219C7C4C5404AAA1F6D2A48ADFDA4\n");
        QCOMPARE(uuid(), QStringLiteral("762AC76A-99FC-4E61-95E3-31DBF5A919FB"));
    }

    void withoutTheFirstFileThatOfDBusCounts()
    {
        write("/var/lib/dbus/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
        QCOMPARE(uuid(), QStringLiteral("762AC76A-99FC-4E61-95E3-31DBF5A919FB"));
        write("/etc/machine-id", "00000000000000000000000000000001");
        QCOMPARE(uuid(), QStringLiteral("B9C76E0A-B6F4-4C5C-93AF-F863F03492D5"));
    }

    void whatIsNoMachineIdGivesNone_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("before the first start") << QByteArray("uninitialized\n");
        QTest::newRow("zeros") << QByteArray(32, '0') + '\n';
        QTest::newRow("too short") << QByteArray(31, 'a');
        QTest::newRow("too long") << QByteArray(33, 'a');
        QTest::newRow("with dashes") << QByteArray("3d1219c7-c4c5-404a-aa1f-6d2a48adfda4");
        QTest::newRow("no digits") << QByteArray(32, 'g');
        QTest::newRow("two lines") << QByteArray(32, 'a') + "\n\n";
    }
    void whatIsNoMachineIdGivesNone()
    {
        QFETCH(QByteArray, contents);
        write("/etc/machine-id", contents);
        QVERIFY(!uuid());
        QCOMPARE(m_lines, QStringList{QStringLiteral("The computer has no machine id in ") +
                                      m_root->path() + QStringLiteral("/etc/machine-id.")});
    }

    void aMissingFileGivesNone()
    {
        QVERIFY(!uuid());
        QCOMPARE(m_lines.size(), 1);
    }

    void aFileThatWouldBlockGivesNone()
    {
        QVERIFY(QDir().mkpath(m_root->path() + QStringLiteral("/etc")));
        QCOMPARE(
            ::mkfifo(
                QFile::encodeName(m_root->path() + QStringLiteral("/etc/machine-id")).constData(),
                0644),
            0);
        QVERIFY(!uuid());
    }

    // Root and an ordinary user: the same file, the same answer.
    void everyUserGetsTheSame()
    {
        if (::geteuid() != 0)
            return; // there is but one user to ask then
        write("/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
        QVERIFY(QFile::setPermissions(m_root->path(), QFile::permissions(m_root->path()) |
                                                          QFile::ReadOther | QFile::ExeOther));
        const pid_t child = ::fork();
        if (child == 0) {
            const bool same = ::setresgid(65534, 65534, 65534) == 0 &&
                              ::setresuid(65534, 65534, 65534) == 0 &&
                              uuid() == QStringLiteral("762AC76A-99FC-4E61-95E3-31DBF5A919FB");
            ::_exit(same ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
    }
};

QTEST_GUILESS_MAIN(tst_LinuxMachineIdentity)
#include "tst_LinuxMachineIdentity.moc"
