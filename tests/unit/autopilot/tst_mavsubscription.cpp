// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <cmath>

namespace {

QByteArrayList hexOf(const QList<QByteArray> &frames)
{
    QByteArrayList hex;
    for (const QByteArray &frame : frames)
        hex.append(frame.toHex().toUpper());
    return hex;
}

template <size_t Size>
QByteArrayList hexOf(const char *const (&golden)[Size])
{
    QByteArrayList hex;
    for (const char *frame : golden)
        hex.append(frame);
    return hex;
}

// param2 of a COMMAND_LONG frame.
float intervalOf(const QByteArray &frame)
{
    constexpr int PayloadOffset = 10;
    float interval = 0;
    memcpy(&interval, frame.constData() + PayloadOffset + 4, sizeof(interval));
    return interval;
}

} // namespace

class TestMavSubscription : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void timer_beforeDetection_sendsNothing();
    void timer_withAPx4_asksForFifteenIntervals();
    void timer_withAnArduPilot_asksForTwelveStreams();
    void timer_firedAgain_asksAgain();
    void px4Interval_followsTheRate_data();
    void px4Interval_followsTheRate();
    void px4_ofRateZero_asksForAnInfiniteInterval();
    void arduPilotRate_isCutToSixteenBits_data();
    void arduPilotRate_isCutToSixteenBits();
    void rate_readFromTheFile_isUsed();
    void request_goesToComponentOne_ofTheDetectedSystem();
    void subscribe_withoutAnAutopilot_logsTheUnknownType();
    void trySubscribeRequest_sendsThreeTimes();
};

void TestMavSubscription::initTestCase()
{
    spendFirstHeartbeat();
}

void TestMavSubscription::timer_beforeDetection_sendsNothing()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->feed(Golden::GroundHeartbeat);
    rig.plugin->fire(rig.plugin->subscribeTimerId);
    QCOMPARE(channelStatus().current_tx_seq, quint8(0));
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    QCOMPARE(hexOf(controller.receive(1)), QByteArrayList{Golden::OwnHeartbeat}); // the first thing that came
}

void TestMavSubscription::timer_withAPx4_asksForFifteenIntervals()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->feed(Golden::Px4Heartbeat);
    rig.log.take();
    rig.plugin->fire(rig.plugin->subscribeTimerId);
    QCOMPARE(hexOf(controller.receive(15)), hexOf(Golden::Px4Requests));
    QCOMPARE(channelStatus().current_tx_seq, quint8(15));
}

void TestMavSubscription::timer_withAnArduPilot_asksForTwelveStreams()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->feed(Golden::ArduPilotHeartbeat);
    rig.log.take();
    rig.plugin->fire(rig.plugin->subscribeTimerId);
    QCOMPARE(hexOf(controller.receive(12)), hexOf(Golden::ArduPilotRequests));
    QCOMPARE(channelStatus().current_tx_seq, quint8(12));
}

void TestMavSubscription::timer_firedAgain_asksAgain()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->feed(Golden::ArduPilotHeartbeat);
    rig.log.take();
    rig.plugin->fire(rig.plugin->subscribeTimerId);
    rig.plugin->fire(rig.plugin->subscribeTimerId);
    QCOMPARE(controller.receive(24).size(), 24);
    QCOMPARE(channelStatus().current_tx_seq, quint8(24));
}

void TestMavSubscription::px4Interval_followsTheRate_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<float>("intervalUs");
    QTest::newRow("1 Hz") << 1 << 1000000.0F;
    QTest::newRow("3 Hz") << 3 << 333333.34375F; // the nearest float
    QTest::newRow("50 Hz") << 50 << 20000.0F;
    QTest::newRow("negative") << -2 << -500000.0F;
}

void TestMavSubscription::px4Interval_followsTheRate()
{
    QFETCH(int, rate);
    QFETCH(float, intervalUs);
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    Q_EMIT runningApp()->MAV_TELEMETRY_RATE(rate);
    rig.plugin->subscribe();
    const QList<QByteArray> frames = controller.receive(15);
    QCOMPARE(frames.size(), 15);
    for (int i = 0; i < 15; ++i)
        QVERIFY2(intervalOf(frames[i]) == (i < 9 ? intervalUs : 1000000.0F), qPrintable(QString::number(i)));
}

void TestMavSubscription::px4_ofRateZero_asksForAnInfiniteInterval()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    Q_EMIT runningApp()->MAV_TELEMETRY_RATE(0);
    rig.plugin->subscribe();
    const QList<QByteArray> frames = controller.receive(15);
    QCOMPARE(frames.size(), 15);
    QCOMPARE(frames.first(), QByteArray::fromHex(Golden::Px4RequestInfinite));
    QVERIFY(std::isinf(intervalOf(frames[8])));
    QCOMPARE(intervalOf(frames[9]), 1000000.0F);
}

void TestMavSubscription::arduPilotRate_isCutToSixteenBits_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("0 Hz") << 0 << QByteArray::fromHex("0000");
    QTest::newRow("300 Hz") << 300 << QByteArray::fromHex("2C01");
    QTest::newRow("65546 Hz") << 65546 << QByteArray::fromHex("0A00");
}

void TestMavSubscription::arduPilotRate_isCutToSixteenBits()
{
    QFETCH(int, rate);
    QFETCH(QByteArray, bytes);
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->feed(Golden::ArduPilotHeartbeat);
    rig.log.take();
    Q_EMIT runningApp()->MAV_TELEMETRY_RATE(rate);
    rig.plugin->subscribe();
    QCOMPARE(controller.receive(12).constLast().mid(10, 2), bytes);
}

void TestMavSubscription::rate_readFromTheFile_isUsed()
{
    FakeFlightController controller;
    AutopilotRig rig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                      {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                      {"MAV/BAUD_RATE", controller.port()},
                      {"MAV/TELEMETRY_RATE", QStringLiteral("4")}});
    QVERIFY(rig.start(controller));
    rig.detectPx4();
    rig.plugin->subscribe();
    QCOMPARE(intervalOf(controller.receive(15).constFirst()), 250000.0F);
}

void TestMavSubscription::request_goesToComponentOne_ofTheDetectedSystem()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->dispatchReceivedData(frameOf(heartbeatOf(12), {17, 42}));
    rig.log.take();
    rig.plugin->subscribe();
    const QByteArray frame = controller.receive(15).constFirst();
    constexpr int TargetSystemOffset = 10 + 30;
    QCOMPARE(quint8(frame[TargetSystemOffset]), quint8(17));
    QCOMPARE(quint8(frame[TargetSystemOffset + 1]), quint8(1));
}

void TestMavSubscription::subscribe_withoutAnAutopilot_logsTheUnknownType()
{
    AutopilotRig rig;
    rig.plugin->subscribe();
    QCOMPARE(rig.log.take(), QStringList{QStringLiteral("[AP] CRIT: Unknown autopilot type detected :  0")});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtCriticalMsg});
    QCOMPARE(channelStatus().current_tx_seq, quint8(0));
}

void TestMavSubscription::trySubscribeRequest_sendsThreeTimes()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->trySubscribeRequest(heartbeatOf(8));
    QCOMPARE(controller.receive(3).size(), 3);
    QCOMPARE(channelStatus().current_tx_seq, quint8(3));
}

APP_TEST_MAIN(TestMavSubscription)
#include "tst_mavsubscription.moc"
