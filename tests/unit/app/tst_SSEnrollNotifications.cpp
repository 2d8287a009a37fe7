#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

class tst_SSEnrollNotifications : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void whatIsDelivered()
    {
        EnrollFixture f;
        f.startAndRemind();
        const UserNotification shown = f.fake.notificationCenter->delivered.first();
        QCOMPARE(shown.identifier, QStringLiteral("{0DA0AD54-B798-4608-8B7E-A517AD2563A6}"));
        QCOMPARE(shown.title, QStringLiteral("Enroll"));
        QCOMPARE(shown.informativeText, QStringLiteral("Please enroll"));
        QCOMPARE(shown.actionButtonTitle, QStringLiteral("Enroll now"));
        QVERIFY(shown.additionalActions.isEmpty());
        QCOMPARE(f.fake.statusBar->item()->image, QStringLiteral("Enroll"));
        QVERIFY(f.fake.notificationCenter->delegate.lock());
        QVERIFY(f.enroll->shouldPresentNotification(shown));
    }

    void anAbsentTitleStaysAbsent()
    {
        EnrollFixture f;
        f.remove(u"EnrollSysNotification.Title");
        f.startAndRemind();
        QVERIFY(!f.fake.notificationCenter->delivered.first().title);
    }

    void emptyMenuTextLeavesOutTheButtonAndTheItem()
    {
        EnrollFixture f;
        f.remove(u"EnrollSysNotification.MenuEnroll");
        f.startAndRemind();
        QVERIFY(!f.fake.notificationCenter->delivered.first().actionButtonTitle);
        const auto menu = f.enroll->enrollPopupMenu();
        QVERIFY(menu);
        QCOMPARE(menu->items.size(), 1);
        QCOMPARE(menu->items.first().title, QStringLiteral("Not today"));
    }

    void withoutMenuTextsARightClickOpensThePage()
    {
        EnrollFixture f;
        f.remove(u"EnrollSysNotification.MenuEnroll");
        f.set(u"EnrollSysNotification.MenuExit", QString());
        f.startAndRemind();
        QVERIFY(!f.enroll->enrollPopupMenu());
        QVERIFY(f.fake.statusBar->item()->menuProvider().items.isEmpty());
        f.fake.statusBar->item()->action(StatusItemEvent::RightMouseUp);
        QCOMPARE(f.fake.workspace->opened.size(), 1);
    }

    void emptyTextIsNotShown()
    {
        EnrollFixture f;
        f.remove(u"EnrollSysNotification.Text");
        f.startAndRemind();
        QVERIFY(f.fake.notificationCenter->everDelivered.isEmpty());
        QCOMPARE(f.errors(),
                 QStringList{QStringLiteral("[Error]: Notification text is empty for stage: 0.")});
        QVERIFY(f.terminated());
    }

    void aFinishedFlowShowsNothing()
    {
        EnrollFixture f;
        f.start();
        f.enroll->updateEnrollStage(SSStage::Done);
        QVERIFY(!f.enroll->showEnrollNotification());
        QCOMPARE(f.errors().last(),
                 QStringLiteral("[Error]: Stage: 2 is incorrect while enroll notification "
                                "initialization."));
    }

    void leftClickOpensThePageAndGoesOnReminding()
    {
        EnrollFixture f;
        f.startAndRemind();
        const auto item = f.fake.statusBar->item();
        item->action(StatusItemEvent::LeftMouseUp);
        QVERIFY(item->poppedUp.isEmpty());
        QCOMPARE(f.fake.workspace->opened,
                 QStringList{QStringLiteral("https://host/app/#/PssEnroll")});
        QCOMPARE(f.fake.statusBar->itemsShown(), 0);
        QVERIFY(f.fake.notificationCenter->delivered.isEmpty());
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Reminding);
        QVERIFY(f.fake.runLoop->armedIntervals().contains(1800.0));
    }

    void rightAndControlClickOpenTheMenu_data()
    {
        QTest::addColumn<StatusItemEvent>("event");
        QTest::newRow("right") << StatusItemEvent::RightMouseUp;
        QTest::newRow("control") << StatusItemEvent::LeftMouseUpWithControl;
    }
    void rightAndControlClickOpenTheMenu()
    {
        QFETCH(StatusItemEvent, event);
        EnrollFixture f;
        f.startAndRemind();
        const auto item = f.fake.statusBar->item();
        item->action(event);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        QCOMPARE(item->poppedUp.size(), 1);
        const Menu menu = item->poppedUp.first();
        QCOMPARE(menu.title, QString());
        QCOMPARE(menu.items.size(), 2);
        QCOMPARE(menu.items.at(0).title, QStringLiteral("Enroll now"));
        QCOMPARE(menu.items.at(1).title, QStringLiteral("Not today"));
        QCOMPARE(menu.items.at(0).keyEquivalent, QString());
    }

    void menuItemsDoWhatTheySay()
    {
        EnrollFixture f;
        f.startAndRemind();
        f.enroll->enrollPopupMenu()->items.at(0).action();
        QCOMPARE(f.fake.workspace->opened.size(), 1);

        EnrollFixture g;
        g.startAndRemind();
        g.fake.statusBar->item()->menuProvider().items.at(1).action();
        QVERIFY(g.fake.workspace->opened.isEmpty());
        QVERIFY(g.fake.notificationCenter->delivered.isEmpty());
        QCOMPARE(g.fake.statusBar->itemsShown(), 0);
        QCOMPARE(g.enroll->stageEnroll(), SSStage::Done);
        QVERIFY(g.terminated());
    }

    void identifiersAreComparedInUpperCase()
    {
        EnrollFixture f;
        f.startAndRemind();
        UserNotification clicked = f.fake.notificationCenter->delivered.first();
        clicked.identifier = clicked.identifier.toLower();
        f.fake.notificationCenter->activate(clicked);
        f.fake.runLoop->runPending();
        QCOMPARE(f.fake.workspace->opened.size(), 1);
        QCOMPARE(f.enroll->stageEnroll(), SSStage::Reminding);
    }

    void anActivationIsHandledOnTheMainThreadLater()
    {
        EnrollFixture f;
        f.startAndRemind();
        f.fake.notificationCenter->activate(f.fake.notificationCenter->delivered.first());
        QVERIFY(f.fake.workspace->opened.isEmpty());
        f.fake.runLoop->runPending();
        QCOMPARE(f.fake.workspace->opened.size(), 1);
    }

    void anUnknownNotificationIsRemovedAndLogged()
    {
        EnrollFixture f;
        f.startAndRemind();
        UserNotification unknown;
        unknown.identifier = QStringLiteral("{unknown}");
        f.fake.notificationCenter->delivered.append(unknown);
        f.fake.notificationCenter->activate(unknown);
        f.fake.runLoop->runPending();
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
        QCOMPARE(f.fake.notificationCenter->delivered.first().identifier, f.identifier());
        QCOMPARE(f.errors(),
                 QStringList{QStringLiteral("[Error]: Unsupported user notification: {unknown}.")});
    }

    void removalWaitsForMatchingNotificationsOnly()
    {
        EnrollFixture f;
        f.startAndRemind();
        UserNotification other;
        other.identifier = QStringLiteral("{other}");
        f.fake.notificationCenter->delivered.append(other);
        f.fake.notificationCenter->removesAtOnce = false;
        const int before = f.fake.runLoop->sleeps;
        f.fake.runLoop->onSleep = [&f] { f.fake.notificationCenter->completeRemovals(); };
        f.enroll->removeEnrollNotification();
        QCOMPARE(f.fake.runLoop->sleeps, before + 1);
        QCOMPARE(f.fake.notificationCenter->delivered.size(), 1);
    }

    void menuExtensionAddsNothingWithoutATitle()
    {
        Menu menu;
        QVERIFY(!SSHelper::addItemWithTitleEx(menu, std::nullopt, {}, {}));
        QVERIFY(!SSHelper::addItemWithTitleEx(menu, QString(), {}, {}));
        QVERIFY(menu.items.isEmpty());
        QVERIFY(SSHelper::addItemWithTitleEx(menu, QStringLiteral("x"), {}, QStringLiteral("k")));
        QCOMPARE(menu.items.size(), 1);
        QCOMPARE(menu.items.first().keyEquivalent, QStringLiteral("k"));
    }
};

QTEST_GUILESS_MAIN(tst_SSEnrollNotifications)
#include "tst_SSEnrollNotifications.moc"
