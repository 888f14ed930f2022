// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "autopilot/support/onboardstream.h"
#include "communication/recordingcarrier.h"
#include "navigation/mavstickadapter.h"
#include "support/testmain.h"

#include <QPointer>
#include <QSignalSpy>

namespace {

constexpr quint8 Px4 = 12;
constexpr quint8 ArduPilot = 3;

MavStickAdapter *adapterOf(AutopilotRig &rig)
{
    return rig.plugin->findChild<MavStickAdapter *>();
}

mavlink::common::msg::COMMAND_LONG armingOf(quint8 system)
{
    mavlink::common::msg::COMMAND_LONG command{};
    command.target_system = system;
    command.command = 400;
    command.param1 = 1;
    return command;
}

mavlink::common::msg::SET_MODE guidedModeOf(quint8 system)
{
    mavlink::common::msg::SET_MODE mode{};
    mode.target_system = system;
    mode.base_mode = 1;
    mode.custom_mode = 4;
    return mode;
}

/// The message ids of MAVLink 2 frames.
QList<int> idsOf(const QList<QByteArray> &frames)
{
    constexpr int idAt = 7;
    QList<int> ids;
    for (const QByteArray &frame : frames)
        ids.append(quint8(frame[idAt]) | quint8(frame[idAt + 1]) << 8);
    return ids;
}

QList<int> sequenceOf(const QList<QByteArray> &frames)
{
    QList<int> numbers;
    for (const QByteArray &frame : frames)
        numbers.append(quint8(frame[4]));
    return numbers;
}

} // namespace

/// The virtual stick inside the driver.
class TestMavVirtualStick : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void virtualStick_isTheAdapterOfTheDriver();
    void received_isHeardByCarrierDriverAndStick_inThisOrder();
    void command_hasTheDriversIdsAndTheNextNumber();
    void command_betweenHeartbeatsAndPayloads_isNumberedWithThem();
    void command_followsTheIdsOfTheSettings();
    void command_beforeDetection_goesToEverybody();
    void command_beforeStart_isLostAndCounted();
    void command_afterStop_isLostAndCounted();
    void command_afterTheNextStart_leavesAgain();
    void commands_fromInsideASignal_areSent_data();
    void commands_fromInsideASignal_areSent();
    void firstHeartbeat_ofTheDrivers_handsOverAndLatches_data();
    void firstHeartbeat_ofTheDrivers_handsOverAndLatches();
    void subscription_ofTheStick_hasItsOwnRate();
    void target_isKnown_whenTheDriverSaysSo();
    void secondAutopilot_isNotHeard();
    void componentsOfTheTarget_areHeardByTheStickAlone();
    void systemZero_thenAnother_isKnownByBothTheSame();
    void restart_keepsOriginAndTarget();
    void ownFramerOfTheStick_isNotConnected();
    void stop_fromInsideASignal_endsTheLinkAndNothingElse();
    void destruction_takesTheStickAlong();
};

void TestMavVirtualStick::initTestCase()
{
    spendFirstHeartbeat();
    AutopilotRig rig;
    rig.plugin->feed(v2ExtensionOf(onboardFrame(4, pingBody(0)))); // the first of the process logs more
    rig.log.take();
}

void TestMavVirtualStick::virtualStick_isTheAdapterOfTheDriver()
{
    AutopilotRig rig;
    QVERIFY(rig.plugin->virtualStick());
    QCOMPARE(rig.plugin->virtualStick(), adapterOf(rig));
    QCOMPARE(rig.plugin->virtualStick()->parent(), rig.plugin.get());
    QCOMPARE(rig.plugin->findChildren<MavStickAdapter *>().size(), 1);
    QCOMPARE(rig.plugin->virtualStick()->thread(), rig.plugin->thread());
}

// One message becomes another while a receiver handles it; who comes later sees what it has become.
void TestMavVirtualStick::received_isHeardByCarrierDriverAndStick_inThisOrder()
{
    AutopilotRig rig;
    rig.log.ignoreDebug();
    mavlink::mavlink_message_t message =
        receivedOf(v2ExtensionOf(onboardFrames(payloadOf(17, 10), 252).at(0)));
    connect(rig.plugin->communicator(), &ICommunicator::receivedData, this, [&] {
        qInfo("carrier");
        message = receivedOf(heartbeatOf(Px4, 0x80));
    });
    connect(runningApp(), &App::daqEnabled, rig.plugin.get(),
            [&] { message = receivedOf(mavlink::common::msg::ATTITUDE{}); });
    connect(rig.plugin->virtualStick(), &IVirtualStick::statusChanged, this, [] { qInfo("status"); });
    connect(rig.plugin->virtualStick(), &IVirtualStick::attitudeChanged, this, [] { qInfo("attitude"); });
    Q_EMIT rig.plugin->messageReceived(message);
    const QStringList lines = rig.log.take();
    QCOMPARE(lines.first(), QStringLiteral("carrier"));
    QCOMPARE(lines.value(1), QStringLiteral("[AP] Autopilot systemid detected  1"));
    QCOMPARE(lines.last(), QStringLiteral("attitude"));
    QVERIFY(!lines.contains(QStringLiteral("status")));
}

void TestMavVirtualStick::command_hasTheDriversIdsAndTheNextNumber()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    QVERIFY(rig.plugin->virtualStick()->arm());
    QCOMPARE(controller.receive(2),
             (QList<QByteArray>{QByteArray::fromHex(Golden::OwnHeartbeat), frameOf(armingOf(1), {2, 5}, 1)}));
}

void TestMavVirtualStick::command_betweenHeartbeatsAndPayloads_isNumberedWithThem()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->MAV_V2_EXTENSION(true);
    rig.detectPx4();
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    rig.plugin->virtualStick()->setVelocity({1, 2, 3}, 4);
    rig.plugin->communicator()->sendData(payloadOf(254, 50));
    rig.plugin->virtualStick()->obtainControl();
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    rig.log.take();
    const QList<QByteArray> frames = controller.receive(5);
    QCOMPARE(idsOf(frames), (QList<int>{0, 84, 248, 11, 0}));
    QCOMPARE(sequenceOf(frames), (QList<int>{0, 1, 2, 3, 4}));
    for (const QByteArray &frame : frames)
        QCOMPARE(frame.mid(5, 2), QByteArray("\x02\x05"));
}

void TestMavVirtualStick::command_followsTheIdsOfTheSettings()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->MAV_SYSTEM_ID(33);
    Q_EMIT runningApp()->MAV_COMPONENT_ID(44);
    rig.plugin->virtualStick()->arm();
    QCOMPARE(controller.receive(1), QList<QByteArray>{frameOf(armingOf(0), {33, 44})});
}

void TestMavVirtualStick::command_beforeDetection_goesToEverybody()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->feed(Golden::GroundHeartbeat);
    rig.plugin->virtualStick()->arm();
    rig.plugin->virtualStick()->obtainControl();
    QCOMPARE(controller.receive(2),
             (QList<QByteArray>{frameOf(armingOf(0), {2, 5}, 0), frameOf(guidedModeOf(0), {2, 5}, 1)}));
    QVERIFY(rig.plugin->virtualStick()->subscribeToTelemetry());
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[MAV] CRIT: Unknown autopilot type detected :  0")});
    QCOMPARE(int(channelStatus().current_tx_seq), 2);
}

void TestMavVirtualStick::command_beforeStart_isLostAndCounted()
{
    AutopilotRig rig;
    QVERIFY(rig.plugin->virtualStick()->arm());
    rig.plugin->virtualStick()->setVelocity({1, 2, 3}, 4);
    QCOMPARE(int(channelStatus().current_tx_seq), 2);
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavVirtualStick::command_afterStop_isLostAndCounted()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->stop();
    QVERIFY(controller.waitForClosed());
    QVERIFY(rig.plugin->virtualStick()->takeOff());
    QVERIFY(rig.plugin->virtualStick()->subscribeToTelemetry());
    QCOMPARE(int(channelStatus().current_tx_seq), 16);
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavVirtualStick::command_afterTheNextStart_leavesAgain()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->stop();
    rig.plugin->virtualStick()->takeOff();
    QVERIFY(rig.start(controller));
    rig.plugin->virtualStick()->arm();
    QCOMPARE(controller.receive(1), QList<QByteArray>{frameOf(armingOf(1), {2, 5}, 1)});
}

void TestMavVirtualStick::commands_fromInsideASignal_areSent_data()
{
    QTest::addColumn<QByteArray>("signalName");
    QTest::addColumn<QByteArray>("input");
    const QByteArray position = QByteArray::fromHex(Golden::GlobalPositionInt);
    QTest::newRow("statusChanged") << QByteArray(SIGNAL(statusChanged(Navigate::VehicleStatus)))
                                   << QByteArray::fromHex(Golden::Px4Heartbeat);
    QTest::newRow("attitudeChanged") << QByteArray(SIGNAL(attitudeChanged(Navigate::Attitude)))
                                     << QByteArray::fromHex(Golden::Attitude);
    QTest::newRow("originChanged") << QByteArray(SIGNAL(originChanged(double, double, double))) << position;
    QTest::newRow("localPositionChanged")
        << QByteArray(SIGNAL(localPositionChanged(Navigate::VehicleLocalPosition))) << position + position;
}

/// Commands whenever it is told to.
class Pilot : public QObject
{
    Q_OBJECT

public:
    explicit Pilot(IVirtualStick *flown)
        : stick(flown)
    {}

public Q_SLOTS:
    void fly()
    {
        stick->obtainControl();
        stick->arm();
    }

private:
    IVirtualStick *stick;
};

void TestMavVirtualStick::commands_fromInsideASignal_areSent()
{
    QFETCH(QByteArray, signalName);
    QFETCH(QByteArray, input);
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    Pilot pilot(rig.plugin->virtualStick());
    QVERIFY(connect(rig.plugin->virtualStick(), signalName.constData(), &pilot, SLOT(fly())));
    rig.plugin->dispatchReceivedData(input + QByteArray::fromHex(Golden::DistanceSensor));
    QCOMPARE(rig.log.take().filter(QStringLiteral("rawAltimeterValue")).size(), 1); // what follows is heard
    QCOMPARE(controller.receive(2),
             (QList<QByteArray>{frameOf(guidedModeOf(1), {2, 5}, 0), frameOf(armingOf(1), {2, 5}, 1)}));
}

void TestMavVirtualStick::firstHeartbeat_ofTheDrivers_handsOverAndLatches_data()
{
    QTest::addColumn<quint8>("autopilot");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("count");
    QTest::newRow("PX4") << Px4 << QStringLiteral("PX4 Detected ") << 76 << 15;
    QTest::newRow("ArduPilot") << ArduPilot << QStringLiteral("ArduPilot Detected") << 66 << 12;
}

void TestMavVirtualStick::firstHeartbeat_ofTheDrivers_handsOverAndLatches()
{
    QFETCH(quint8, autopilot);
    QFETCH(QString, kind);
    QFETCH(int, id);
    QFETCH(int, count);
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(autopilot), {17, 42}));
    QCOMPARE(rig.log.take(), (QStringList{QStringLiteral("[AP] Autopilot systemid detected  17"),
                                          QStringLiteral("[AP] ") + kind,
                                          QStringLiteral("[MAV] Autopilot systemid detected  17"),
                                          QStringLiteral("[MAV] ") + kind}));
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(autopilot), {17, 42}));
    QCOMPARE(rig.log.take(), QStringList());
    QVERIFY(rig.plugin->virtualStick()->subscribeToTelemetry());
    rig.plugin->virtualStick()->arm();
    rig.log.take();
    const QList<QByteArray> frames = controller.receive(count + 1);
    QCOMPARE(frames.size(), count + 1);
    QCOMPARE(idsOf(frames).count(id), autopilot == Px4 ? count + 1 : count);
    QCOMPARE(frames.last(), frameOf(armingOf(17), {2, 5}, quint8(count)));
}

void TestMavVirtualStick::subscription_ofTheStick_hasItsOwnRate()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->MAV_TELEMETRY_RATE(25);
    rig.detectPx4();
    rig.plugin->virtualStick()->subscribeToTelemetry();
    QCOMPARE(controller.receive(15).first().mid(14, 4), QByteArray::fromHex("0024F448")); // 500 ms
}

// A host that commands as soon as the driver tells of the autopilot: the stick knows whom to command.
void TestMavVirtualStick::target_isKnown_whenTheDriverSaysSo()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    connect(runningApp(), &App::daqEnabled, rig.plugin.get(),
            [&] { rig.plugin->virtualStick()->obtainControl(); });
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    rig.log.take();
    QCOMPARE(controller.receive(1), QList<QByteArray>{frameOf(guidedModeOf(1), {2, 5})});
}

void TestMavVirtualStick::secondAutopilot_isNotHeard()
{
    AutopilotRig rig;
    rig.detectPx4();
    const QSignalSpy status(rig.plugin->virtualStick(), &IVirtualStick::statusChanged);
    const QSignalSpy origin(rig.plugin->virtualStick(), &IVirtualStick::originChanged);
    for (const Sender &other : {Sender{2, 1}, Sender{255, 1}, Sender{3, 3}}) {
        rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(ArduPilot, 0x80), other));
        rig.plugin->dispatchReceivedData(frameOf(mavlink::standard::msg::GLOBAL_POSITION_INT{}, other));
    }
    QCOMPARE(status.size() + origin.size(), 0);
    QCOMPARE(rig.log.take(), QStringList());
    rig.plugin->feed(Golden::Px4Heartbeat);
    QCOMPARE(status.size(), 1);
}

// The driver listens to one component of the system only.
void TestMavVirtualStick::componentsOfTheTarget_areHeardByTheStickAlone()
{
    AutopilotRig rig;
    rig.detectPx4();
    const QSignalSpy status(rig.plugin->virtualStick(), &IVirtualStick::statusChanged);
    const QSignalSpy origin(rig.plugin->virtualStick(), &IVirtualStick::originChanged);
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(Px4, 0x80), {1, 42}));
    rig.plugin->dispatchReceivedData(frameOf(mavlink::standard::msg::GLOBAL_POSITION_INT{}, {1, 42}));
    QCOMPARE(status.size(), 1);
    QVERIFY(status.first().first().value<Navigate::VehicleStatus>().armed);
    QCOMPARE(origin.size(), 1);
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[MAV] \"Origin was set to (0, 0, 0)\"")});
}

// System 0 is "none known": neither keeps it.
void TestMavVirtualStick::systemZero_thenAnother_isKnownByBothTheSame()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(Px4), {0, 1}));
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(ArduPilot), {1, 1}));
    rig.log.take();
    rig.plugin->virtualStick()->subscribeToTelemetry();
    rig.plugin->virtualStick()->arm();
    rig.log.take();
    const QList<QByteArray> frames = controller.receive(13);
    QCOMPARE(idsOf(frames).count(66), 12);
    QCOMPARE(frames.last(), frameOf(armingOf(1), {2, 5}, 12));
}

void TestMavVirtualStick::restart_keepsOriginAndTarget()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->feed(Golden::GlobalPositionInt);
    rig.plugin->stop();
    rig.log.take();
    QVERIFY(rig.start(controller));
    const QSignalSpy status(rig.plugin->virtualStick(), &IVirtualStick::statusChanged);
    const QSignalSpy origin(rig.plugin->virtualStick(), &IVirtualStick::originChanged);
    const QSignalSpy local(rig.plugin->virtualStick(), &IVirtualStick::localPositionChanged);
    rig.plugin->feed(Golden::Px4Heartbeat);
    rig.plugin->feed(Golden::GlobalPositionInt);
    rig.log.take();
    QVERIFY(status.value(0).value(0).value<Navigate::VehicleStatus>().originSet);
    QCOMPARE(origin.size(), 0);
    QCOMPARE(local.size(), 1);
    rig.plugin->virtualStick()->arm();
    QCOMPARE(controller.receive(1), QList<QByteArray>{frameOf(armingOf(1), {2, 5})});
}

void TestMavVirtualStick::ownFramerOfTheStick_isNotConnected()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QSignalSpy written(adapterOf(rig), &MavStickAdapter::sendData);
    // By the link: bytes that both parsers got would be no frame to either.
    QSignalSpy status(rig.plugin->virtualStick(), &IVirtualStick::statusChanged);
    controller.send(QByteArray::fromHex(Golden::Px4Heartbeat));
    QTRY_COMPARE(status.size(), 1);
    rig.log.take();
    rig.plugin->virtualStick()->arm();
    QCOMPARE(written.size(), 0);
    QCOMPARE(controller.receive(1).size(), 1);
}

void TestMavVirtualStick::stop_fromInsideASignal_endsTheLinkAndNothingElse()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    IVirtualStick *stick = rig.plugin->virtualStick();
    connect(stick, &IVirtualStick::statusChanged, rig.plugin.get(), &MavAutopilot::stop);
    QSignalSpy attitude(stick, &IVirtualStick::attitudeChanged);
    // What came in with the same read is still told of.
    rig.plugin->dispatchReceivedData(QByteArray::fromHex(Golden::Px4Heartbeat) +
                                     QByteArray::fromHex(Golden::Attitude));
    QVERIFY(!rig.plugin->isStarted());
    QCOMPARE(attitude.size(), 1);
    rig.log.take();
    stick->setVelocity({1, 0, 0}, 0); // goes nowhere
    QCOMPARE(rig.log.take(), QStringList());
    disconnect(stick, &IVirtualStick::statusChanged, rig.plugin.get(), &MavAutopilot::stop);
    QVERIFY(rig.start(controller));
    stick->arm();
    QCOMPARE(controller.receive(1).size(), 1);
}

void TestMavVirtualStick::destruction_takesTheStickAlong()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    const QPointer<IVirtualStick> stick = rig.plugin->virtualStick();
    rig.plugin.reset();
    QVERIFY(!stick);
    QCOMPARE(rig.log.take(), QStringList());
}

APP_TEST_MAIN(TestMavVirtualStick)
#include "tst_mavvirtualstick.moc"
