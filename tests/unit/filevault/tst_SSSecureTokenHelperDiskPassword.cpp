#include "tests/unit/filevault/SecureTokenHelperTest.h"

#include <QTest>

/// Whether a password unlocks the disk.
class tst_SSSecureTokenHelperDiskPassword : public SecureTokenHelperTest
{
    Q_OBJECT

private Q_SLOTS:
    void theDiskPasswordIsCheckedByTheUserHimself()
    {
        m_tools->print("\r\nPassphrase valid\r\n");
        QVERIFY(verify());
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f jdoe -c \"sudo /usr/sbin/diskutil apfs unlockVolume / "
            "-verify -user \\\"11111111-2222-3333-4444-55555555AAAA\\\" -passphrase "
            "\\\"secret\\\"\"; expect \"Password:\" { send \"secret\\r\" } eof { send_user "
            "$expect_out(buffer); exit; }; expect \"Password:\" { send \"secret\\r\" } eof { "
            "send_user $expect_out(buffer); exit; }; log_user 1; expect eof;");
        QCOMPARE(m_tools->lastRun(),
                 QStringList({QStringLiteral("/usr/bin/expect"), QStringLiteral("-c"), expected}));
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Info]: /expect result: \r\nPassphrase valid\r\n")));
        m_tools->print("\r\nPassphrase incorrect\r\n");
        QVERIFY(!verify());
    }

    void theIdentifierIsNotEscapedAndEverythingElseIs()
    {
        m_directory->users = {};
        FakeDirectory::add(
            m_directory->users,
            {{QString::fromUtf16(DirectoryAttribute::RecordName), {QStringLiteral("j\"doe\\")}},
             {QString::fromUtf16(DirectoryAttribute::GUID), {QStringLiteral("uid\"\\")}}});
        static_cast<void>(SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(
            QStringLiteral("j\"doe\\"), *password("a\"b\\c$d[e]`f`")));
        const QString expected = QString::fromUtf8(
            "log_user 0;spawn su - -f j\\\"doe\\\\ -c \"sudo /usr/sbin/diskutil apfs unlockVolume "
            "/ -verify -user \\\"uid\"\\\\\" -passphrase \\\"a\\\"b\\\\c$d[e]`f`\\\"\"; expect "
            "\"Password:\" { send \"a\\\"b\\\\c$d[e]`f`\\r\" } eof { send_user "
            "$expect_out(buffer); exit; }; expect \"Password:\" { send \"a\\\"b\\\\c$d[e]`f`\\r\" "
            "} eof { send_user $expect_out(buffer); exit; }; log_user 1; expect eof;");
        QCOMPARE(script(), expected);
    }

    void withoutSecureTokenTheDiskPasswordIsRightUnchecked()
    {
        m_tools->system->secureTokenSupported = false;
        QVERIFY(verify());
        QVERIFY(
            SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(std::nullopt, *password("x")));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->log->lines(), QStringList());
    }

    void aDiskPasswordOfNobodyIsNotChecked()
    {
        QVERIFY(!SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(std::nullopt,
                                                                          *password("x")));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines(),
                 QStringList(QStringLiteral("[Error]: verifyDiskPasswordWithUserName: Unable get "
                                            "info for the user: (null)")));
    }

    void aUserWithoutAnIdentifierIsNotChecked()
    {
        m_directory->users = {};
        QVERIFY(!verify());
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(m_tools->lines().last(),
                 QStringLiteral("[Error]: verifyDiskPasswordWithUserName: User UID is empty"));
    }

    void aDiskPasswordCheckThatFailsIsLogged()
    {
        const QString line = QStringLiteral(
            "[Error]: Unable check filevault current password using diskutil. Error: ");
        m_tools->failWith(QStringLiteral("no such tool"));
        QVERIFY(!verify());
        QCOMPARE(m_tools->lines().mid(m_tools->lines().size() - 2),
                 QStringList({QStringLiteral("[Info]: /expect result: (null)"),
                              line + QStringLiteral("no such tool")}));
        m_tools->print("");
        QVERIFY(!verify());
        QCOMPARE(m_tools->lines().last(), line + QStringLiteral("(null)"));
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperDiskPassword)
#include "tst_SSSecureTokenHelperDiskPassword.moc"
