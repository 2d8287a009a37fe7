#include "filevault/SSFdeUsers.h"

#include "tests/unit/filevault/LogLevels.h"

using namespace Qt::Literals::StringLiterals;

/// Which lines of the FileVault users are in the log at which level.
class tst_SSFdeUsersLog : public QObject
{
    Q_OBJECT

    static void read() { static_cast<void>(SSFdeUsers(u"boss"_s, *password("secret"))); }

private Q_SLOTS:
    void everyLevelHasItsLines_data()
    {
        QTest::addColumn<LoggedCall>("call");
        QTest::newRow("read") << LoggedCall{
            [](ToolFixture &tools) {
                tools.print("jdoe,ABCDEF01-2345-6789-ABCD-EF0123456789\r\n");
                read();
            },
            {{2, u"[Info]: /expect result: jdoe,ABCDEF01-2345-6789-ABCD-EF0123456789\r\n"_s}}};
        QTest::newRow("not started") << LoggedCall{
            [](ToolFixture &tools) {
                tools.failWith(u"no expect"_s);
                read();
            },
            {{2, u"[Info]: /expect result: (null)"_s},
             {1, u"[Error]: Unable get secure token users using fdesetup. Error: no expect"_s}}};
        QTest::newRow("nothing printed") << LoggedCall{
            [](ToolFixture &tools) {
                tools.print("");
                read();
            },
            {{2, u"[Info]: /expect result: "_s},
             {1, u"[Error]: Unable get secure token users using fdesetup. Error: (null)"_s}}};
        QTest::newRow("no user") << LoggedCall{
            [](ToolFixture &tools) {
                tools.print("su: Authentication failure\r\n");
                read();
            },
            {{2, u"[Info]: /expect result: su: Authentication failure\r\n"_s},
             {1, u"[Error]: Unable find secure token users using fdesetup. Log: "
                 "su: Authentication failure\r\n"_s}}};
        QTest::newRow("a name twice")
            << LoggedCall{[](ToolFixture &) {
                              static_cast<void>(SSFdeUsers::parseSecureTokenUsersWithResult(
                                  u"A,ABCDEF01-2345-6789-ABCD-EF0123456789\n"
                                  "a,ABCDEF01-2345-6789-ABCD-EF0123456789\n"_s));
                          },
                          {{2, u"[Info]: user 'a' already exists in set: {(\n    a\n)}"_s}},
                          0};
    }
    void everyLevelHasItsLines()
    {
        QFETCH(LoggedCall, call);
        ToolFixture tools;
        compareAtEveryLevel(tools, call);
    }
};

QTEST_GUILESS_MAIN(tst_SSFdeUsersLog)
#include "tst_SSFdeUsersLog.moc"
