// SPDX-License-Identifier: MIT
#include "mavlink/framing.h"

#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "mavlink/messagecopy.h"

#include <QtTest>

#include <cstring>

namespace {

constexpr char Untouched = '\x5A';

/// The frame; empty if more than it says was written.
QByteArray pack(const mavlink::Message &message, Sender sender = {2, 5})
{
    QByteArray room(MAVLINK_MAX_PACKET_LEN + 20, Untouched);
    const int length =
        mavlink::packFrame(message, sender.system, sender.component, reinterpret_cast<quint8 *>(room.data()));
    const QByteArray behind = room.mid(MAVLINK_MAX_PACKET_LEN);
    return behind == QByteArray(20, Untouched) ? room.left(length) : QByteArray();
}

mavlink::minimal::msg::HEARTBEAT ownHeartbeat()
{
    mavlink::minimal::msg::HEARTBEAT heartbeat = heartbeatOf(8);
    heartbeat.type = 18;
    heartbeat.system_status = 4;
    return heartbeat;
}

mavlink::common::msg::ENCAPSULATED_DATA longest()
{
    mavlink::common::msg::ENCAPSULATED_DATA message{};
    message.seqnr = 0x0102;
    message.data.fill(0xA5);
    return message;
}

mavlink::mavlink_signing_t signingKey()
{
    mavlink::mavlink_signing_t signing{};
    signing.link_id = 1;
    signing.timestamp = Golden::SigningTimestamp;
    memcpy(signing.secret_key, QByteArray::fromHex(Golden::SigningKey).constData(),
           sizeof signing.secret_key);
    return signing;
}

} // namespace

class TestFraming : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { resetChannel(); }
    void cleanup() { resetChannel(); }
    void frame_isThatOfAnotherEncoder();
    void frames_areNumberedByChannelZero();
    void ids_areThoseGiven_data();
    void ids_areThoseGiven();
    void zerosAtTheEnd_areCutOff_data();
    void zerosAtTheEnd_areCutOff();
    void longest_fillsTheRoom();
    void channelSetToMavlink1_writesMavlink1();
    void channelSetToSign_signs();
    void copyOfAMessage_givesTheSameFrame();
    void otherChannels_areLeftAlone();
};

void TestFraming::frame_isThatOfAnotherEncoder()
{
    QCOMPARE(pack(ownHeartbeat()), QByteArray::fromHex(Golden::OwnHeartbeat));
}

void TestFraming::frames_areNumberedByChannelZero()
{
    channelStatus().current_tx_seq = 255;
    QCOMPARE(pack(ownHeartbeat()), QByteArray::fromHex(Golden::OwnHeartbeat255));
    QCOMPARE(pack(ownHeartbeat()), QByteArray::fromHex(Golden::OwnHeartbeat));
    QCOMPARE(channelStatus().current_tx_seq, quint8(1));
}

void TestFraming::ids_areThoseGiven_data()
{
    QTest::addColumn<quint8>("system");
    QTest::addColumn<quint8>("component");
    QTest::newRow("stick") << quint8(10) << quint8(5);
    QTest::newRow("least") << quint8(0) << quint8(0);
    QTest::newRow("most") << quint8(255) << quint8(255);
}

void TestFraming::ids_areThoseGiven()
{
    QFETCH(quint8, system);
    QFETCH(quint8, component);
    QCOMPARE(pack(ownHeartbeat(), {system, component}), frameOf(ownHeartbeat(), {system, component}));
}

void TestFraming::zerosAtTheEnd_areCutOff_data()
{
    QTest::addColumn<quint32>("bootMs");
    QTest::addColumn<float>("roll");
    QTest::addColumn<int>("payload");
    QTest::newRow("behind the roll") << 5U << 1.0F << 8;
    QTest::newRow("behind the second byte") << 0x500U << 0.0F << 2;
    QTest::newRow("all") << 0U << 0.0F << 1;
}

void TestFraming::zerosAtTheEnd_areCutOff()
{
    QFETCH(quint32, bootMs);
    QFETCH(float, roll);
    QFETCH(int, payload);
    mavlink::common::msg::ATTITUDE attitude{};
    attitude.time_boot_ms = bootMs;
    attitude.roll = roll;
    const QByteArray frame = pack(attitude);
    QCOMPARE(frame.size(), 12 + payload);
    QCOMPARE(int(quint8(frame[1])), payload);
}

void TestFraming::longest_fillsTheRoom()
{
    mavlink::mavlink_signing_t signing = signingKey();
    signing.flags = MAVLINK_SIGNING_FLAG_SIGN_OUTGOING;
    channelStatus().signing = &signing;
    const QByteArray frame = pack(longest());
    QCOMPARE(frame.size(), MAVLINK_MAX_PACKET_LEN);
    QCOMPARE(frame.mid(10, 255), QByteArray::fromHex("0201") + QByteArray(253, '\xA5'));
}

void TestFraming::channelSetToMavlink1_writesMavlink1()
{
    mavlink::mavlink_set_proto_version(mavlink::MAVLINK_COMM_0, 1);
    QCOMPARE(pack(ownHeartbeat()), QByteArray::fromHex(Golden::OwnHeartbeatMavlink1));
    QCOMPARE(pack(mavlink::common::msg::ATTITUDE{}).size(), 8 + 28); // nothing is cut off
}

void TestFraming::channelSetToSign_signs()
{
    mavlink::mavlink_signing_t signing = signingKey();
    channelStatus().signing = &signing;
    QCOMPARE(pack(ownHeartbeat()), QByteArray::fromHex(Golden::OwnHeartbeat));
    channelStatus().current_tx_seq = 0;
    signing.flags = MAVLINK_SIGNING_FLAG_SIGN_OUTGOING;
    QCOMPARE(pack(ownHeartbeat()), QByteArray::fromHex(Golden::OwnHeartbeatSigned));
}

// What waits in the event queue of another thread is a copy.
void TestFraming::copyOfAMessage_givesTheSameFrame()
{
    mavlink::common::msg::COMMAND_LONG command{};
    command.command = 400;
    command.param1 = 1;
    QCOMPARE(pack(mavlink::MessageCopy(command)), frameOf(command, {2, 5}, 0));
    QCOMPARE(pack(mavlink::MessageCopy(longest())), frameOf(longest(), {2, 5}, 1));
}

void TestFraming::otherChannels_areLeftAlone()
{
    pack(ownHeartbeat());
    QCOMPARE(mavlink::mavlink_get_channel_status(mavlink::MAVLINK_COMM_1)->current_tx_seq, quint8(0));
}

QTEST_GUILESS_MAIN(TestFraming)
#include "tst_framing.moc"
