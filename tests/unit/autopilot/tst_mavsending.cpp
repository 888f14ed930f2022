// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

namespace {

constexpr int SystemOffset = 5;
constexpr int ComponentOffset = 6;

mavlink::minimal::msg::HEARTBEAT ownHeartbeat()
{
    mavlink::minimal::msg::HEARTBEAT heartbeat = heartbeatOf(8);
    heartbeat.type = 18;
    heartbeat.system_status = 4;
    return heartbeat;
}

} // namespace

class TestMavSending : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void heartbeatTimer_sendsTheGoldenHeartbeat();
    void sequenceNumbers_areConsecutiveAndWrap();
    void ids_areThoseOfTheSettings();
    void ids_changedWhileRunning_areUsedFromTheNextMessage();
    void ids_areCutToEightBits();
    void trailingZeros_areTrimmed_data();
    void trailingZeros_areTrimmed();
    void longestMessage_isSentWhole();
    void channelSetToMavlink1_sendsMavlink1();
    void channelSetToSign_signs();
    void withoutALink_countsOnly();
    void afterThePeerIsGone_failsQuietly();

private:
    static QByteArray sendOne(AutopilotRig &rig, FakeFlightController &controller,
                              const mavlink::Message &message);
};

void TestMavSending::initTestCase()
{
    spendFirstHeartbeat();
}

QByteArray TestMavSending::sendOne(AutopilotRig &rig, FakeFlightController &controller,
                                   const mavlink::Message &message)
{
    rig.plugin->sendMessage(message);
    return controller.receive(1).value(0);
}

void TestMavSending::heartbeatTimer_sendsTheGoldenHeartbeat()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    QCOMPARE(controller.receive(1), QList<QByteArray>{QByteArray::fromHex(Golden::OwnHeartbeat)});
}

void TestMavSending::sequenceNumbers_areConsecutiveAndWrap()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    channelStatus().current_tx_seq = 254;
    for (int i = 0; i < 3; ++i)
        rig.plugin->sendMessage(ownHeartbeat());
    const QList<QByteArray> frames = controller.receive(3);
    QCOMPARE(frames.size(), 3);
    QCOMPARE(frames[0], frameOf(ownHeartbeat(), {2, 5}, 254));
    QCOMPARE(frames[1], QByteArray::fromHex(Golden::OwnHeartbeat255));
    QCOMPARE(frames[2], QByteArray::fromHex(Golden::OwnHeartbeat));
}

void TestMavSending::ids_areThoseOfTheSettings()
{
    FakeFlightController controller;
    AutopilotRig rig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                      {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                      {"MAV/BAUD_RATE", controller.port()},
                      {"MAV/SYSTEM_ID", QStringLiteral("21")},
                      {"MAV/COMPONENT_ID", QStringLiteral("191")}});
    QVERIFY(rig.start(controller));
    QCOMPARE(sendOne(rig, controller, ownHeartbeat()), frameOf(ownHeartbeat(), {21, 191}, 0));
}

void TestMavSending::ids_changedWhileRunning_areUsedFromTheNextMessage()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QCOMPARE(sendOne(rig, controller, ownHeartbeat()), frameOf(ownHeartbeat(), {2, 5}, 0));
    Q_EMIT runningApp()->MAV_SYSTEM_ID(33);
    QCOMPARE(sendOne(rig, controller, ownHeartbeat()), frameOf(ownHeartbeat(), {33, 5}, 1));
    Q_EMIT runningApp()->MAV_COMPONENT_ID(44);
    QCOMPARE(sendOne(rig, controller, ownHeartbeat()), frameOf(ownHeartbeat(), {33, 44}, 2));
}

void TestMavSending::ids_areCutToEightBits()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    Q_EMIT runningApp()->MAV_SYSTEM_ID(0x1234);
    Q_EMIT runningApp()->MAV_COMPONENT_ID(0xFF01);
    const QByteArray frame = sendOne(rig, controller, ownHeartbeat());
    QCOMPARE(quint8(frame[SystemOffset]), quint8(0x34));
    QCOMPARE(quint8(frame[ComponentOffset]), quint8(0x01));
}

void TestMavSending::trailingZeros_areTrimmed_data()
{
    QTest::addColumn<float>("pitchspeed");
    QTest::addColumn<quint32>("bootMs");
    QTest::addColumn<int>("payload");
    QTest::newRow("two fields of zero behind") << 1.0F << 5U << 24;
    QTest::newRow("zero from the second byte on") << 0.0F << 5U << 1;
    QTest::newRow("zero from the third byte on") << 0.0F << 0x500U << 2;
    QTest::newRow("all zero") << 0.0F << 0U << 1;
}

void TestMavSending::trailingZeros_areTrimmed()
{
    QFETCH(float, pitchspeed);
    QFETCH(quint32, bootMs);
    QFETCH(int, payload);
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    mavlink::common::msg::ATTITUDE attitude{};
    attitude.time_boot_ms = bootMs;
    attitude.pitchspeed = pitchspeed;
    const QByteArray frame = sendOne(rig, controller, attitude);
    QCOMPARE(int(quint8(frame[1])), payload);
    QCOMPARE(frame.size(), 12 + payload);
}

void TestMavSending::longestMessage_isSentWhole()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    mavlink::common::msg::ENCAPSULATED_DATA message{};
    message.seqnr = 0x0102;
    message.data.fill(0xA5);
    const QByteArray frame = sendOne(rig, controller, message);
    QCOMPARE(frame.size(), 12 + 255);
    QCOMPARE(frame.mid(10, 255), QByteArray::fromHex("0201") + QByteArray(253, '\xA5'));
}

void TestMavSending::channelSetToMavlink1_sendsMavlink1()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    mavlink::mavlink_set_proto_version(mavlink::MAVLINK_COMM_0, 1);
    const QByteArray frame = sendOne(rig, controller, ownHeartbeat());
    resetChannel();
    QCOMPARE(frame, QByteArray::fromHex(Golden::OwnHeartbeatMavlink1));
}

void TestMavSending::channelSetToSign_signs()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    mavlink::mavlink_signing_t signing{};
    signing.link_id = 1;
    signing.timestamp = Golden::SigningTimestamp;
    memcpy(signing.secret_key, QByteArray::fromHex(Golden::SigningKey).constData(),
           sizeof(signing.secret_key));
    channelStatus().signing = &signing;
    const QByteArray unsignedFrame = sendOne(rig, controller, ownHeartbeat());
    channelStatus().current_tx_seq = 0;
    signing.flags = MAVLINK_SIGNING_FLAG_SIGN_OUTGOING;
    const QByteArray signedFrame = sendOne(rig, controller, ownHeartbeat());
    resetChannel();
    QCOMPARE(unsignedFrame, QByteArray::fromHex(Golden::OwnHeartbeat));
    QCOMPARE(signedFrame, QByteArray::fromHex(Golden::OwnHeartbeatSigned));
}

void TestMavSending::withoutALink_countsOnly()
{
    AutopilotRig rig;
    rig.plugin->sendMessage(ownHeartbeat());
    QCOMPARE(channelStatus().current_tx_seq, quint8(1));
    QCOMPARE(rig.log.take(), QStringList());
}

void TestMavSending::afterThePeerIsGone_failsQuietly()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    controller.hangUp();
    rig.plugin->sendMessage(ownHeartbeat());
    rig.plugin->sendMessage(ownHeartbeat());
    QCOMPARE(channelStatus().current_tx_seq, quint8(2));
    QVERIFY(rig.plugin->isStarted());
    QCOMPARE(rig.log.take(), QStringList());
}

APP_TEST_MAIN(TestMavSending)
#include "tst_mavsending.moc"
