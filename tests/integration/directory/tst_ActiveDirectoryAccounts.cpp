#include "directory/SSMobileUsersInfo.h"
#include "directory/SSUserInfo.h"
#include "directory/SSUserInfoHelper.h"
#include "filevault/SSSecureTokenHelper.h"
#include "platform/linux/accounts/LinuxDirectoryService.h"
#include "platform/linux/accounts/LinuxIdentityService.h"
#include "platform/linux/accounts/LocalAccountNode.h"
#include "tests/integration/accounts/Processes.h"
#include "tests/integration/directory/SambaEnvironment.h"
#include "tests/unit/filevault/ToolFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

void append(const QString &path, const QByteArray &lines)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append));
    QCOMPARE(file.write(lines), lines.size());
}

} // namespace

/// Accounts that a joined computer knows by names with their domain in them, asked about as
/// administrators of the disk: real account database, real PAM, real controller, played tools. Run
/// by with-samba and with-own-etc as root.
class tst_ActiveDirectoryAccounts : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    std::unique_ptr<ToolFixture> m_tools;

    [[nodiscard]] QStringList errors() const { return m_tools->log->lines().filter(u"[Error]"_s); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("SS_OWN_ETC"), "to be started by with-own-etc");
        // What the computer's own file has: an administrator whose name a domain's user has, too.
        append(u"/etc/passwd"_s, "jdoe:x:7203:7203::/nonexistent:/bin/false\n");
        QVERIFY(QFile::copy(u"/etc/passwd"_s, m_folder.filePath(u"passwd"_s)));
        // What comes from elsewhere.
        append(u"/etc/passwd"_s, "jdoe@corp.example.test:x:7201:7201::/nonexistent:/bin/false\n"
                                 "CORP\\jsmith:x:7202:7202::/nonexistent:/bin/false\n"
                                 "jdoe@other.test:x:7204:7204::/nonexistent:/bin/false\n"
                                 "gone@corp.example.test:x:7205:7205::/nonexistent:/bin/false\n");
        append(u"/etc/shadow"_s, "jdoe:*:19000:0:99999:7:::\n"
                                 "jdoe@corp.example.test:*:19000:0:99999:7:::\n"
                                 "CORP\\jsmith:*:19000:0:99999:7:::\n"
                                 "jdoe@other.test:*:19000:0:99999:7:::\n"
                                 "gone@corp.example.test:*:19000:0:99999:7:::\n");
        append(u"/etc/group"_s, "ssit-admins:x:7300:jdoe@corp.example.test,CORP\\jsmith,"
                                "jdoe@other.test,gone@corp.example.test,jdoe\n");
        QCOMPARE(run({u"chpasswd"_s}, "jdoe:local-1\njdoe@corp.example.test:corp-1\n"
                                      "CORP\\jsmith:corp-2\njdoe@other.test:other-1\n"
                                      "gone@corp.example.test:gone-1\n"),
                 0);
    }
    void init()
    {
        m_tools = std::make_unique<ToolFixture>();
        LocalAccountNode::Options options;
        options.domains = {{u"CORP"_s, u"corp.example.test"_s}};
        options.passwdFile = m_folder.filePath(u"passwd"_s);
        m_tools->platform.directory = std::make_shared<LinuxDirectoryService>(
            std::make_shared<LocalAccountNode>(options, nullptr), SambaEnvironment::makeNode({}),
            nullptr);
        m_tools->platform.identity =
            std::make_shared<LinuxIdentityService>(QStringList{u"ssit-admins"_s});
        m_tools->print("\r\nPassphrase valid\r\n");
    }
    void cleanup() { m_tools.reset(); }

    void anAdministratorIsWhomHisNameNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("secret");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("inScript");
        // The identifiers are the objectGUID values of contract.ldif.
        QTest::newRow("user@domain")
            << u"jdoe@corp.example.test"_s << QByteArray("corp-1")
            << u"6F9619FF-8B86-D011-B42D-00C04FC964FF"_s << u"jdoe@corp.example.test"_s;
        QTest::newRow("DOMAIN\\user")
            << u"CORP\\jsmith"_s << QByteArray("corp-2")
            << u"33221100-5544-7766-8899-AABBCCDDEEFF"_s << u"CORP\\\\jsmith"_s;
        // 7204 is 0x1C24: to the computer an account of its own, and never the domain's jdoe.
        QTest::newRow("of another domain")
            << u"jdoe@other.test"_s << QByteArray("other-1")
            << u"FFFFEEEE-DDDD-CCCC-BBBB-AAAA00001C24"_s << u"jdoe@other.test"_s;
    }
    void anAdministratorIsWhomHisNameNames()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, secret);
        QFETCH(QString, identifier);
        QFETCH(QString, inScript);
        QVERIFY(SSMobileUsersInfo::isAdminUser(name));
        QVERIFY(SSUserInfoHelper::verifyPasswordWithUserName(name, *password(secret.constData())));
        QCOMPARE(SSUserInfo(name).userUID(), identifier);
        QVERIFY(SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(
            name, *password(secret.constData())));
        QCOMPARE(errors(), QStringList());
        const QString script = m_tools->lastRun().value(2);
        QVERIFY2(script.startsWith(u"log_user 0;spawn su - -f "_s + inScript + u" -c "_s) &&
                     script.contains(u"-verify -user \\\""_s + identifier + u"\\\" -pass"_s),
                 qPrintable(script));
    }

    void aWrongPasswordIsRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("wrong");
        QTest::newRow("user@domain") << u"jdoe@corp.example.test"_s << QByteArray("corp-2");
        QTest::newRow("DOMAIN\\user") << u"CORP\\jsmith"_s << QByteArray("corp-1");
        QTest::newRow("the local account's")
            << u"jdoe@corp.example.test"_s << QByteArray("local-1");
        QTest::newRow("the other domain's") << u"jdoe@corp.example.test"_s << QByteArray("other-1");
    }
    void aWrongPasswordIsRefused()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, wrong);
        QVERIFY(!SSUserInfoHelper::verifyPasswordWithUserName(name, *password(wrong.constData())));
        QCOMPARE(errors(),
                 QStringList(u"[Error]: ValidateUserInfoHelper: password validation error "
                             "for user '%1'. Error: The password of \"%1\" is wrong."_s.arg(name)));
    }

    void aNameThatTheComputerDoesNotKnowIsNobody()
    {
        for (const QString &name : {u"jsmith"_s, u"CORP\\jdoe"_s, u"jsmith@corp.example.test"_s}) {
            QVERIFY2(!SSMobileUsersInfo::isAdminUser(name), qPrintable(name));
            QVERIFY(!SSUserInfoHelper::verifyPasswordWithUserName(name, *password("corp-2")));
        }
    }

    void anAccountThatTheDomainNoLongerHasIsNotChecked()
    {
        QVERIFY(!SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(
            u"gone@corp.example.test"_s, *password("gone-1")));
        QCOMPARE(m_tools->runs(), 0);
        QCOMPARE(errors(),
                 QStringList(u"[Error]: verifyDiskPasswordWithUserName: User UID is empty"_s));
    }
};

QTEST_GUILESS_MAIN(tst_ActiveDirectoryAccounts)
#include "tst_ActiveDirectoryAccounts.moc"
