#include "NotificationTestSession.h"

#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace NotificationTest;

/// Against a server that does on purpose what real ones do now and then.
class tst_notif_odd_servers final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { QFile::remove(options().recordsDirectory + QStringLiteral("/notifications")); }
    void cleanup() { m_server.reset(); }

    void serverIsToldEverything()
    {
        start();
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        const QJsonObject call = nextCall();
        QCOMPARE(call.value(QStringLiteral("app")).toString(), QStringLiteral("Self Service"));
        QCOMPARE(call.value(QStringLiteral("summary")).toString(),
                 QStringLiteral("Password self-service"));
        QCOMPARE(
            call.value(QStringLiteral("body")).toString(),
            QStringLiteral("Enroll &lt;now&gt; &amp; answer &quot;three&quot; questions, Zoë."));
        QCOMPARE(call.value(QStringLiteral("timeout")).toInt(-1), 0);
        QCOMPARE(call.value(QStringLiteral("replaces")).toInt(-1), 0);
        QCOMPARE(call.value(QStringLiteral("actions")).toArray(),
                 (QJsonArray{QStringLiteral("default"), QStringLiteral("Enroll now"),
                             QStringLiteral("activate"), QStringLiteral("Enroll now")}));
        const QJsonObject hints = call.value(QStringLiteral("hints")).toObject();
        QCOMPARE(hints.value(QStringLiteral("resident")).toBool(), true);
        QCOMPARE(hints.value(QStringLiteral("urgency")).toInt(), 1);
        QCOMPARE(hints.value(QStringLiteral("desktop-entry")).toString(),
                 QStringLiteral("com.zevrik.selfservice"));

        notifications->deliver(passwordNotification());
        QCOMPARE(nextCall().value(QStringLiteral("actions")).toArray(),
                 (QJsonArray{QStringLiteral("default"), QStringLiteral("Open"),
                             QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}"),
                             QStringLiteral("Skip"),
                             QStringLiteral("{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}"),
                             QStringLiteral("Later")}));
    }

    void serverWithoutMarkupIsSentPlainText()
    {
        start({QStringLiteral("--plain-text")});
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QCOMPARE(nextCall().value(QStringLiteral("body")).toString(),
                 QStringLiteral("Enroll <now> & answer \"three\" questions, Zoë."));
    }

    void closeThatIsNeverAnsweredCountsAsDoneAfterFiveSeconds()
    {
        start({QStringLiteral("--never-close")});
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(!nextCall().isEmpty());
        waitUntilShown(log);
        QElapsedTimer clock;
        clock.start();
        notifications->removeDeliveredNotification(enrollNotification().identifier);
        QVERIFY(clock.elapsed() < 4900); // it does not wait for the answer itself
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(clock.elapsed() >= 4900);
        QVERIFY(clock.elapsed() < 20000); // before the bus gives the call up
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("did not confirm")); }));
    }

    void notificationThatIsNeverAnsweredWaitsForAnotherServer()
    {
        start({QStringLiteral("--never-notify")});
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(!nextCall().isEmpty());
        QElapsedTimer clock;
        clock.start();
        // On its way it counts as delivered, so that the program does not end meanwhile.
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
        QVERIFY(sleepUntil([&] { return !notifications->scheduledNotifications().isEmpty(); }));
        QVERIFY(clock.elapsed() < 20000);
        QVERIFY(notifications->deliveredNotifications().isEmpty());
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("does not answer")); }));

        m_server->stop(true);
        start();
        QCOMPARE(nextCall().value(QStringLiteral("summary")).toString(),
                 QStringLiteral("Password self-service"));
        QVERIFY(sleepUntil([&] { return notifications->scheduledNotifications().isEmpty(); }));
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void notificationThatIsNeverAnsweredCanBeRemoved()
    {
        start({QStringLiteral("--never-notify")});
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(!nextCall().isEmpty());
        QElapsedTimer clock;
        clock.start();
        notifications->removeScheduledNotification(enrollNotification().identifier);
        notifications->removeDeliveredNotification(enrollNotification().identifier);
        QVERIFY(clock.elapsed() < 4900);
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(clock.elapsed() < 20000);
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        // The limits of both calls end together; either may be told of.
        QVERIFY(sleepUntil([&] {
            return log.contains(QStringLiteral("is dropped")) ||
                   log.contains(QStringLiteral("did not confirm"));
        }));
    }

    void notificationTakenDownByItsActivationIsShownAgain()
    {
        start({QStringLiteral("--closes-on-activation")});
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(enrollNotification());
        const int id = nextCall().value(QStringLiteral("id")).toInt();
        waitUntilShown(log);
        invoke(id, QStringLiteral("default"));
        QCOMPARE(recorder->waitFor(1).size(), 1);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
        QVERIFY(nextCall().value(QStringLiteral("id")).toInt() > id);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void closingReportedBeforeItsActivationIsNoDismissalEither()
    {
        start({QStringLiteral("--closes-first")});
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(enrollNotification());
        const int id = nextCall().value(QStringLiteral("id")).toInt();
        waitUntilShown(log);
        invoke(id, QStringLiteral("activate"));
        QCOMPARE(recorder->waitFor(1).size(), 1);
        QVERIFY(!recorder->waitFor(1).first().additionalActivationAction);
        QVERIFY(nextCall().value(QStringLiteral("id")).toInt() > id);
    }

    void closingSeenBeforeTheAnswerToNotifyIsNotMissed()
    {
        start({QStringLiteral("--early-close")});
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("was closed, reason 2")); }));
        QVERIFY(notifications->deliveredNotifications().isEmpty());
    }

    void clickSeenBeforeTheAnswerToNotifyIsNotMissed()
    {
        start({QStringLiteral("--early-click")});
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(enrollNotification());
        QCOMPARE(recorder->waitFor(1).size(), 1);
        QCOMPARE(recorder->waitFor(1).first().identifier, enrollNotification().identifier);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void notificationRemovedOnItsActivationIsNotShownAgain()
    {
        start({QStringLiteral("--closes-on-activation")});
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(enrollNotification());
        const int id = nextCall().value(QStringLiteral("id")).toInt();
        waitUntilShown(log);
        invoke(id, QStringLiteral("default"));
        QCOMPARE(recorder->waitFor(1).size(), 1);
        notifications->removeDeliveredNotification(enrollNotification().identifier);
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(notifications->scheduledNotifications().isEmpty());
        // Another one that is left to be shown again is so after what would have been sent again.
        notifications->deliver(passwordNotification());
        const int second = nextCall().value(QStringLiteral("id")).toInt();
        QVERIFY(second > id);
        QVERIFY(sleepUntil(
            [&] { return log.contains(QStringLiteral("is shown, id %1.").arg(second)); }));
        invoke(second, QStringLiteral("default"));
        QCOMPARE(recorder->waitFor(2).size(), 2);
        QCOMPARE(nextCall().value(QStringLiteral("summary")).toString(),
                 QStringLiteral("Complete your password reset"));
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{passwordNotification().identifier});
    }

    void dismissalEvictionAndForeignRemovalEndIt_data()
    {
        QTest::addColumn<quint32>("reason");
        QTest::newRow("expired or evicted") << quint32(1);
        QTest::newRow("dismissed by the user") << quint32(2);
        QTest::newRow("closed by another program") << quint32(3);
    }
    void dismissalEvictionAndForeignRemovalEndIt()
    {
        QFETCH(quint32, reason);
        start();
        LogRecorder log;
        const auto notifications = center(log);
        notifications->deliver(enrollNotification());
        const quint32 id = nextCall().value(QStringLiteral("id")).toVariant().toUInt();
        waitUntilShown(log);
        control(QStringLiteral("Close"), {id + 1, reason});
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
        control(QStringLiteral("Close"), {id, reason});
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY(notifications->scheduledNotifications().isEmpty());
    }

    void signalThatComesTwiceActivatesOnce()
    {
        start({QStringLiteral("--repeats")});
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(passwordNotification());
        const int id = nextCall().value(QStringLiteral("id")).toInt();
        waitUntilShown(log);
        invoke(id, QStringLiteral("default"));
        invoke(id, QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}"));
        const QList<UserNotification> activations = recorder->waitFor(2);
        QCOMPARE(activations.size(), 2);
        QVERIFY(!activations.at(0).additionalActivationAction);
        QCOMPARE(activations.at(1).additionalActivationAction,
                 std::optional(QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}")));
    }

    void signalsOfAnotherSenderAreIgnored()
    {
        start();
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        notifications->deliver(enrollNotification());
        const quint32 id = nextCall().value(QStringLiteral("id")).toVariant().toUInt();
        waitUntilShown(log);
        for (const char *name : {"ActionInvoked", "NotificationClosed"}) {
            QDBusMessage signal = QDBusMessage::createSignal(
                QStringLiteral("/org/freedesktop/Notifications"),
                QStringLiteral("org.freedesktop.Notifications"), QString::fromLatin1(name));
            if (qstrcmp(name, "ActionInvoked") == 0)
                signal.setArguments({id, QStringLiteral("default")});
            else
                signal.setArguments({id, quint32(2)});
            QVERIFY(QDBusConnection::sessionBus().send(signal));
        }
        invoke(static_cast<int>(id), QStringLiteral("activate"));
        QCOMPARE(recorder->waitFor(1).size(), 1);
        QCOMPARE(notifications->deliveredNotifications().size(), 1);
    }

    void recordsThatAreGarbageAreIgnored_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not JSON") << QByteArray("\0\xff{{{", 6);
        QTest::newRow("an array") << QByteArray("[1,2]");
        QTest::newRow("numbers out of range")
            << QByteArray("{\"bus\":\"@BUS@\",\"server\":\"@SERVER@\",\"notifications\":"
                          "[{\"id\":4294967296,\"identifier\":\"x\"}]}");
        QTest::newRow("of another bus")
            << QByteArray("{\"bus\":\"0\",\"server\":\"@SERVER@\",\"notifications\":"
                          "[{\"id\":1,\"identifier\":\"x\"}]}");
        QTest::newRow("huge") << QByteArray(1 << 20, '[');
    }
    void recordsThatAreGarbageAreIgnored()
    {
        QFETCH(QByteArray, content);
        start();
        writeRecords(content);
        LogRecorder log;
        const auto notifications = center(log);
        QVERIFY(notifications->deliveredNotifications().isEmpty());
        notifications->deliver(enrollNotification());
        QVERIFY(!nextCall().isEmpty());
    }

    void recordsOfThisServerAreTakenUp()
    {
        start();
        writeRecords("{\"bus\":\"@BUS@\",\"server\":\"@SERVER@\",\"notifications\":"
                     "[{\"id\":7,\"identifier\":\"x\"}]}");
        LogRecorder log;
        const auto notifications = center(log);
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{QStringLiteral("x")});
        // The server knows no such id and says so.
        notifications->removeDeliveredNotification(QStringLiteral("x"));
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        QVERIFY2(!log.contains(QStringLiteral("did not confirm")), qPrintable(log.all()));
    }

    void nothingIsShownAgainOfAnEarlierProcess_data()
    {
        QTest::addColumn<QString>("behaviour");
        QTest::addRow("closed after the click") << QStringLiteral("--closes-on-activation");
        QTest::addRow("closed before the click") << QStringLiteral("--closes-first");
    }
    void nothingIsShownAgainOfAnEarlierProcess()
    {
        QFETCH(QString, behaviour);
        start({behaviour});
        int id = 0;
        {
            LogRecorder log;
            const auto earlier = center(log);
            earlier->deliver(enrollNotification());
            id = nextCall().value(QStringLiteral("id")).toInt();
            waitUntilShown(log);
        }
        LogRecorder log;
        const auto recorder = std::make_shared<ActivationRecorder>();
        const auto notifications = center(log);
        notifications->setDelegate(recorder);
        QCOMPARE(identifiers(notifications->deliveredNotifications()),
                 QStringList{enrollNotification().identifier});
        invoke(id, QStringLiteral("default"));
        QCOMPARE(identifiers(recorder->waitFor(1)), QStringList{enrollNotification().identifier});
        QVERIFY(sleepUntil([&] { return notifications->deliveredNotifications().isEmpty(); }));
        // What is shown again of this process comes after what would have been of the other one's.
        notifications->deliver(passwordNotification());
        const int own = nextCall().value(QStringLiteral("id")).toInt();
        waitUntilShown(log);
        invoke(own, QStringLiteral("default"));
        QCOMPARE(recorder->waitFor(2).size(), 2);
        QCOMPARE(nextCall().value(QStringLiteral("summary")).toString(),
                 QStringLiteral("Complete your password reset"));
    }

private:
    void start(const QStringList &switches = {})
    {
        m_server = std::make_unique<ServerProcess>();
        QVERIFY(m_server->start(script(QStringLiteral("notif_fake_server")), switches));
    }
    QJsonObject nextCall() { return QJsonDocument::fromJson(m_server->readLine()).object(); }
    static void waitUntilShown(const LogRecorder &log)
    {
        QVERIFY(sleepUntil([&] { return log.contains(QStringLiteral("is shown")); }));
    }
    static void control(const QString &method, const QVariantList &arguments)
    {
        QDBusMessage message =
            QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
                                           QStringLiteral("/org/freedesktop/Notifications"),
                                           QStringLiteral("com.zevrik.test.Server"), method);
        message.setArguments(arguments);
        QCOMPARE(QDBusConnection::sessionBus().call(message).type(), QDBusMessage::ReplyMessage);
    }
    static void invoke(int id, const QString &key)
    {
        control(QStringLiteral("Invoke"), {static_cast<quint32>(id), key});
    }
    static QString askBus(const QString &method, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), method);
        message.setArguments(arguments);
        return QDBusConnection::sessionBus().call(message).arguments().value(0).toString();
    }
    static void writeRecords(QByteArray content)
    {
        content.replace("@BUS@", askBus(QStringLiteral("GetId"), {}).toUtf8());
        content.replace("@SERVER@", askBus(QStringLiteral("GetNameOwner"),
                                           {QStringLiteral("org.freedesktop.Notifications")})
                                        .toUtf8());
        QVERIFY(QDir().mkpath(options().recordsDirectory));
        QFile file(options().recordsDirectory + QStringLiteral("/notifications"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }

    std::unique_ptr<ServerProcess> m_server;
};

QTEST_GUILESS_MAIN(tst_notif_odd_servers)
#include "tst_notif_odd_servers.moc"
