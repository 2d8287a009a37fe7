#include "NotificationTestSession.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

using namespace NotificationTest;

/// Against dunst, with the user's part played by dunstctl.
class tst_notif_dunst final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        QFile configuration(qEnvironmentVariable("SESSION_FOLDER") + QStringLiteral("/dunstrc"));
        QVERIFY(configuration.open(QIODevice::WriteOnly));
        configuration.write("[global]\nmonitor = 0\nfont = Sans 12\nformat = \"<b>%s</b>\\n%b\"\n"
                            "markup = full\ndmenu = " +
                            script(QStringLiteral("notif_dmenu")).toUtf8() + "\n");
        qputenv("NOTIF_MENU_CHOICE", "Later");
    }

    void init()
    {
        QFile::remove(options().recordsDirectory + QStringLiteral("/notifications"));
        QVERIFY(m_dunst.start(QStringLiteral("dunst"), dunstArguments()));
    }
    void cleanup() { m_dunst.stop(); }

    void deliveredNotificationIsShownUntilItIsRemoved()
    {
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        screenshot(QStringLiteral("notification-dunst.png"));
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
        QVERIFY(notifications->scheduledNotifications().isEmpty());

        notifications->removeDeliveredNotification(enrollNotification().identifier);
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(sleepUntil([] { return displayed() == 0; }));
        QVERIFY(!log.contains(QStringLiteral("did not confirm")));
    }

    void deliveredAgainReplacesTheOneShown()
    {
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        UserNotification changed = enrollNotification();
        changed.informativeText = QStringLiteral("second text");
        notifications->deliver(changed);
        QVERIFY(sleepUntil([&] { return log.all().count(QStringLiteral("is shown")) == 2; }));
        QCOMPARE(displayed(), 1);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void clickReachesTheDelegateAndTheNotificationStays()
    {
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));

        (void)run(QStringLiteral("dunstctl"), {QStringLiteral("action"), QStringLiteral("0")});
        const QList<UserNotification> activations = recorder->waitFor(1);
        QCOMPARE(activations.size(), 1);
        QCOMPARE(activations.first().identifier, enrollNotification().identifier);
        QVERIFY(!activations.first().additionalActivationAction);
        QCOMPARE(activations.first().title, enrollNotification().title);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void chosenAdditionalActionReachesTheDelegate()
    {
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(passwordNotification());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));

        (void)run(QStringLiteral("dunstctl"), {QStringLiteral("context")});
        const QList<UserNotification> activations = recorder->waitFor(1);
        QCOMPARE(activations.size(), 1);
        QCOMPARE(activations.first().additionalActivationAction,
                 std::optional(QStringLiteral("{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}")));
    }

    void dismissalIsSeenWhileTheMainThreadSleeps()
    {
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        QProcess user;
        user.start(QStringLiteral("dunstctl"), {QStringLiteral("close")});
        QVERIFY(user.waitForStarted());
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(user.waitForFinished());
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("was closed, reason 2")); }));
    }

    void whatAKilledServerShowedIsGoneAndNotSentAgain()
    {
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        m_dunst.stop(true);
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(notifications->scheduledNotifications().isEmpty());

        QVERIFY(m_dunst.start(QStringLiteral("dunst"), dunstArguments()));
        notifications->deliver(passwordNotification());
        QVERIFY(sleepUntil([] { return displayed() > 0; }));
        QCOMPARE(displayed(), 1);
    }

    void serverThatComesLaterShowsWhatWasScheduled()
    {
        m_dunst.stop();
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([&] { return !notifications->scheduledNotifications().isEmpty(); }));
        QVERIFY(notifications->deliveredNotifications().isEmpty());
        notifications->deliver(passwordNotification());
        QVERIFY(sleepUntil([&] { return notifications->scheduledNotifications().size() == 2; }));
        notifications->removeScheduledNotification(passwordNotification().identifier);

        QVERIFY(m_dunst.start(QStringLiteral("dunst"), dunstArguments()));
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        QVERIFY(sleepUntil([&] { return notifications->scheduledNotifications().isEmpty(); }));
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
    }

    void notificationOfAKilledProcessIsListedAndRemoved()
    {
        QVERIFY(deliverFromKilledProcess());
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        const QFileInfo record(options().recordsDirectory + QStringLiteral("/notifications"));
        QCOMPARE(int(record.permissions() & 0x0777),
                 0x0600); // Qt's bits: owner, user, group, other
        LogRecorder log;
        const auto notifications = center(log);
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
        notifications->removeDeliveredNotification(enrollNotification().identifier);
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(sleepUntil([] { return displayed() == 0; }));
        QVERIFY2(!log.contains(QStringLiteral("did not confirm")), qPrintable(log.all()));
    }

    void removalBeforeAnythingIsKnownReachesTheEarlierProcesssNotification()
    {
        QVERIFY(deliverFromKilledProcess());
        LogRecorder log;
        const auto notifications = center(log);
        notifications->removeAllDeliveredNotifications();
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(sleepUntil([] { return displayed() == 0; }));
    }

    void recordOfAnotherServerIsNotBelieved()
    {
        QVERIFY(deliverFromKilledProcess());
        m_dunst.stop();
        QVERIFY(m_dunst.start(QStringLiteral("dunst"), dunstArguments()));
        (void)run(QStringLiteral("dunstify"), {QStringLiteral("of another program")});
        QVERIFY(sleepUntil([] { return displayed() == 1; }));
        LogRecorder log;
        const auto notifications = center(log);
        QVERIFY(notifications->deliveredNotifications().isEmpty());
        notifications->removeAllDeliveredNotifications();
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([] { return displayed() == 2; }));
    }

    void destructionCarriesOutTheRemovalsAskedFor()
    {
        LogRecorder log;
        {
            const auto notifications = center(log);
            notifications->deliver(enrollNotification());
            QVERIFY(sleepUntil([] { return displayed() == 1; }));
            notifications->removeAllDeliveredNotifications();
        }
        QCOMPARE(displayed(), 0);
        QVERIFY(!QFile::exists(options().recordsDirectory + QStringLiteral("/notifications")));
    }

private:
    static QStringList dunstArguments()
    {
        return {QStringLiteral("-conf"),
                qEnvironmentVariable("SESSION_FOLDER") + QStringLiteral("/dunstrc")};
    }
    static int displayed()
    {
        return run(QStringLiteral("dunstctl"),
                   {QStringLiteral("count"), QStringLiteral("displayed")})
            .toInt();
    }

    ServerProcess m_dunst;
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (isDeliveringProcess(argc, argv))
        return deliverForever();
    tst_notif_dunst test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notif_dunst.moc"
