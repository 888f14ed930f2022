// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "navigation/mavstickadapter.h"
#include "support/testmain.h"

#include <QSharedPointer>
#include <QThread>

#include <memory>

namespace {

using Pointer = QSharedPointer<IVirtualStick>;

constexpr int SequenceAt = 4;
constexpr int NorthAt = 10 + 16; // in a SET_POSITION_TARGET_LOCAL_NED

float northOf(const QByteArray &frame)
{
    float north = 0;
    memcpy(&north, frame.constData() + NorthAt, sizeof north);
    return north;
}

void runOnWorker(const std::function<void()> &work)
{
    const std::unique_ptr<QThread> worker(QThread::create(work));
    worker->start();
    worker->wait();
}

} // namespace

/// Takes the pointers, on whichever thread it lives.
class PointerReceiver : public QObject
{
    Q_OBJECT

public:
    QList<Pointer> pointers;
    QThread *on = nullptr;

public Q_SLOTS:
    void take(const QSharedPointer<IVirtualStick> &stick)
    {
        pointers.append(stick);
        on = QThread::currentThread();
    }
};

/// The stick between threads: commands from others, and its pointer through a queued signal.
class TestMavVirtualStickThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void pointerType_isRegisteredByTheDriver();
    void pointer_isReadAsAnObject();
    void pointer_throughAQueuedSignal_arrives_data();
    void pointer_throughAQueuedSignal_arrives();
    void velocity_ofAWorker_reachesTheWireOnceAndInOrder();
    void velocity_ofTheMainThread_leavesBehindThoseOfTheWorker();
    void velocities_ofAWorkerBesideHeartbeats_areNumberedInOrder();
    void velocity_answeringTheStatus_leavesBehindThoseOfTheWorker();
    void velocity_ofAWorker_afterStop_isLost();
};

// Stands first: whatever else uses the type might register it too.
void TestMavVirtualStickThreads::initTestCase()
{
    QCOMPARE(QMetaType::type("QSharedPointer<IVirtualStick>"), int(QMetaType::UnknownType));
    spendFirstHeartbeat();
}

void TestMavVirtualStickThreads::pointerType_isRegisteredByTheDriver()
{
    const int type = QMetaType::type("QSharedPointer<IVirtualStick>");
    QVERIFY(type != QMetaType::UnknownType);
    QVERIFY(QMetaType::hasRegisteredConverterFunction(type, QMetaType::QObjectStar));
    QCOMPARE(qMetaTypeId<Pointer>(), type);
    QCOMPARE(QByteArray(QMetaType::typeName(type)), QByteArray("QSharedPointer<IVirtualStick>"));
}

void TestMavVirtualStickThreads::pointer_isReadAsAnObject()
{
    const LogCapture log;
    const Pointer stick(new MavStickAdapter);
    const QVariant variant = QVariant::fromValue(stick);
    QVERIFY(variant.canConvert<QObject *>());
    QCOMPARE(variant.value<QObject *>(), static_cast<QObject *>(stick.data()));
    QCOMPARE(QVariant::fromValue(Pointer()).value<QObject *>(), nullptr);
}

void TestMavVirtualStickThreads::pointer_throughAQueuedSignal_arrives_data()
{
    QTest::addColumn<bool>("byName");
    QTest::newRow("by name") << true;
    QTest::newRow("by pointer to member") << false;
}

// Nothing in the driver emits it; a host may.
void TestMavVirtualStickThreads::pointer_throughAQueuedSignal_arrives()
{
    QFETCH(bool, byName);
    AutopilotRig rig;
    PointerReceiver to;
    QThread thread;
    to.moveToThread(&thread);
    if (byName)
        QVERIFY(connect(rig.plugin.get(), SIGNAL(virtualStickCreated(QSharedPointer<IVirtualStick>)), &to,
                        SLOT(take(QSharedPointer<IVirtualStick>))));
    else
        connect(rig.plugin.get(), &IAutopilotPlugin::virtualStickCreated, &to, &PointerReceiver::take);
    thread.start();
    const Pointer owned(rig.plugin->virtualStick(), [](IVirtualStick *) {}); // the driver owns it
    Q_EMIT rig.plugin->virtualStickCreated(owned);
    QMetaObject::invokeMethod(
        &to, [] {}, Qt::BlockingQueuedConnection); // what was posted before has run
    thread.quit();
    thread.wait();
    QCOMPARE(to.pointers, QList<Pointer>{owned});
    QCOMPARE(to.on, &thread);
}

void TestMavVirtualStickThreads::velocity_ofAWorker_reachesTheWireOnceAndInOrder()
{
    constexpr int count = 300;
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->stopTimers(); // no heartbeat in between
    rig.detectPx4();
    runOnWorker([&] {
        for (int i = 0; i < count; ++i)
            rig.plugin->virtualStick()->setVelocity({double(i), 0, 0}, 0);
    });
    QCOMPARE(int(channelStatus().current_tx_seq), 0); // all of it waits for the event loop
    QCoreApplication::processEvents();
    const QList<QByteArray> frames = controller.receive(count);
    QCOMPARE(frames.size(), count);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(northOf(frames[i]), float(i));
        QCOMPARE(quint8(frames[i][SequenceAt]), quint8(i));
    }
    QCoreApplication::processEvents();
    QCOMPARE(channelStatus().current_tx_seq, quint8(count));
}

void TestMavVirtualStickThreads::velocity_ofTheMainThread_leavesBehindThoseOfTheWorker()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    IVirtualStick *stick = rig.plugin->virtualStick();
    runOnWorker([&] {
        stick->setVelocity({1, 0, 0}, 0);
        stick->setVelocity({2, 0, 0}, 0);
    });
    stick->setVelocity({3, 0, 0}, 0);
    QCoreApplication::processEvents();
    const QList<QByteArray> frames = controller.receive(3);
    QCOMPARE(frames.size(), 3);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(northOf(frames[i]), float(i + 1));
}

void TestMavVirtualStickThreads::velocities_ofAWorkerBesideHeartbeats_areNumberedInOrder()
{
    constexpr int count = 200;
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    const std::unique_ptr<QThread> worker(QThread::create([&] {
        for (int i = 0; i < count; ++i)
            rig.plugin->virtualStick()->setVelocity({double(i), 0, 0}, 0);
    }));
    worker->start();
    for (int i = 0; i < 50; ++i) {
        rig.plugin->fire(rig.plugin->heartbeatTimerId);
        QCoreApplication::processEvents();
    }
    worker->wait();
    QCoreApplication::processEvents();
    float next = 0;
    const QList<QByteArray> frames = controller.receive(count + 50);
    QCOMPARE(frames.size(), count + 50);
    for (int i = 0; i < frames.size(); ++i) {
        QCOMPARE(quint8(frames[i][SequenceAt]), quint8(i));
        if (frames[i][7] == '\x54')
            QCOMPARE(northOf(frames[i]), next++);
    }
    QCOMPARE(next, float(count));
}

void TestMavVirtualStickThreads::velocity_answeringTheStatus_leavesBehindThoseOfTheWorker()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    IVirtualStick *stick = rig.plugin->virtualStick();
    connect(stick, &IVirtualStick::statusChanged, this, [&] { stick->setVelocity({2, 0, 0}, 0); });
    runOnWorker([&] { stick->setVelocity({1, 0, 0}, 0); });
    rig.detectPx4();
    const QList<QByteArray> frames = controller.receive(2);
    QCOMPARE(frames.size(), 2);
    QCOMPARE(northOf(frames[0]), 1.0F);
    QCOMPARE(northOf(frames[1]), 2.0F);
}

// A set-point of before the stop is out of date on the next link.
void TestMavVirtualStickThreads::velocity_ofAWorker_afterStop_isLost()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    IVirtualStick *stick = rig.plugin->virtualStick();
    runOnWorker([&] { stick->setVelocity({1, 0, 0}, 0); });
    rig.plugin->stop();
    QVERIFY(rig.start(controller));
    QCoreApplication::processEvents();
    stick->setVelocity({2, 0, 0}, 0);
    const QList<QByteArray> frames = controller.receive(1);
    QCOMPARE(frames.size(), 1);
    QCOMPARE(northOf(frames[0]), 2.0F);
}

APP_TEST_MAIN(TestMavVirtualStickThreads)
#include "tst_mavvirtualstickthreads.moc"
