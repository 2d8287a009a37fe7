#include "Probe.h"

#include <QTest>

using namespace Probe;

/// The application's process in a session that lacks a bus, a display or both.
class tst_application_bare final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        m_hasBus =
            !qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS").endsWith(QStringLiteral("/nothing"));
        m_hasDisplay = !qEnvironmentVariableIsEmpty("DISPLAY");
        QVERIFY(!m_hasBus || !m_hasDisplay);
    }
    void init() { clear(); }

    void residentProcessRunsAndEndsInOrder()
    {
        QProcess tray;
        start(tray, {QStringLiteral("--enrollMenuExtra")});
        QVERIFY(waitForReport(QStringLiteral("launched plainly")));
        tray.terminate();
        QVERIFY(tray.waitForFinished(60000));
        QCOMPARE(tray.exitCode(), 0);
        checkReports();
        QVERIFY(reports().contains(QStringLiteral("will terminate")));
        QCOMPARE(reports().last(), QStringLiteral("ended"));
        // What is missing is said once.
        QCOMPARE(reports().size(), 4 + (m_hasBus ? 0 : 1) + (m_hasDisplay ? 0 : 1));
    }

    void displayThatDoesNotAnswerIsNone()
    {
        if (m_hasDisplay)
            return;
        qputenv("DISPLAY", ":65000");
        qputenv("WAYLAND_DISPLAY", "nothing");
        QProcess plain;
        start(plain, {});
        QVERIFY(plain.waitForFinished(60000));
        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
        QCOMPARE(plain.exitStatus(), QProcess::NormalExit);
        QCOMPARE(plain.exitCode(), 0);
        QVERIFY(reports().contains(QStringLiteral("launched plainly")));
    }

private:
    void checkReports()
    {
        QString all = reports().join(QLatin1Char('\n'));
        QCOMPARE(all.contains(QStringLiteral("log There is no session bus")), !m_hasBus);
        QCOMPARE(all.contains(QStringLiteral("log No display can be reached")), !m_hasDisplay);
    }

    bool m_hasBus = true;
    bool m_hasDisplay = true;
};

QTEST_GUILESS_MAIN(tst_application_bare)
#include "tst_application_bare.moc"
