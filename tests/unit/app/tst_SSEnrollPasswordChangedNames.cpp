#include "tests/unit/app/PasswordChangedDialogs.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

using Dialogs = PasswordChangedDialogs;

/// A user whose account's name has the domain in it, while the directory knows the short one.
class tst_SSEnrollPasswordChangedNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theToolsGetTheAccountsNameAndTheDirectoryTheShortOne_data()
    {
        QTest::addColumn<QString>("account");
        QTest::newRow("user@domain") << u"jdoe@corp.example.test"_s;
        QTest::newRow("DOMAIN\\user") << u"CORP\\jdoe"_s;
    }
    void theToolsGetTheAccountsNameAndTheDirectoryTheShortOne()
    {
        QFETCH(QString, account);
        Dialogs f;
        f.fake.identity->fullName = account;
        f.startAndPrompt();
        f.answerWith(Dialogs::enterAdministrator);
        f.answerWith(Dialogs::enterPassword);
        f.click();
        QCOMPARE(f.errors(), QStringList());
        QVERIFY(!f.flag());
        QCOMPARE(f.commands().filter(u"-secureTokenStatus"_s).first(),
                 u"/usr/sbin/sysadminctl -secureTokenStatus "_s + account);
        QCOMPARE(f.commands().filter(u"-secureTokenOn"_s),
                 QStringList(u"/usr/sbin/sysadminctl -secureTokenOn "_s + account +
                             u" -password Neu-9 -adminUser boss -adminPassword Chef-7"_s));
        QStringList asked;
        for (const FakeDirectory::Call &call : std::as_const(f.directory->calls)) {
            if (call.nodeType && call.query.recordType == DirectoryRecordType::Users)
                asked.append(call.query.value);
        }
        asked.removeDuplicates();
        QCOMPARE(asked, (QStringList{u"jdoe"_s, u"boss"_s}));
    }

    void aLocalAdministratorOfTheUsersShortNameIsSomebodyElse()
    {
        Dialogs f;
        f.fake.identity->name = u"boss"_s;
        f.fake.identity->fullName = u"boss@corp.example.test"_s;
        f.startAndPrompt();
        f.answerWith(Dialogs::enterAdministrator);
        f.answerWith(Dialogs::enterPassword);
        f.click();
        QCOMPARE(f.fake.alerts->windowsRun,
                 (QStringList{Dialogs::adminDialog(), Dialogs::passwordDialog()}));
        QCOMPARE(f.grants(), 1);
    }
};

QTEST_MAIN(tst_SSEnrollPasswordChangedNames)
#include "tst_SSEnrollPasswordChangedNames.moc"
