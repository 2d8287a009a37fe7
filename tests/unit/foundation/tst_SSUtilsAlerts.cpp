#include "foundation/SSApplicationDelegate.h"
#include "foundation/SSUtils.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using Text = std::optional<QString>;

namespace {

class Delegate final : public SSApplicationDelegate
{
public:
    qint64 alertWithAlert(const Alert &alert) override
    {
        alerts.append(alert);
        return 77;
    }
    qint64 showModalWindow(ModalWindow &window) override
    {
        windows.append(&window);
        return 78;
    }
    QList<Alert> alerts;
    QList<ModalWindow *> windows;
};

class Window final : public ModalWindow
{
public:
    qint64 runModal() override
    {
        calls.append(QStringLiteral("run"));
        return 79;
    }
    void close() override { calls.append(QStringLiteral("close")); }
    QStringList calls;
};

} // namespace

/// Alerts and modal windows, with an application delegate and without one.
class tst_SSUtilsAlerts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void noAlertIsAnError()
    {
        const FakePlatform fakes;
        Delegate delegate;
        QCOMPARE(SSUtils::alertWithAlert(nullptr, &delegate), -1001);
        QCOMPARE(fakes.log->lines(), QStringList{QStringLiteral("[Error]: alert object is nil.")});
        QVERIFY(delegate.alerts.isEmpty() && fakes.alerts->shown.isEmpty());
    }

    void anAlertGoesThroughTheDelegate()
    {
        const FakePlatform fakes;
        Delegate delegate;
        Alert alert;
        alert.messageText = QStringLiteral("m");
        QCOMPARE(SSUtils::alertWithAlert(&alert, &delegate), 77);
        QCOMPARE(delegate.alerts.size(), 1);
        QCOMPARE(delegate.alerts.first().messageText, QStringLiteral("m"));
        QVERIFY(fakes.alerts->shown.isEmpty());
        QVERIFY(fakes.log->lines().isEmpty());
    }

    void anAlertWithoutADelegateRunsByItself()
    {
        const FakePlatform fakes;
        fakes.alerts->response = 1002;
        Alert alert;
        alert.messageText = QStringLiteral("m");
        QCOMPARE(SSUtils::alertWithAlert(&alert, nullptr), 1002);
        QCOMPARE(fakes.alerts->shown.size(), 1);
        QCOMPARE(fakes.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: SSUtils::alertWithAlert: application delegate is nil.")});
    }

    void aMessageBecomesACriticalAlert()
    {
        const FakePlatform fakes;
        const QImage image(2, 2, QImage::Format_ARGB32);
        fakes.workspace->images.insert(
            QStringLiteral("/Library/ZevrikSelfService/Self-Service Password Reset.app:AppIcon"),
            image);
        Delegate delegate;
        QCOMPARE(SSUtils::alertWithMessage(QStringLiteral("m"), QStringLiteral("h"), &delegate),
                 77);
        const Alert &alert = delegate.alerts.constFirst();
        QCOMPARE(alert.messageText, QStringLiteral("m"));
        QCOMPARE(alert.informativeText, Text(QStringLiteral("h")));
        QCOMPARE(int(alert.style), 2);
        QVERIFY(alert.icon.has_value());
        QVERIFY(alert.canBecomeVisibleWithoutLogin);
    }

    void aMessageWithoutHintHasNoInformativeText()
    {
        const FakePlatform fakes;
        Delegate delegate;
        (void)SSUtils::alertWithMessage(QStringLiteral("m"), &delegate);
        (void)SSUtils::alertWithMessage(QStringLiteral("m"), QString(), &delegate);
        (void)SSUtils::alertWithMessage(std::nullopt, &delegate);
        QCOMPARE(delegate.alerts.size(), 3);
        for (const Alert &alert : std::as_const(delegate.alerts))
            QVERIFY(!alert.informativeText);
        QCOMPARE(delegate.alerts.last().messageText, QStringLiteral("(null)"));
    }

    void aMessageWithoutADelegateRunsByItself()
    {
        const FakePlatform fakes;
        QCOMPARE(SSUtils::alertWithMessage(QStringLiteral("m"), nullptr), 1000);
        QCOMPARE(fakes.alerts->shown.size(), 1);
        QCOMPARE(fakes.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: SSUtils::alertWithMessage: application delegate is nil.")});
    }

    void withoutAnythingToShowItAnAlertIsAborted()
    {
        FakePlatform fakes;
        fakes.platform.alerts = nullptr;
        QCOMPARE(SSUtils::alertWithMessage(QStringLiteral("m"), nullptr), -1001);
    }

    void aModalWindowGoesThroughTheDelegate()
    {
        const FakePlatform fakes;
        Delegate delegate;
        Window window;
        QCOMPARE(SSUtils::showModalWindow(window, &delegate), 78);
        QCOMPARE(delegate.windows, QList<ModalWindow *>{&window});
        QVERIFY(window.calls.isEmpty());
        QVERIFY(fakes.log->lines().isEmpty());
    }

    void aModalWindowWithoutADelegateRunsAndIsClosed()
    {
        const FakePlatform fakes;
        Window window;
        QCOMPARE(SSUtils::showModalWindow(window, nullptr), 79);
        QCOMPARE(window.calls, (QStringList{QStringLiteral("run"), QStringLiteral("close")}));
        QCOMPARE(fakes.log->lines(),
                 QStringList{QStringLiteral(
                     "[Error]: SSUtils::showModalWindow: application delegate is nil.")});
    }
};

QTEST_GUILESS_MAIN(tst_SSUtilsAlerts)
#include "tst_SSUtilsAlerts.moc"
