#include "NotificationTestSession.h"

#include <QElapsedTimer>
#include <QTest>

using namespace NotificationTest;

/// In a session without a bus.
class tst_notif_no_bus final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void notificationsAreDroppedWithALogLine()
    {
        LogRecorder log;
        const auto notifications = center(log);
        QElapsedTimer clock;
        clock.start();
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("no session bus")); }));
        notifications->deliver(passwordNotification());
        QVERIFY(notifications->deliveredNotifications().isEmpty());
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        QVERIFY(log.contains(passwordNotification().identifier));
        notifications->removeAllDeliveredNotifications();
        QVERIFY(clock.elapsed() < 20000);
    }
};

QTEST_GUILESS_MAIN(tst_notif_no_bus)
#include "tst_notif_no_bus.moc"
