#include "app/SSDiagnosticLog.h"
#include "app/SSEntry.h"
#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

#include <vector>

class tst_SSEntry : public QObject
{
    Q_OBJECT

    static int tested(std::vector<const char *> arguments)
    {
        return SSEntry::testEnrollMenuExtra(arguments);
    }

private Q_SLOTS:
    void theSwitch()
    {
        QCOMPARE(tested({}), 0);
        QCOMPARE(tested({"program"}), 0);
        QCOMPARE(tested({"--enrollMenuExtra"}), 0); // that is the program's name
        QCOMPARE(tested({"program", "--enrollMenuExtra"}), 1);
        QCOMPARE(tested({"program", "x", "--ENROLLMENUEXTRA"}), 1);
        QCOMPARE(tested({"program", "--enrollMenuExtra=1"}), 0);
        QCOMPARE(tested({"program", "--enrollMenuExtras"}), 0);
        QCOMPARE(tested({"program", ""}), 0);
        QCOMPARE(tested({"program", "\xff--enrollMenuExtra"}), 0);
        QCOMPARE(tested({"program", "\xff", "--enrollMenuExtra"}), 1);
        QCOMPARE(tested({"program", "\xef\xbb\xbf--enrollMenuExtra"}), 0);
    }

    void logOfTheStart()
    {
        EnrollFixture f;
        f.fillDirectory();
        f.fake.defaults->values.insert(QStringLiteral("LogLevel"), qlonglong(2));
        const std::vector<const char *> arguments{"program"};
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        const QStringList lines = f.fake.log->lines();
        QCOMPARE(lines.at(0), QStringLiteral("[Info]: ****************************** Enroll "
                                             "******************************"));
        QCOMPARE(lines.at(1), QStringLiteral("[Info]: macOS Test System 1 (Linux 6.1)"));
        QCOMPARE(lines.at(2), QStringLiteral("[Debug]: >> main started"));
        QCOMPARE(lines.last(), QStringLiteral("[Debug]: >> main ended"));
    }

    void theLevelComesFromTheDefaults()
    {
        EnrollFixture f;
        f.fillDirectory();
        f.fake.defaults->values.insert(QStringLiteral("LogLevel"), qlonglong(1));
        const std::vector<const char *> arguments{"program", "--enrollMenuExtra"};
        f.userIsOfADomain = false;
        f.fillDirectory();
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        QCOMPARE(f.fake.log->lines(),
                 QStringList{QStringLiteral("[Info]: macOS Test System 1 (Linux 6.1)")});

        EnrollFixture silent;
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        QVERIFY(silent.fake.log->rawLines().isEmpty());
    }

    void whatTheAdaptersSaidEarlyIsLoggedOnceTheLevelIsKnown()
    {
        EnrollFixture f;
        f.fillDirectory();
        f.fake.defaults->values.insert(QStringLiteral("LogLevel"), qlonglong(1));
        const SSDiagnosticLog diagnostics;
        const DiagnosticSink sink = diagnostics.sink();
        sink(1, DiagnosticType::Error, QStringLiteral("early %@"));
        sink(2, DiagnosticType::Info, QStringLiteral("detail"));
        QVERIFY(f.fake.log->lines().isEmpty());
        const std::vector<const char *> arguments{"program"};
        QCOMPARE(SSEntry::run(arguments, diagnostics), 0);
        sink(1, DiagnosticType::Debug, QStringLiteral("late"));
        QCOMPARE(f.fake.log->lines().first(2),
                 (QStringList{QStringLiteral("[Info]: macOS Test System 1 (Linux 6.1)"),
                              QStringLiteral("[Error]: early %@")}));
        QCOMPARE(f.fake.log->lines().last(), QStringLiteral("[Debug]: late"));
        QVERIFY(!f.fake.log->lines().contains(QStringLiteral("[Info]: detail")));
    }

    void thePlainRoleOpensThePageAndEnds()
    {
        EnrollFixture f;
        f.set(u"WinlogonResetPassword.WebUiUrl", QStringLiteral("https://host/reset"));
        f.fillDirectory();
        const std::vector<const char *> arguments{"program"};
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        QCOMPARE(f.fake.workspace->opened, QStringList{QStringLiteral("https://host/reset")});
        QVERIFY(f.terminated());
        QVERIFY(f.fake.alerts->shown.isEmpty());
        QVERIFY(f.fake.notificationCenter->everDelivered.isEmpty());
    }

    void thePlainRoleSaysThatNothingIsConfigured()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        const std::vector<const char *> arguments{"program"};
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        QCOMPARE(f.fake.alerts->shown.size(), 1);
        const Alert alert = f.fake.alerts->shown.first();
        QCOMPARE(alert.messageText, QStringLiteral("This service is not configured."));
        QVERIFY(!alert.informativeText);
        QCOMPARE(alert.style, AlertStyle::Critical);
        QVERIFY(f.terminated());
        QVERIFY(!f.fake.application->resident);
        QVERIFY(f.fake.application->relaunchDisabled);
        QVERIFY(f.fake.notificationCenter->everDelivered.isEmpty());
    }

    void theTrayRoleIsResidentAndShowsNoAlert()
    {
        EnrollFixture f;
        f.fillDirectory();
        bool armed = false;
        f.fake.application->duringRun = [&] {
            armed = f.fake.runLoop->armedIntervals().contains(10.0);
        };
        const std::vector<const char *> arguments{"program", "--enrollmenuextra"};
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        QVERIFY(armed);
        QVERIFY(f.fake.application->resident);
        QVERIFY(f.fake.alerts->shown.isEmpty());
    }

    void sigtermEndsInOrder()
    {
        EnrollFixture f;
        f.fillDirectory();
        f.fake.defaults->values.insert(QStringLiteral("LogLevel"), qlonglong(2));
        f.fake.application->duringRun = [&] {
            f.fake.runLoop->advance(10);
            f.answer("NeedPssEnroll=true");
            QCOMPARE(f.fake.statusBar->itemsShown(), 1);
            f.fake.application->terminationHandler();
        };
        const std::vector<const char *> arguments{"program", "--enrollMenuExtra"};
        QCOMPARE(SSEntry::run(arguments, SSDiagnosticLog()), 0);
        QCOMPARE(f.fake.application->terminateCalls, 1);
        QCOMPARE(f.fake.statusBar->itemsShown(), 0);
        QVERIFY(f.fake.notificationCenter->delivered.isEmpty());
        QVERIFY(f.fake.log->lines().contains(QStringLiteral("[Debug]: >> terminate started")));
    }
};

QTEST_GUILESS_MAIN(tst_SSEntry)
#include "tst_SSEntry.moc"
