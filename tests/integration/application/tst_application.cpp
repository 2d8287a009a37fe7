#include "Probe.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

using namespace Probe;

namespace {
const QString kIdentifier = QStringLiteral("{0DA0AD54-B798-4608-8B7E-A517AD2563A6}");
const QString kAction = QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}");
const QString kPlainLaunch = QStringLiteral("launched plainly");
const QString kEnded = QStringLiteral("ended");
const QString kWillTerminate = QStringLiteral("will terminate");
} // namespace

/// The application's process in a session with a bus that can start it.
class tst_application final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { clear(); }
    void cleanup()
    {
        // What the bus has started is no child of ours.
        while (nameIsOwned()) {
            // It may have gone meanwhile; 0 would be this process's own group.
            if (const auto owner = static_cast<pid_t>(ownerPid()); owner > 0)
                ::kill(owner, SIGKILL);
            QVERIFY(waitUntil([] { return !nameIsOwned(); }));
        }
    }

    void plainStartLaunchesAndTakesNoName()
    {
        QProcess process;
        start(process, {});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(reports(), (QStringList{kPlainLaunch, kWillTerminate, kEnded}));
        QVERIFY(waitUntil([] { return !nameIsOwned(); }));
    }

    void clickStartsTheProgramWithItsNotification_data()
    {
        QTest::addColumn<QVariantList>("parameters");
        QTest::addColumn<QString>("launch");
        QTest::newRow("the notification itself")
            << QVariantList{kIdentifier, QString()}
            << QStringLiteral("launched %1 none").arg(kIdentifier);
        QTest::newRow("an action") << QVariantList{kIdentifier, kAction}
                                   << QStringLiteral("launched %1 %2").arg(kIdentifier, kAction);
        QTest::newRow("as one array") << QVariantList{QStringList{kIdentifier, kAction}}
                                      << QStringLiteral("launched %1 %2").arg(kIdentifier, kAction);
    }
    void clickStartsTheProgramWithItsNotification()
    {
        QFETCH(QVariantList, parameters);
        QFETCH(QString, launch);
        QCOMPARE(activateNotification(parameters).type(), QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(launch));
        QCOMPARE(role(), QStringLiteral("notification"));

        // The next click reaches this process.
        QCOMPARE(activateNotification({kIdentifier, QString()}).type(), QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(QStringLiteral("activated %1 none").arg(kIdentifier)));
        QCOMPARE(reports().size(), 2);
    }

    void activateStartsThePlainRoleWhichGivesTheNameBack()
    {
        QCOMPARE(callApplication(QStringLiteral("Activate"), {QVariantMap()}).type(),
                 QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(kEnded));
        QCOMPARE(reports(), (QStringList{kPlainLaunch, kWillTerminate, kEnded}));
        QVERIFY(waitUntil([] { return !nameIsOwned(); }));
    }

    void senselessCallIsRefusedAndTheNextOneServed_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QVariantList>("parameters");
        const QString notification = QStringLiteral("notification");
        QTest::newRow("no parameter") << notification << QVariantList{};
        QTest::newRow("one text") << notification << QVariantList{kIdentifier};
        QTest::newRow("numbers") << notification << QVariantList{1, 2};
        QTest::newRow("three texts") << notification << QVariantList{kIdentifier, kAction, kAction};
        QTest::newRow("no identifier") << notification << QVariantList{QString(), kAction};
        QTest::newRow("a line break")
            << notification << QVariantList{QStringLiteral("a\nb"), QString()};
        QTest::newRow("endless") << notification << QVariantList{QString(257, u'x'), QString()};
        QTest::newRow("another action")
            << QStringLiteral("reset") << QVariantList{kIdentifier, kAction};
    }
    void senselessCallIsRefusedAndTheNextOneServed()
    {
        QFETCH(QString, action);
        QFETCH(QVariantList, parameters);
        const QDBusMessage reply =
            callApplication(QStringLiteral("ActivateAction"), {action, parameters, QVariantMap()});
        QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"));
        QVERIFY(reports().value(0).startsWith(QStringLiteral("log A call")));
        QCOMPARE(role(), QStringLiteral("starting"));
        QCOMPARE(activateNotification({kIdentifier, QString()}).type(), QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(QStringLiteral("launched %1 none").arg(kIdentifier)));
    }

    void programThatNobodyCallsEnds()
    {
        QElapsedTimer clock;
        clock.start();
        QProcess process;
        start(process, {QStringLiteral("--dbus-activated")});
        QVERIFY(process.waitForFinished(60000));
        QVERIFY(clock.elapsed() > 9000);
        QVERIFY(!reports().contains(kPlainLaunch));
        QVERIFY(!reports().contains(kWillTerminate));
        QVERIFY(waitUntil([] { return !nameIsOwned(); }));
    }

    void secondResidentProcessDoesNotRun()
    {
        QProcess first;
        start(first, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(kPlainLaunch));
        QCOMPARE(role(), QStringLiteral("tray"));
        // The first is busy and cannot answer; the second sees it all the same.
        ::kill(static_cast<pid_t>(first.processId()), SIGSTOP);
        QProcess second;
        start(second, {QStringLiteral("--enrollMenuExtra")});
        const qint64 secondPid = second.processId();
        QVERIFY(second.waitForFinished(60000));
        ::kill(static_cast<pid_t>(first.processId()), SIGCONT);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(reports(secondPid),
                 (QStringList{QStringLiteral("log The tray process of this session runs already."),
                              kEnded}));
        QCOMPARE(ownerPid(), first.processId());
        first.terminate();
        QVERIFY(first.waitForFinished(60000));
    }

    void residentProcessTakesOverFromOneStartedByAClick()
    {
        QCOMPARE(activateNotification({kIdentifier, QString()}).type(), QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(QStringLiteral("launched %1 none").arg(kIdentifier)));
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(kPlainLaunch));
        const QStringList all = reports();
        QVERIFY(all.contains(kWillTerminate));
        QVERIFY(all.indexOf(kWillTerminate) < all.indexOf(kPlainLaunch));
        QCOMPARE(ownerPid(), tray.processId());
        QVERIFY(waitForReport(kEnded));
        tray.terminate();
        QVERIFY(tray.waitForFinished(60000));
    }

    void residentProcessTakesOverFromOneThatHangs()
    {
        QCOMPARE(activateNotification({kIdentifier, QString()}).type(), QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(QStringLiteral("launched %1 none").arg(kIdentifier)));
        const qint64 hanging = ownerPid();
        ::kill(static_cast<pid_t>(hanging), SIGSTOP);
        QElapsedTimer clock;
        clock.start();
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(kPlainLaunch));
        QVERIFY(clock.elapsed() < 20000); // before the bus gives the call up
        QCOMPARE(ownerPid(), tray.processId());
        ::kill(static_cast<pid_t>(hanging), SIGCONT);
        QVERIFY(waitForReport(kEnded));
        QCOMPARE(reports(hanging).last(), kEnded);
        tray.terminate();
        QVERIFY(tray.waitForFinished(60000));
    }

    void activateBesideARunningProcessStartsAnother()
    {
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(kPlainLaunch));
        QCOMPARE(callApplication(QStringLiteral("Activate"), {QVariantMap()}).type(),
                 QDBusMessage::ReplyMessage);
        QVERIFY(waitForReport(kEnded));
        QVERIFY(reporter(kEnded) != tray.processId());
        QCOMPARE(reports(tray.processId()), QStringList{kPlainLaunch});
        QCOMPARE(tray.state(), QProcess::Running);
        QCOMPARE(role(), QStringLiteral("tray"));
        tray.terminate();
        QVERIFY(tray.waitForFinished(60000));
    }

    void clickReachesTheRunningResidentProcess()
    {
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(kPlainLaunch));
        QCOMPARE(activateNotification({kIdentifier, kAction}).type(), QDBusMessage::ReplyMessage);
        const QString report = QStringLiteral("activated %1 %2").arg(kIdentifier, kAction);
        QVERIFY(waitForReport(report));
        QCOMPARE(reporter(report), tray.processId());
        tray.terminate();
        QVERIFY(tray.waitForFinished(60000));
    }

    void signalEndsTheProgramInOrder_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGHUP") << SIGHUP;
        QTest::newRow("SIGINT") << SIGINT;
    }
    void signalEndsTheProgramInOrder()
    {
        QFETCH(int, number);
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(kPlainLaunch));
        ::kill(static_cast<pid_t>(tray.processId()), number);
        QVERIFY(tray.waitForFinished(60000));
        QCOMPARE(tray.exitStatus(), QProcess::NormalExit);
        QCOMPARE(tray.exitCode(), 0);
        QCOMPARE(reports(),
                 (QStringList{kPlainLaunch, QStringLiteral("signal"), kWillTerminate, kEnded}));
        QVERIFY(waitUntil([] { return !nameIsOwned(); }));
    }

    void quitOfTheDesktopTellsTheDelegateOnce()
    {
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra"), QStringLiteral("--logout")});
        QVERIFY(tray.waitForFinished(60000));
        QCOMPARE(reports(), (QStringList{kPlainLaunch, kWillTerminate, kEnded}));
    }
};

QTEST_GUILESS_MAIN(tst_application)
#include "tst_application.moc"
