// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "autopilot/support/onboardstream.h"
#include "communication/mavcommunicator.h"
#include "communication/recordingcarrier.h"
#include "connection/iconnection.h"
#include "support/testmain.h"

#include <QSignalSpy>

#include <algorithm>
#include <cstring>

namespace {

constexpr int SequenceOffset = 4;

const QString V2Heard = QStringLiteral("[COMM] Dbg: Received V2 extension from  1");

MavCommunicator *carrierOf(AutopilotRig &rig)
{
    return rig.plugin->findChild<MavCommunicator *>();
}

QList<int> timerIntervals(AutopilotRig &rig)
{
    QList<int> intervals;
    for (const auto &timer : QAbstractEventDispatcher::instance()->registeredTimers(carrierOf(rig)))
        intervals.append(timer.interval);
    std::sort(intervals.begin(), intervals.end());
    return intervals;
}

CompletePayload urgent(int id)
{
    return payloadOf(254, 50, static_cast<quint16>(id));
}

CompletePayload queued(int id)
{
    return payloadOf(7, 50, static_cast<quint16>(id));
}

void feedPayload(AutopilotRig &rig, int type)
{
    rig.plugin->feed(v2ExtensionOf(onboardFrames(payloadOf(17, 10), type).at(0)));
}

} // namespace

/// The ground link inside the driver.
class TestMavGroundLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void communicator_isTheCarrierOfTheDriver();
    void sendingPeriod_isThatOfTheSetting();
    void sendingPeriod_changedWhileRunning_changesNothing();
    void received_reachesTheHost();
    void received_reachesTheCarrierBeforeTheTelemetry();
    void v2ExtensionOfOthers_afterDetection_stillReachesTheCarrier();
    void ping_isAnsweredWithOurIdsAndTheNextSequenceNumber();
    void payload_sharesTheSequenceNumbers();
    void start_runsTheTimersOfTheCarrier();
    void stop_dropsTheQueueAndTheTimers();
    void failedStart_leavesTheCarrierStopped();
    void sentAtOnce_withoutALink_goesToTheConnection();
    void queuedPayload_leavesOnARealTick();
    void answer_fromInsideReceivedData_isSent();
    void answer_fromInsideTextToGround_isSent();
    void answer_fromInsideDataReceived_isSent();
    void destruction_takesTheCarrierAlong();
    void destruction_withAHostThatAnswersTheLoss_isHarmless();
};

void TestMavGroundLink::initTestCase()
{
    spendFirstHeartbeat();
    AutopilotRig rig;
    rig.plugin->feed(v2ExtensionOf(onboardFrame(4, pingBody(0)))); // the first of the process logs more
    rig.log.take();
}

void TestMavGroundLink::communicator_isTheCarrierOfTheDriver()
{
    AutopilotRig rig;
    QVERIFY(rig.plugin->communicator());
    QCOMPARE(rig.plugin->communicator(), carrierOf(rig));
    QCOMPARE(rig.plugin->communicator()->parent(), rig.plugin.get());
    QCOMPARE(rig.plugin->findChildren<MavCommunicator *>().size(), 1);
    QVERIFY(timerIntervals(rig).isEmpty());
}

void TestMavGroundLink::sendingPeriod_isThatOfTheSetting()
{
    AutopilotRig rig({{"MAV/SENDING_PERIOD_MS", 33}});
    carrierOf(rig)->start();
    QCOMPARE(timerIntervals(rig), (QList<int>{33, 5000}));
}

void TestMavGroundLink::sendingPeriod_changedWhileRunning_changesNothing()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->MAV_SENDING_PERIOD_MS(500);
    QCOMPARE(timerIntervals(rig), (QList<int>{20, 5000}));
    rig.plugin->stop();
    QVERIFY(rig.start(controller));
    QCOMPARE(timerIntervals(rig), (QList<int>{20, 5000}));
}

void TestMavGroundLink::received_reachesTheHost()
{
    AutopilotRig rig;
    QList<QByteArray> received;
    connect(rig.plugin->communicator(), &ICommunicator::receivedData, this,
            [&](const CompletePayload &payload) { received.append(payload.data); });
    feedPayload(rig, 252);
    QCOMPARE(received, QList<QByteArray>{payloadOf(17, 10).data});
    QCOMPARE(rig.log.take(), QStringList{V2Heard});
}

// A message that turns into another while the carrier's host handles it: whoever comes later sees the other.
void TestMavGroundLink::received_reachesTheCarrierBeforeTheTelemetry()
{
    AutopilotRig rig;
    mavlink::mavlink_message_t message =
        receivedOf(v2ExtensionOf(onboardFrames(payloadOf(17, 10), 252).at(0)));
    connect(rig.plugin->communicator(), &ICommunicator::receivedData, this,
            [&] { message = receivedOf(heartbeatOf(12)); });
    Q_EMIT rig.plugin->messageReceived(message);
    QCOMPARE(rig.log.take(), (QStringList{V2Heard, QStringLiteral("[AP] Autopilot systemid detected  1"),
                                          QStringLiteral("[AP] PX4 Detected "),
                                          QStringLiteral("[MAV] Autopilot systemid detected  1"),
                                          QStringLiteral("[MAV] PX4 Detected ")}));
}

void TestMavGroundLink::v2ExtensionOfOthers_afterDetection_stillReachesTheCarrier()
{
    AutopilotRig rig;
    rig.detectPx4();
    QSignalSpy received(rig.plugin->communicator(), &ICommunicator::receivedData);
    rig.plugin->dispatchReceivedData(
        frameOf(v2ExtensionOf(onboardFrames(payloadOf(17, 10), 252).at(0)), {255, 190}));
    QCOMPARE(received.size(), 1);
    rig.log.take();
}

void TestMavGroundLink::ping_isAnsweredWithOurIdsAndTheNextSequenceNumber()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    rig.plugin->feed(v2ExtensionOf(onboardFrame(254, pingBody(77))));
    rig.log.take();
    const QByteArray pong = onboardFrame(4, pingBody(77, QByteArray("\x00\x02", 2)));
    mavlink::ardupilotmega::msg::DATA16 expected{};
    expected.type = 175;
    expected.len = 14;
    std::copy(pong.begin(), pong.end(), expected.data.begin());
    QCOMPARE(controller.receive(2),
             (QList<QByteArray>{QByteArray::fromHex(Golden::OwnHeartbeat), frameOf(expected, {2, 5}, 1)}));
}

void TestMavGroundLink::payload_sharesTheSequenceNumbers()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->MAV_V2_EXTENSION(true);
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    const CompletePayload payload = payloadOf(4, 300);
    rig.plugin->communicator()->sendData(payload);
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    const QList<QByteArray> frames = controller.receive(6);
    QCOMPARE(frames.size(), 6);
    for (int i = 0; i < frames.size(); ++i)
        QCOMPARE(int(quint8(frames[i][SequenceOffset])), i);
    QCOMPARE(onboardFramesIn(frames), onboardFrames(payload));
}

void TestMavGroundLink::start_runsTheTimersOfTheCarrier()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QCOMPARE(timerIntervals(rig), (QList<int>{20, 5000}));
    QVERIFY(rig.start(controller));
    QCOMPARE(timerIntervals(rig), (QList<int>{20, 5000}));
}

void TestMavGroundLink::stop_dropsTheQueueAndTheTimers()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->communicator()->sendData(queued(1));
    rig.plugin->stop();
    QVERIFY(timerIntervals(rig).isEmpty());
    QVERIFY(rig.start(controller));
    QCOMPARE(timerIntervals(rig), (QList<int>{20, 5000}));
    QSignalSpy sent(carrierOf(rig), &MavCommunicator::sendMavlinkMessage);
    rig.plugin->communicator()->sendData(queued(2));
    QTRY_COMPARE(sent.size(), 1);
    QCOMPARE(onboardFramesIn(controller.receive(1)), onboardFrames(queued(2)));
}

void TestMavGroundLink::failedStart_leavesTheCarrierStopped()
{
    FakeFlightController controller;
    AutopilotRig rig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                      {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                      {"MAV/BAUD_RATE", 0}});
    QVERIFY(!rig.plugin->start());
    rig.log.take();
    QVERIFY(timerIntervals(rig).isEmpty());
    rig.plugin->communicator()->sendData(queued(1));

    Q_EMIT runningApp()->MAV_BAUD_RATE(controller.port());
    QSignalSpy sent(carrierOf(rig), &MavCommunicator::sendMavlinkMessage);
    QVERIFY(rig.start(controller));
    QTRY_COMPARE(sent.size(), 1);
    QCOMPARE(onboardFramesIn(controller.receive(1)), onboardFrames(queued(1)));
}

void TestMavGroundLink::sentAtOnce_withoutALink_goesToTheConnection()
{
    AutopilotRig rig;
    rig.plugin->communicator()->sendData(urgent(1));
    rig.plugin->communicator()->sendPong(1);
    QCOMPARE(int(channelStatus().current_tx_seq), 2);
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavGroundLink::queuedPayload_leavesOnARealTick()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QSignalSpy sent(carrierOf(rig), &MavCommunicator::sendMavlinkMessage);
    for (int id = 1; id <= 3; ++id)
        rig.plugin->communicator()->sendData(queued(id));
    QCOMPARE(sent.size(), 0);
    QTRY_COMPARE(sent.size(), 3);
    QCOMPARE(onboardFramesIn(controller.receive(3)),
             onboardFrames(queued(1)) + onboardFrames(queued(2)) + onboardFrames(queued(3)));
}

void TestMavGroundLink::answer_fromInsideReceivedData_isSent()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    connect(rig.plugin->communicator(), &ICommunicator::receivedData, this,
            [&] { rig.plugin->communicator()->sendData(urgent(5)); });
    feedPayload(rig, 252);
    rig.log.take();
    QCOMPARE(onboardFramesIn(controller.receive(1)), onboardFrames(urgent(5)));
}

void TestMavGroundLink::answer_fromInsideTextToGround_isSent()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    int texts = 0;
    connect(runningApp(), &App::textToGround, carrierOf(rig),
            [&] { rig.plugin->communicator()->sendData(urgent(++texts)); });
    rig.plugin->feed(Golden::Px4HeartbeatArmed);
    rig.log.take();
    QCOMPARE(texts, 1);
    QCOMPARE(onboardFramesIn(controller.receive(1)), onboardFrames(urgent(1)));
}

void TestMavGroundLink::answer_fromInsideDataReceived_isSent()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    CompletePayload expected;
    connect(rig.plugin.get(), &IAutopilotPlugin::dataReceived, this,
            [&](MessageId messageId, PayloadId payloadId, const QByteArray &data, const QVariant &) {
                expected = {9, messageId, payloadId, data};
                rig.plugin->communicator()->sendData(expected);
            });
    rig.plugin->fire(rig.plugin->statusTimerId);
    rig.log.take();
    QVERIFY(!expected.data.isEmpty());
    QCOMPARE(onboardFramesIn(controller.receive(1)), onboardFrames(expected));
}

void TestMavGroundLink::destruction_takesTheCarrierAlong()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    const QPointer<ICommunicator> communicator = rig.plugin->communicator();
    communicator->sendData(queued(1));
    rig.plugin.reset();
    QVERIFY(!communicator);
}

void TestMavGroundLink::destruction_withAHostThatAnswersTheLoss_isHarmless()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    ICommunicator *communicator = rig.plugin->communicator();
    int lost = 0;
    connect(rig.plugin->link(), &IConnection::disconnected, this, [&] {
        ++lost;
        communicator->sendData(urgent(1));
        communicator->sendData(queued(1));
    });
    rig.plugin.reset();
    QCOMPARE(lost, 1);
    QCOMPARE(rig.log.take(), QStringList());
}

APP_TEST_MAIN(TestMavGroundLink)
#include "tst_mavgroundlink.moc"
