#include "foundation/SSTargetAction.h"

#include <QTest>

#include <thread>

class Listener : public QObject
{
    Q_OBJECT
public:
    ~Listener() override
    {
        if (destroyed)
            *destroyed = QThread::currentThread();
    }
    Q_INVOKABLE void heard(QObject *object)
    {
        sender = object;
        calledOn = QThread::currentThread();
    }
    QObject *sender = nullptr;
    QThread *calledOn = nullptr;
    QThread **destroyed = nullptr;
};

class tst_SSTargetAction : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void callsTheOperationOnTheCallersThread()
    {
        const auto listener = makeSharedObject<Listener>();
        const SSTargetAction action(listener, "heard");
        QObject sender;
        QThread *other = nullptr;
        std::thread([&] {
            other = QThread::currentThread();
            QCOMPARE(action.perform(&sender), SSTargetAction::Outcome::Called);
        }).join();
        QCOMPARE(listener->sender, &sender);
        QVERIFY(listener->calledOn != QThread::currentThread());
    }

    void missingPieces()
    {
        QObject sender;
        QCOMPARE(SSTargetAction().perform(&sender), SSTargetAction::Outcome::NothingSet);
        QCOMPARE(SSTargetAction({}, "heard").perform(&sender),
                 SSTargetAction::Outcome::TargetMissing);
        auto listener = makeSharedObject<Listener>();
        QCOMPARE(SSTargetAction(listener, {}).perform(&sender),
                 SSTargetAction::Outcome::ActionMissing);
        QCOMPARE(SSTargetAction(listener, "unheard").perform(&sender),
                 SSTargetAction::Outcome::OperationMissing);
        const SSTargetAction action(listener, "heard");
        listener.reset();
        QCOMPARE(action.perform(&sender), SSTargetAction::Outcome::TargetMissing);
    }

    void theLastOwnerOnAnotherThreadPostsTheDeletion()
    {
        QThread *destroyedOn = nullptr;
        auto listener = makeSharedObject<Listener>();
        listener->destroyed = &destroyedOn;
        std::thread([last = std::move(listener)]() mutable { last.reset(); }).join();
        QCOMPARE(destroyedOn, nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(destroyedOn, QThread::currentThread());
    }
};

QTEST_GUILESS_MAIN(tst_SSTargetAction)
#include "tst_SSTargetAction.moc"
