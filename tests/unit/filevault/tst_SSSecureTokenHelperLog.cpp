#include "filevault/SSSecureTokenHelper.h"

#include "tests/support/FakeDirectory.h"
#include "tests/unit/filevault/LogLevels.h"

using namespace Qt::Literals::StringLiterals;

namespace {

using Helper = SSSecureTokenHelper;
using Work = std::function<void(ToolFixture &)>;

const QString jdoe = u"jdoe"_s;

void verify()
{
    static_cast<void>(Helper::verifyDiskPasswordWithAdminUserName(jdoe, *password("secret")));
}
void grant()
{
    std::optional<QString> told;
    static_cast<void>(Helper::secureTokenOnWithUserName(jdoe, *password("newSecret"), u"boss"_s,
                                                        *password("bossSecret"), told));
}
void readd()
{
    std::optional<QString> told;
    static_cast<void>(Helper::updateFdeUserWithUserName(jdoe, *password("newSecret"), u"boss"_s,
                                                        *password("bossSecret"), told));
}

/// `work` with tools that print this.
Work printing(const QByteArray &output, void (*work)())
{
    return [output, work](ToolFixture &tools) {
        tools.print(output);
        work();
    };
}
/// `work` with tools that cannot be started.
Work failing(void (*work)())
{
    return [work](ToolFixture &tools) {
        tools.failWith(u"no such tool"_s);
        work();
    };
}

} // namespace

/// Which lines of the tools are in the log at which level: what a tool prints at 2, errors at 1.
class tst_SSSecureTokenHelperLog : public QObject
{
    Q_OBJECT

    static void row(const char *name, Work work, const QList<LeveledLine> &lines,
                    qsizetype commands = 1)
    {
        QTest::newRow(name) << LoggedCall{std::move(work), lines, commands};
    }
    static void addStatusRows()
    {
        const auto fde = [] { static_cast<void>(Helper::fdeStatus()); };
        row("FileVault status", printing("FileVault is Off.\n", fde),
            {{2, u"[Info]: fdesetup status. Info: FileVault is Off.\n"_s}});
        row("FileVault status, not started", failing(fde),
            {{2, u"[Info]: fdesetup status. Info: (null)"_s},
             {1, u"[Error]: unable check FileVault status. Error: no such tool"_s}});

        const auto token = [] { static_cast<void>(Helper::secureTokenStatusWithUserName(jdoe)); };
        row("SecureToken status", printing("ENABLED\n", token),
            {{2, u"[Info]: sysadminctl -secureTokenStatus. Info: ENABLED\n"_s}});
        row("SecureToken status, nothing printed", printing("", token),
            {{2, u"[Info]: sysadminctl -secureTokenStatus. Info: "_s},
             {1, u"[Error]: sysadminctl -secureTokenStatus. Error: (null)"_s}});
        row(
            "SecureToken status, not supported",
            [token](ToolFixture &tools) {
                tools.system->secureTokenSupported = false;
                token();
            },
            {{1, u"[Error]: SecureTokenStatus is not supported on macOS 10.13 or less."_s}}, 0);

        const auto list = [](ToolFixture &tools, quint32 userId) {
            tools.system->secureTokenSupported = false;
            tools.identity->userId = userId;
            static_cast<void>(Helper::sudoSecureTokenStatusWithUserName(jdoe));
        };
        row(
            "list, not root", [list](ToolFixture &tools) { list(tools, 1000); },
            {{1, u"[Error]: Only sudo user can get fde secure token status."_s}}, 0);
        row("list",
            [list](ToolFixture &tools) {
                tools.print("jdoe,ABCDEF01-2345-6789-ABCD-EF0123456789\n");
                list(tools, 0);
            },
            {{2, u"[Info]: fdesetup list. Info: jdoe,ABCDEF01-2345-6789-ABCD-EF0123456789\n"_s}});
        row("list, not started",
            [list](ToolFixture &tools) {
                tools.failWith(u"no such tool"_s);
                list(tools, 0);
            },
            {{2, u"[Info]: fdesetup list. Info: (null)"_s},
             {1, u"[Error]: unable get FileVault list. Error: no such tool"_s}});
    }
    static void addUpdateRows()
    {
        row("SecureToken granted", printing("Done!", grant),
            {{2, u"[Info]: sysadminctl -secureTokenOn. Info: Done!"_s}});
        // The user is told.
        row("SecureToken refused", printing("No.", grant),
            {{2, u"[Info]: sysadminctl -secureTokenOn. Info: No."_s}});
        row("SecureToken, not started", failing(grant),
            {{2, u"[Info]: sysadminctl -secureTokenOn. Info: (null)"_s},
             {1, u"[Error]: sysadminctl -secureTokenOn. Error: no such tool"_s}});
        row("added anew", printing("\r\n", readd), {{2, u"[Info]: /expect result: \r\n"_s}});
        row("not added anew", printing("\r\nNo.", readd),
            {{2, u"[Info]: /expect result: \r\nNo."_s}});
        row("adding anew, not started", failing(readd),
            {{2, u"[Info]: /expect result: (null)"_s},
             {1, u"[Error]: Unable get secure token users using fdesetup. Error: no such tool"_s},
             {1, u"[Error]: Result: (null)"_s}});
    }

private Q_SLOTS:
    void everyLevelHasItsLines_data()
    {
        QTest::addColumn<LoggedCall>("call");
        addStatusRows();
        addUpdateRows();
        row("disk password", printing("Passphrase valid", verify),
            {{2, u"[Info]: /expect result: Passphrase valid"_s}});
        row("disk password, not started", failing(verify),
            {{2, u"[Info]: /expect result: (null)"_s},
             {1, u"[Error]: Unable check filevault current password using diskutil. Error: "
                 "no such tool"_s}});
        // He is looked up before it shows that there is no name.
        row(
            "disk password of nobody",
            [](ToolFixture &) {
                static_cast<void>(
                    Helper::verifyDiskPasswordWithAdminUserName(std::nullopt, *password("secret")));
            },
            {{1, u"[Info]: UserInfo: Object is not initialized"_s},
             {1, u"[Error]: verifyDiskPasswordWithUserName: Unable get info for the user: "
                 "(null)"_s}},
            0);
        row(
            "disk password of an empty name",
            [](ToolFixture &) {
                static_cast<void>(
                    Helper::verifyDiskPasswordWithAdminUserName(QString(), *password("secret")));
            },
            {{1, u"[Info]: UserInfo: Object is not initialized"_s},
             {1, u"[Error]: verifyDiskPasswordWithUserName: User UID is empty"_s}},
            0);
        row(
            "disk password of an unknown user",
            [](ToolFixture &tools) {
                tools.platform.directory = std::make_shared<FakeDirectory>();
                verify();
            },
            {{1, u"[Error]: verifyDiskPasswordWithUserName: User UID is empty"_s}}, 0);
    }
    void everyLevelHasItsLines()
    {
        QFETCH(LoggedCall, call);
        ToolFixture tools;
        const auto directory = std::make_shared<FakeDirectory>();
        tools.platform.directory = directory;
        FakeDirectory::add(directory->users,
                           {{QString::fromUtf16(DirectoryAttribute::RecordName), {jdoe}},
                            {QString::fromUtf16(DirectoryAttribute::GUID),
                             {u"11111111-2222-3333-4444-55555555AAAA"_s}}});
        compareAtEveryLevel(tools, call);
    }
};

QTEST_GUILESS_MAIN(tst_SSSecureTokenHelperLog)
#include "tst_SSSecureTokenHelperLog.moc"
