#include "tests/integration/accounts/AccountsTest.h"

#include "tests/integration/accounts/Processes.h"

#include <QFile>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

DirectoryQuery AccountsTest::named(const QString &name)
{
    return {DirectoryRecordType::Users,
            text(DirectoryAttribute::RecordName),
            DirectoryMatchType::EqualTo,
            name,
            {},
            0};
}

std::shared_ptr<DirectoryRecord> AccountsTest::record(const QString &name) const
{
    LocalAccountNode node(m_options, nullptr);
    auto records = node.query(named(name));
    return records.ok() ? records.value().value(0) : nullptr;
}

QString AccountsTest::check(const char *name, std::u16string_view password) const
{
    const auto account = record(QString::fromUtf8(name));
    if (!account)
        return QStringLiteral("no such account");
    const auto answer = account->verifyPassword(password);
    if (answer.ok())
        return answer.value() ? QStringLiteral("right") : QStringLiteral("wrong");
    return QStringLiteral("%1 %2")
        .arg(static_cast<int>(answer.error().code))
        .arg(answer.error().localizedDescription);
}

QString AccountsTest::error(Code code, const char *description)
{
    return QStringLiteral("%1 %2").arg(static_cast<int>(code)).arg(QString::fromUtf8(description));
}

void AccountsTest::initTestCase()
{
    QVERIFY2(geteuid() == 0, "this test makes accounts, so it needs root");
    QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
    const auto add = [](const QString &name, const QString &id) {
        return run({QStringLiteral("useradd"), QStringLiteral("-M"), QStringLiteral("-U"),
                    QStringLiteral("-u"), id, name});
    };
    QCOMPARE(add(QStringLiteral("ssit-alice"), QString::number(aliceId)), 0);
    QCOMPARE(add(QStringLiteral("ssit-bob"), QString::number(bobId)), 0);
    QCOMPARE(add(QStringLiteral("ssit-locked"), QStringLiteral("7103")), 0);
    QCOMPARE(add(QStringLiteral("ssit-expired"), QStringLiteral("7104")), 0);
    QCOMPARE(add(QStringLiteral("ssit-mustchange"), QStringLiteral("7105")), 0);
    QCOMPARE(add(QStringLiteral("ssit-blank"), QStringLiteral("7106")), 0);
    QCOMPARE(run({QStringLiteral("groupadd"), QStringLiteral("ssit-admins")}), 0);
    QCOMPARE(run({QStringLiteral("gpasswd"), QStringLiteral("-a"), QStringLiteral("ssit-alice"),
                  QStringLiteral("ssit-admins")}),
             0);

    // Names that useradd refuses: of digits alone, and those of a joined computer.
    QFile passwd(QStringLiteral("/etc/passwd"));
    QVERIFY(passwd.open(QIODevice::Append));
    passwd.write("4242:x:7210:7210::/nonexistent:/bin/false\n"
                 "filed@corp.example.test:x:7301:7301::/home/filed:/bin/false\n"
                 "jdoe@corp.example.test:x:7201:7201::/home/jdoe:/bin/false\n"
                 "CORP\\jroe:x:7202:7202::/home/jroe:/bin/false\n"
                 "bare:x:7203:7203::/home/bare:/bin/false\n"
                 "foreign@other.test:x:7204:7204::/home/foreign:/bin/false\n"
                 "service:x:61184:61184::/:/bin/false\n");
    passwd.close();
    QFile shadow(QStringLiteral("/etc/shadow"));
    QVERIFY(shadow.open(QIODevice::Append));
    shadow.write("jdoe@corp.example.test:*:19000:0:99999:7:::\n");
    shadow.close();

    QCOMPARE(run({QStringLiteral("chpasswd")},
                 "ssit-alice:" + QString::fromUtf16(alicePassword).toUtf8() +
                     "\nssit-bob:bob's\nssit-locked:right\nssit-expired:right\n"
                     "ssit-mustchange:right\njdoe@corp.example.test:right\n"),
             0);
    QCOMPARE(run({QStringLiteral("usermod"), QStringLiteral("-L"), QStringLiteral("ssit-locked")}),
             0);
    QCOMPARE(run({QStringLiteral("usermod"), QStringLiteral("-e"), QStringLiteral("1"),
                  QStringLiteral("ssit-expired")}),
             0);
    QCOMPARE(run({QStringLiteral("chage"), QStringLiteral("-d"), QStringLiteral("0"),
                  QStringLiteral("ssit-mustchange")}),
             0);
    QCOMPARE(run({QStringLiteral("passwd"), QStringLiteral("-d"), QStringLiteral("-q"),
                  QStringLiteral("ssit-blank")}),
             0);

    // The accounts of a directory are in no file: name one that lacks them.
    QCOMPARE(chmod(qPrintable(m_folder.path()), 0755), 0);
    QFile file(m_folder.filePath(QStringLiteral("passwd")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QFile all(QStringLiteral("/etc/passwd"));
    QVERIFY(all.open(QIODevice::ReadOnly));
    for (const QByteArray &line : all.readAll().split('\n')) {
        if (!line.isEmpty() && !line.contains(":720") && !line.contains(":61184:"))
            file.write(line + '\n');
    }
    m_options.passwdFile = file.fileName();
    m_options.domains = {{QStringLiteral("CORP"), QStringLiteral("corp.example.test")}};
}
