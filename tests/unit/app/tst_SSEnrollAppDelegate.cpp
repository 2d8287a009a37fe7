#include "app/SSEnrollAppDelegate.h"
#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

class CountingWindow final : public ModalWindow
{
public:
    [[nodiscard]] qint64 runModal() override { return 42; }
    void close() override { ++closed; }
    int closed = 0;
};

class tst_SSEnrollAppDelegate : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void theSwitchMakesAController()
    {
        EnrollFixture f;
        f.fillDirectory();
        const auto delegate = SSEnrollAppDelegate::initWithShowExtras(true);
        QVERIFY(delegate->showExtras());
        QVERIFY(!delegate->enroll());
        delegate->applicationDidFinishLaunching({});
        QVERIFY(delegate->enroll());
        QVERIFY(!f.terminated());
        delegate->setShowExtras(false);
        QVERIFY(!delegate->showExtras());
        const auto enroll = delegate->enroll();
        delegate->setEnroll(nullptr);
        QVERIFY(!delegate->enroll());
        delegate->setEnroll(enroll);
        delegate->applicationWillTerminate();
        QVERIFY(!delegate->enroll());
        QVERIFY(f.fake.runLoop->armedIntervals().isEmpty());
    }

    void aClickMakesAControllerThatHandlesIt()
    {
        EnrollFixture f;
        f.fillDirectory();
        const auto delegate = SSEnrollAppDelegate::initWithShowExtras(false);
        LaunchNotice notice;
        notice.userNotification.emplace().identifier = f.identifier();
        delegate->applicationDidFinishLaunching(notice);
        QVERIFY(delegate->enroll());
        QCOMPARE(f.fake.workspace->opened.size(), 1);
        QVERIFY(f.fake.alerts->shown.isEmpty());
        QVERIFY(!f.terminated());
    }

    void neitherShowsTheAlertAndEnds()
    {
        EnrollFixture f;
        f.fillDirectory();
        const auto delegate = SSEnrollAppDelegate::initWithShowExtras(false);
        delegate->applicationDidFinishLaunching({});
        QVERIFY(!delegate->enroll());
        QCOMPARE(f.fake.alerts->shown.size(), 1);
        QVERIFY(f.terminated());
    }

    void modalHelpers()
    {
        EnrollFixture f;
        f.fillDirectory();
        const auto delegate = SSEnrollAppDelegate::initWithShowExtras(false);
        f.fake.alerts->response = 1001;
        QCOMPARE(delegate->alertWithAlert({}), 1001);
        CountingWindow window;
        QCOMPARE(delegate->showModalWindow(window), 42);
        QCOMPARE(window.closed, 1);
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollAppDelegate)
#include "tst_SSEnrollAppDelegate.moc"
