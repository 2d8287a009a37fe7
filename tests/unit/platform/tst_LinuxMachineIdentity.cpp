#include "platform/linux/machine/LinuxMachineIdentity.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cstring>
#include <memory>

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/provider.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

class tst_LinuxMachineIdentity : public QObject
{
    Q_OBJECT

    static constexpr uid_t nobody = 65534;

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
    std::unique_ptr<LinuxMachineIdentity> identity()
    {
        return std::make_unique<LinuxMachineIdentity>(
            m_root->path(), [this](unsigned level, DiagnosticType type, const QString &message) {
                QCOMPARE(level, 1U);
                QCOMPARE(type, DiagnosticType::Error);
                m_lines.append(message);
            });
    }
    std::optional<QString> uuid() { return identity()->platformUuid(); }

    QString malformed(const char *place) const
    {
        return QStringLiteral("What stands in %1%2 is no machine id.")
            .arg(m_root->path(), QLatin1String(place));
    }
    QString unreadable(const char *place, const QString &reason) const
    {
        return QStringLiteral("The machine id in %1%2 cannot be read: %3")
            .arg(m_root->path(), QLatin1String(place), reason);
    }
    QString unreadable(const char *place, int error) const
    {
        return unreadable(place, QString::fromLocal8Bit(std::strerror(error)));
    }

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_lines.clear();
    }

    // Invented ids, which no computer has, so that one's own file cannot be what was read. By
    // Python:
    //   d = bytearray(hmac.new(bytes.fromhex(machine_id), bytes.fromhex(
    //       "445a62e82a85174463d89f61d88c07cd"), hashlib.sha256).digest()[:16])
    //   d[6] = d[6] & 0x0f | 0x40; d[8] = d[8] & 0x3f | 0x80; uuid.UUID(bytes=bytes(d))
    void theMachineIdIsHashedForThisApplication()
    {
        write("/etc/machine-id", "5e1f5ce0a11ce0ddba11c0ffee123456\n");
        QCOMPARE(uuid(), QStringLiteral("AD50BF8F-1CB3-4EB4-BD05-FD39B60AF2AE"));
        write("/etc/machine-id", "00000000000000000000000000000001");
        QCOMPARE(uuid(), QStringLiteral("B9C76E0A-B6F4-4C5C-93AF-F863F03492D5"));
        QVERIFY(m_lines.isEmpty());
    }

    void lettersOfEitherCaseAreTheSameId()
    {
        write("/etc/machine-id", "5E1F5CE0A11CE0DDBA11C0FFEE123456\n");
        QCOMPARE(uuid(), QStringLiteral("AD50BF8F-1CB3-4EB4-BD05-FD39B60AF2AE"));
    }

    void withoutTheFirstFileThatOfDBusCounts()
    {
        write("/var/lib/dbus/machine-id", "5e1f5ce0a11ce0ddba11c0ffee123456\n");
        QCOMPARE(uuid(), QStringLiteral("AD50BF8F-1CB3-4EB4-BD05-FD39B60AF2AE"));
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
        QTest::newRow("with dashes") << QByteArray("5e1f5ce0-a11c-e0dd-ba11-c0ffee123456");
        QTest::newRow("no digits") << QByteArray(32, 'g');
        QTest::newRow("two lines") << QByteArray(32, 'a') + "\n\n";
    }
    void whatIsNoMachineIdGivesNone()
    {
        QFETCH(QByteArray, contents);
        write("/etc/machine-id", contents);
        QVERIFY(!uuid());
        QCOMPARE(m_lines, (QStringList{malformed("/etc/machine-id"),
                                       unreadable("/var/lib/dbus/machine-id", ENOENT)}));
        m_lines.clear();
        write("/var/lib/dbus/machine-id", contents);
        QVERIFY(!uuid());
        QCOMPARE(m_lines, (QStringList{malformed("/etc/machine-id"),
                                       malformed("/var/lib/dbus/machine-id")}));
    }

    void aMissingFileGivesNone()
    {
        QVERIFY(!uuid());
        QCOMPARE(m_lines, (QStringList{unreadable("/etc/machine-id", ENOENT),
                                       unreadable("/var/lib/dbus/machine-id", ENOENT)}));
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
        QCOMPARE(m_lines.value(0),
                 unreadable("/etc/machine-id", QStringLiteral("It is no regular file.")));
    }

    void eachReasonIsToldOnce()
    {
        auto asked = identity();
        for (int i = 0; i < 3; ++i)
            QVERIFY(!asked->platformUuid());
        QCOMPARE(m_lines.size(), 2);
        write("/etc/machine-id", "uninitialized\n");
        for (int i = 0; i < 3; ++i)
            QVERIFY(!asked->platformUuid());
        QCOMPARE(m_lines.size(), 3);
        QCOMPARE(m_lines.last(), malformed("/etc/machine-id"));
        // Being told does not keep it from being read.
        write("/etc/machine-id", "5e1f5ce0a11ce0ddba11c0ffee123456\n");
        QCOMPARE(asked->platformUuid(), QStringLiteral("AD50BF8F-1CB3-4EB4-BD05-FD39B60AF2AE"));
        QCOMPARE(m_lines.size(), 3);
    }

    // With a library that has no algorithm at all.
    void anIdThatCannotBeHashedGivesNoneAndLeavesNoError()
    {
        write("/etc/machine-id", "5e1f5ce0a11ce0ddba11c0ffee123456\n");
        write("/var/lib/dbus/machine-id", "5e1f5ce0a11ce0ddba11c0ffee123456\n");
        OSSL_LIB_CTX *empty = OSSL_LIB_CTX_new();
        OSSL_PROVIDER *provider = OSSL_PROVIDER_load(empty, "null");
        QVERIFY(provider);
        OSSL_LIB_CTX *usual = OSSL_LIB_CTX_set0_default(empty);
        const auto result = uuid();
        const unsigned long left = ERR_peek_error();
        OSSL_LIB_CTX_set0_default(usual);
        OSSL_PROVIDER_unload(provider);
        OSSL_LIB_CTX_free(empty);
        QVERIFY(!result);
        QCOMPARE(left, 0UL);
        QCOMPARE(m_lines.size(), 1);
        QVERIFY2(m_lines.first().startsWith(QStringLiteral("The machine id in %1/etc/machine-id "
                                                           "cannot be hashed: error:")
                                                .arg(m_root->path())),
                 qPrintable(m_lines.first()));
    }

    // Another user, who owns nothing: the same file, the same answer. Whoever is not root becomes
    // nobody in a namespace of users.
    void everyUserGetsTheSame()
    {
        write("/etc/machine-id", "5e1f5ce0a11ce0ddba11c0ffee123456\n");
        QVERIFY(QFile::setPermissions(m_root->path(), QFile::permissions(m_root->path()) |
                                                          QFile::ReadOther | QFile::ExeOther));
        const pid_t child = ::fork();
        if (child == 0) {
            const bool changed = ::geteuid() == 0 ? ::setresgid(nobody, nobody, nobody) == 0 &&
                                                        ::setresuid(nobody, nobody, nobody) == 0
                                                  : ::unshare(CLONE_NEWUSER) == 0;
            if (!changed || ::geteuid() != nobody)
                ::_exit(2);
            ::_exit(uuid() == QStringLiteral("AD50BF8F-1CB3-4EB4-BD05-FD39B60AF2AE") ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
    }
};

QTEST_GUILESS_MAIN(tst_LinuxMachineIdentity)
#include "tst_LinuxMachineIdentity.moc"
