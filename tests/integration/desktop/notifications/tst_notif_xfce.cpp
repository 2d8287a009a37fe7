#include "NotificationTestSession.h"

#include <QFile>
#include <QTest>

using namespace NotificationTest;

/// Against xfce4-notifyd, with the user's part played by the pointer.
class tst_notif_xfce final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        QFile::remove(options().recordsDirectory + QStringLiteral("/notifications"));
        QVERIFY(m_server.start(QStringLiteral(SS_XFCE4_NOTIFYD)));
    }
    void cleanup() { m_server.stop(); }

    void deliveredNotificationIsShownUntilItIsRemoved()
    {
        LogRecorder log;
        const auto notifications = center(log);
        deliver(*notifications, log, enrollNotification());
        screenshot(QStringLiteral("notification-xfce4-notifyd.png"));
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
        notifications->removeDeliveredNotification(enrollNotification().identifier);
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(!log.contains(QStringLiteral("did not confirm")));
    }

    void mainButtonReachesTheDelegateAndTheNotificationStays()
    {
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        const Popup popup = deliver(*notifications, log, enrollNotification());
        popup.clickLastButton();
        const QList<UserNotification> activations = recorder->waitFor(1);
        QCOMPARE(activations.size(), 1);
        QCOMPARE(activations.first().identifier, enrollNotification().identifier);
        QVERIFY(!activations.first().additionalActivationAction);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void additionalButtonReachesTheDelegate()
    {
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        const Popup popup = deliver(*notifications, log, passwordNotification());
        popup.clickLastButton();
        const QList<UserNotification> activations = recorder->waitFor(1);
        QCOMPARE(activations.size(), 1);
        QCOMPARE(activations.first().additionalActivationAction,
                 std::optional(QStringLiteral("{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}")));
    }

    void clickBesideTheButtonsDismisses()
    {
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        const Popup popup = deliver(*notifications, log, enrollNotification());
        popup.clickBody();
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("was closed, reason 2")); }));
        QVERIFY(!log.contains(QStringLiteral("was activated")));
    }

    void restartedServerShowsOnlyWhatIsDeliveredAnew()
    {
        LogRecorder log;
        const auto notifications = center(log);
        (void)deliver(*notifications, log, enrollNotification());
        m_server.stop();
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        init();
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        notifications->deliver(passwordNotification());
        QVERIFY(sleepUntil([&] { return log.all().count(QStringLiteral("is shown")) == 2; }));
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{passwordNotification().identifier});
    }

    void clickOnANotificationOfAKilledProcessReachesTheNextOne()
    {
        QVERIFY(deliverFromKilledProcess());
        const Popup popup = findPopup();
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
        popup.clickLastButton();
        QCOMPARE(recorder->waitFor(1).size(), 1);
        QCOMPARE(recorder->waitFor(1).first().identifier, enrollNotification().identifier);
    }

    void notificationOfAKilledProcessIsRemoved()
    {
        QVERIFY(deliverFromKilledProcess());
        LogRecorder log;
        const auto notifications = center(log);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
        notifications->removeAllDeliveredNotifications();
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(!log.contains(QStringLiteral("did not confirm")));
    }

private:
    struct Popup
    {
        QString window;
        int width = 0;
        int height = 0;
        void click(int x, int y) const
        {
            (void)run(QStringLiteral("xdotool"),
                      {QStringLiteral("mousemove"), QStringLiteral("--window"), window,
                       QString::number(x), QString::number(y), QStringLiteral("click"),
                       QStringLiteral("1")});
        }
        // The buttons stand in a row at the lower right.
        void clickLastButton() const { click(width - 57, height - 31); }
        void clickBody() const { click(width / 4, height / 4); }
    };

    static Popup findPopup()
    {
        Popup popup;
        popup.window = run(QStringLiteral("xdotool"),
                           {QStringLiteral("search"), QStringLiteral("--sync"),
                            QStringLiteral("--onlyvisible"), QStringLiteral("--class"),
                            QStringLiteral("xfce4-notifyd")})
                           .section(QLatin1Char('\n'), 0, 0);
        const QStringList geometry =
            run(QStringLiteral("xdotool"),
                {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), popup.window})
                .split(QLatin1Char('\n'));
        for (const QString &line : geometry) {
            const int value = line.section(QLatin1Char('='), 1).toInt();
            if (line.startsWith(QLatin1String("WIDTH=")))
                popup.width = value;
            else if (line.startsWith(QLatin1String("HEIGHT=")))
                popup.height = value;
        }
        return popup;
    }

    static Popup deliver(LinuxNotificationCenter &notifications, const LogRecorder &log,
                         const UserNotification &notification)
    {
        notifications.deliver(notification);
        if (!sleepUntil([&] { return log.contains(QStringLiteral("is shown")); }))
            QTest::qFail("not shown", __FILE__, __LINE__);
        return findPopup();
    }

    ServerProcess m_server;
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (isDeliveringProcess(argc, argv))
        return deliverForever();
    tst_notif_xfce test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notif_xfce.moc"
