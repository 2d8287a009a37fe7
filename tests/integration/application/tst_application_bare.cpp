#include "Probe.h"

#include <QLocalServer>
#include <QTemporaryDir>
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

    void displayThatDoesNotAnswerIsNone_data()
    {
        QTest::addColumn<QString>("platform");
        for (const char *platform : {"", "nonsense", "wayland", "xcb", "wayland;xcb", "XCB:x=1",
                                     "eglfs;;linuxfb", ";:", "wayland-egl"})
            QTest::newRow(platform) << QString::fromLatin1(platform);
    }
    void displayThatDoesNotAnswerIsNone()
    {
        QFETCH(QString, platform);
        runPlain({{QStringLiteral("DISPLAY"), QStringLiteral(":65000")},
                  {QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("nothing")},
                  {QStringLiteral("QT_QPA_PLATFORM"), platform}});
        QVERIFY(said(QStringLiteral("No display can be reached")));
        QCOMPARE(said(QStringLiteral("QT_QPA_PLATFORM is \"%1\"").arg(platform)),
                 !platform.isEmpty());
    }

    void environmentMayNameAPlatformWithoutADisplay()
    {
        runPlain({{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb")}});
        QCOMPARE(said(QStringLiteral("No display can be reached")), !m_hasDisplay);
        QCOMPARE(said(QStringLiteral("QT_QPA_PLATFORM is")), !m_hasDisplay);
    }

    void platformThatIsNotInstalledIsPassedOver_data()
    {
        QTest::addColumn<QString>("platform");
        QTest::addColumn<bool>("isUsed");
        QTest::newRow("none named") << QString() << true;
        QTest::newRow("none installed") << QStringLiteral("nonsense") << false;
        QTest::newRow("the second one") << QStringLiteral("nonsense;offscreen") << true;
        QTest::newRow("with parameters") << QStringLiteral("Offscreen:a=b") << true;
    }
    void platformThatIsNotInstalledIsPassedOver()
    {
        QFETCH(QString, platform);
        QFETCH(bool, isUsed);
        runPlain({{QStringLiteral("QT_QPA_PLATFORM"), platform}});
        QCOMPARE(said(QStringLiteral("No display can be reached")),
                 !m_hasDisplay &&
                     !platform.contains(QStringLiteral("offscreen"), Qt::CaseInsensitive));
        QCOMPARE(said(QStringLiteral("QT_QPA_PLATFORM is")), !isUsed);
    }

    void displayWithoutItsPluginIsPassedOver()
    {
        QTemporaryDir folder;
        QLocalServer compositor;
        QVERIFY(compositor.listen(folder.filePath(QStringLiteral("wayland-0"))));
        runPlain({{QStringLiteral("XDG_RUNTIME_DIR"), folder.path()},
                  {QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland-nonsense")}});
        QVERIFY(said(QStringLiteral("QT_QPA_PLATFORM is \"wayland-nonsense\"")));
        QCOMPARE(said(QStringLiteral("No display can be reached")), !m_hasDisplay);
    }

private:
    using Environment = QList<std::pair<QString, QString>>;

    /// The program from its start to its own end; `changes` come on top of the session's.
    static void runPlain(const Environment &changes)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const auto &[name, value] : changes)
            environment.insert(name, value);
        QProcess plain;
        plain.setProcessEnvironment(environment);
        start(plain, {});
        QVERIFY(plain.waitForFinished(60000));
        QCOMPARE(plain.exitStatus(), QProcess::NormalExit);
        QCOMPARE(plain.exitCode(), 0);
        QVERIFY(reports().contains(QStringLiteral("launched plainly")));
    }

    static bool said(const QString &text)
    {
        return reports().join(QLatin1Char('\n')).contains(QStringLiteral("log ") + text);
    }

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
