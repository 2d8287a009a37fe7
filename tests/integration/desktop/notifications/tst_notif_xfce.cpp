#include "NotificationTestSession.h"

#include <QFile>
#include <QTest>

#include <thread>

using namespace NotificationTest;

/// Against xfce4-notifyd, with the user's part played by the pointer.
class tst_notif_xfce final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        QFile::remove(options().recordsDirectory + QStringLiteral("/notifications"));
        QVERIFY(m_server.start(
            QStringLiteral("/usr/lib/x86_64-linux-gnu/xfce4/notifyd/xfce4-notifyd")));
    }
    void cleanup() { m_server.stop(); }

    void deliveredNotificationIsShownUntilItIsRemoved()
    {
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("is shown")); }));
        const QString w =
            run(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--sync"),
                                            QStringLiteral("--onlyvisible"),
                                            QStringLiteral("--class"), QStringLiteral("notifyd")});
        qInfo() << run(QStringLiteral("xdotool"),
                       {QStringLiteral("getwindowgeometry"), w.section(QLatin1Char('\n'), 0, 0)})
                << w;
        std::this_thread::sleep_for(std::chrono::seconds(1));
        screenshot(QStringLiteral("notification-xfce4-notifyd.png"));
        notifications->deliver(passwordNotification());
        std::this_thread::sleep_for(std::chrono::seconds(1));
        screenshot(QStringLiteral("notification-xfce4-notifyd2.png"));
    }

private:
    ServerProcess m_server;
};

QTEST_GUILESS_MAIN(tst_notif_xfce)
#include "tst_notif_xfce.moc"
