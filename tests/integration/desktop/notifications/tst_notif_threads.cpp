#include "NotificationTestSession.h"

#include <QTest>

#include <array>
#include <thread>

using namespace NotificationTest;

/// Several threads at once, and a server that the bus starts when the first notification needs it.
class tst_notif_threads final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void callsFromSeveralThreadsLeaveNothingBehind()
    {
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        std::array<std::thread, 4> threads;
        for (std::size_t i = 0; i < threads.size(); ++i) {
            threads.at(i) = std::thread([&notifications, i] {
                UserNotification notification = enrollNotification();
                notification.identifier = QString::number(i);
                for (int turn = 0; turn < 50; ++turn) {
                    notifications->deliver(notification);
                    (void)notifications->deliveredNotifications();
                    notifications->deliver(notification);
                    notifications->removeScheduledNotification(notification.identifier);
                    notifications->removeDeliveredNotification(notification.identifier);
                    (void)notifications->scheduledNotifications();
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        QVERIFY2(!log.contains(QStringLiteral("did not confirm")), qPrintable(log.all()));

        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([&] {
            return log.contains(enrollNotification().identifier + QStringLiteral(" is shown"));
        }));
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
    }
};

QTEST_GUILESS_MAIN(tst_notif_threads)
#include "tst_notif_threads.moc"
