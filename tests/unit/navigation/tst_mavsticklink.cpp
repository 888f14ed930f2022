// SPDX-License-Identifier: MIT
#include "autopilot/support/goldenframes.h"
#include "navigation/stickrecorder.h"

#include <QtTest>

#include <cstring>
#include <utility>

namespace {

const QString Status = QStringLiteral("statusChanged");
const QString Attitude = QStringLiteral("attitudeChanged");
const QString Origin = QStringLiteral("originChanged");

// Arming of system 1 by system 10, component 5, as pymavlink 2.4.50 writes it.
constexpr const char *Arm =
    "FD1F0000000A054C00000000803F000000000000000000000000000000000000000000000000900101E7F0";
constexpr const char *Arm255 =
    "FD1F0000FF0A054C00000000803F0000000000000000000000000000000000000000000000009001016AFF";
constexpr const char *ArmMavlink1 =
    "FE21000A054C0000803F00000000000000000000000000000000000000000000000090010100009EA3";
constexpr const char *ArmSigned =
    "FD1F0100000A054C00000000803F000000000000000000000000000000000000000000000000900101DDFE010070CA15591AB2A1"
    "7FFA41FD";

QByteArray bytes(const char *hex)
{
    return QByteArray::fromHex(hex);
}

mavlink::common::msg::COMMAND_LONG arming()
{
    mavlink::common::msg::COMMAND_LONG command{};
    command.target_system = 1;
    command.command = 400;
    command.param1 = 1;
    return command;
}

mavlink::mavlink_signing_t signingKey()
{
    mavlink::mavlink_signing_t signing{};
    signing.link_id = 1;
    signing.timestamp = Golden::SigningTimestamp;
    memcpy(signing.secret_key, bytes(Golden::SigningKey).constData(), sizeof signing.secret_key);
    return signing;
}

} // namespace

/// The stick on a link of its own: its parser and its framer.
class TestMavStickLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { resetChannel(); }
    void received_isHandled_data();
    void received_isHandled();
    void received_inManyMessages_keepsTheOrder();
    void received_byteByByte_isHandled();
    void received_broken_isDroppedSilently_data();
    void received_broken_isDroppedSilently();
    void received_badlySigned_isDroppedSilently();
    void received_fromInsideASignal_isHandledToo();
    void framed_isThatOfAnotherEncoder();
    void framed_takesTheNumbersOfChannelZero();
    void framed_leavesTheMessageSignalAlone();
    void framed_isTrimmed_data();
    void framed_isTrimmed();
    void framed_asLongAsCanBe_isWhole();
    void framed_asMavlink1_isNotTrimmed();
    void framed_withSigning_isSigned();
    void linkOfItsOwn_flies();
};

void TestMavStickLink::received_isHandled_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("emitted");
    QTest::newRow("heartbeat") << bytes(Golden::Px4Heartbeat) << Status;
    QTest::newRow("heartbeat, MAVLink 1") << bytes(Golden::Px4HeartbeatMavlink1) << Status;
    QTest::newRow("attitude") << bytes(Golden::Attitude) << Attitude;
    QTest::newRow("attitude, MAVLink 1") << bytes(Golden::AttitudeMavlink1) << Attitude;
    QTest::newRow("attitude, signed") << bytes(Golden::AttitudeSigned) << Attitude;
    QTest::newRow("position") << bytes(Golden::GlobalPositionInt) << Origin;
    QTest::newRow("behind rubbish") << QByteArray("\x01\x02 text") + bytes(Golden::Attitude) << Attitude;
    QTest::newRow("ground station") << bytes(Golden::GroundHeartbeat) << QString();
    QTest::newRow("nothing") << QByteArray() << QString();
}

void TestMavStickLink::received_isHandled()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, emitted);
    StickRecorder of;
    of.stick.onDataReceived(frame);
    of.log.take();
    QCOMPARE(of.emitted.join(QLatin1Char(' ')), emitted);
}

void TestMavStickLink::received_inManyMessages_keepsTheOrder()
{
    StickRecorder of;
    of.stick.onDataReceived(bytes(Golden::Attitude) + bytes(Golden::Px4Heartbeat) +
                            bytes(Golden::SystemTime) + bytes(Golden::GlobalPositionInt) +
                            bytes(Golden::AttitudeMavlink1) + bytes(Golden::GlobalPositionInt));
    of.log.take();
    QCOMPARE(of.emitted,
             (QStringList{Attitude, Status, Origin, Attitude, QStringLiteral("localPositionChanged")}));
    QVERIFY(sameBits(of.attitudes[0].roll, 14.323944091796875F));
    QVERIFY(sameBits(of.attitudes[1].yaw, 85.94366455078125F));
    QCOMPARE(of.positions.first().vx, 3.0F);
}

void TestMavStickLink::received_byteByByte_isHandled()
{
    StickRecorder of;
    of.detect(12);
    const QByteArray frame = bytes(Golden::Attitude);
    for (int i = 0; i < frame.size(); ++i) {
        QCOMPARE(of.emitted, QStringList());
        of.stick.onDataReceived(frame.mid(i, 1));
    }
    QCOMPARE(of.emitted, QStringList{Attitude});
}

void TestMavStickLink::received_broken_isDroppedSilently_data()
{
    QTest::addColumn<int>("at");
    const int size = bytes(Golden::Attitude).size();
    for (const int at : {5, 9, 10, 20, size - 2, size - 1})
        QTest::addRow("byte %d", at) << at;
}

void TestMavStickLink::received_broken_isDroppedSilently()
{
    QFETCH(int, at);
    StickRecorder of;
    QByteArray frame = bytes(Golden::Attitude);
    frame[at] = char(frame[at] ^ 0x10);
    of.stick.onDataReceived(frame);
    QCOMPARE(of.emitted, QStringList());
    QCOMPARE(of.log.take(), QStringList());
    of.stick.onDataReceived(bytes(Golden::Attitude));
    QCOMPARE(of.emitted, QStringList{Attitude});
}

void TestMavStickLink::received_badlySigned_isDroppedSilently()
{
    StickRecorder of;
    mavlink::mavlink_signing_t signing = signingKey();
    mavlink::mavlink_signing_streams_t streams{};
    signing.timestamp -= 1000;
    channelStatus().signing = &signing;
    channelStatus().signing_streams = &streams;
    QByteArray bad = bytes(Golden::AttitudeSigned);
    bad[bad.size() - 1] = char(bad[bad.size() - 1] ^ 1);
    of.stick.onDataReceived(bad);
    QCOMPARE(of.emitted, QStringList());
    of.stick.onDataReceived(bytes(Golden::Attitude)); // not signed
    QCOMPARE(of.emitted, QStringList());
    of.stick.onDataReceived(bytes(Golden::AttitudeSigned));
    QCOMPARE(of.emitted, QStringList{Attitude});
    QCOMPARE(of.log.take(), QStringList());
}

void TestMavStickLink::received_fromInsideASignal_isHandledToo()
{
    StickRecorder of;
    bool nested = false;
    connect(&of.stick, &IVirtualStick::statusChanged, this, [&] {
        if (!std::exchange(nested, true))
            of.stick.onDataReceived(bytes(Golden::GlobalPositionInt));
    });
    of.stick.onDataReceived(bytes(Golden::Px4Heartbeat) + bytes(Golden::Attitude));
    of.log.take();
    QCOMPARE(of.emitted, (QStringList{Status, Origin, Attitude}));
    QVERIFY(sameBits(of.attitudes[0].roll, 14.323944091796875F));
}

void TestMavStickLink::framed_isThatOfAnotherEncoder()
{
    StickRecorder of;
    of.stick.onMessageSent(arming());
    QCOMPARE(of.written, QList<QByteArray>{bytes(Arm)});
}

void TestMavStickLink::framed_takesTheNumbersOfChannelZero()
{
    StickRecorder of;
    channelStatus().current_tx_seq = 255;
    of.stick.onMessageSent(arming());
    of.stick.onMessageSent(arming());
    QCOMPARE(of.written, (QList<QByteArray>{bytes(Arm255), bytes(Arm)}));
    QCOMPARE(channelStatus().current_tx_seq, quint8(1));
}

void TestMavStickLink::framed_leavesTheMessageSignalAlone()
{
    StickRecorder of;
    of.stick.onMessageSent(arming());
    QCOMPARE(of.emitted, QStringList{QStringLiteral("sendData")});
}

void TestMavStickLink::framed_isTrimmed_data()
{
    QTest::addColumn<float>("yaw");
    QTest::addColumn<quint32>("bootMs");
    QTest::addColumn<int>("payload");
    QTest::newRow("three fields of zero behind") << 1.0F << 5U << 16;
    QTest::newRow("zero from the second byte on") << 0.0F << 5U << 1;
    QTest::newRow("all zero") << 0.0F << 0U << 1;
}

void TestMavStickLink::framed_isTrimmed()
{
    QFETCH(float, yaw);
    QFETCH(quint32, bootMs);
    QFETCH(int, payload);
    StickRecorder of;
    of.stick.onMessageSent(attitudeOf(0, 0, yaw, bootMs));
    const QByteArray frame = of.written.value(0);
    QCOMPARE(frame.size(), 12 + payload);
    QCOMPARE(int(quint8(frame[1])), payload);
    QCOMPARE(frame, frameOf(attitudeOf(0, 0, yaw, bootMs), {10, 5}));
}

void TestMavStickLink::framed_asLongAsCanBe_isWhole()
{
    StickRecorder of;
    mavlink::common::msg::ENCAPSULATED_DATA message{};
    message.seqnr = 0x0102;
    message.data.fill(0xA5);
    mavlink::mavlink_signing_t signing = signingKey();
    signing.flags = MAVLINK_SIGNING_FLAG_SIGN_OUTGOING;
    channelStatus().signing = &signing;
    of.stick.onMessageSent(message);
    QCOMPARE(of.written.value(0).size(), MAVLINK_MAX_PACKET_LEN);
    QCOMPARE(of.written.value(0).mid(10, 255), bytes("0201") + QByteArray(253, '\xA5'));
}

void TestMavStickLink::framed_asMavlink1_isNotTrimmed()
{
    StickRecorder of;
    mavlink::mavlink_set_proto_version(mavlink::MAVLINK_COMM_0, 1);
    of.stick.onMessageSent(arming());
    QCOMPARE(of.written, QList<QByteArray>{bytes(ArmMavlink1)});
}

void TestMavStickLink::framed_withSigning_isSigned()
{
    StickRecorder of;
    mavlink::mavlink_signing_t signing = signingKey();
    channelStatus().signing = &signing;
    of.stick.onMessageSent(arming());
    channelStatus().current_tx_seq = 0;
    signing.flags = MAVLINK_SIGNING_FLAG_SIGN_OUTGOING;
    of.stick.onMessageSent(arming());
    QCOMPARE(of.written, (QList<QByteArray>{bytes(Arm), bytes(ArmSigned)}));
}

// Nothing in the library wires it so; a host with a link for the stick alone does.
void TestMavStickLink::linkOfItsOwn_flies()
{
    StickRecorder of;
    connect(&of.stick, &MavStickAdapter::sendMessage, &of.stick, &MavStickAdapter::onMessageSent);
    of.stick.onDataReceived(bytes(Golden::Px4Heartbeat));
    of.stick.arm();
    of.stick.subscribeToTelemetry();
    of.log.take();
    QCOMPARE(of.written.size(), 16);
    QCOMPARE(of.written.first(), bytes(Arm));
    for (int i = 0; i < of.written.size(); ++i)
        QCOMPARE(of.written[i].mid(4, 3), QByteArray(1, char(i)) + QByteArray("\x0A\x05"));
}

QTEST_GUILESS_MAIN(TestMavStickLink)
#include "tst_mavsticklink.moc"
