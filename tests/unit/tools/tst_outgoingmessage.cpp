// SPDX-License-Identifier: MIT
#include "sim/outgoingmessage.h"

#include <QtTest>

Q_DECLARE_METATYPE(OutgoingMessage)

namespace {

mavlink::minimal::msg::HEARTBEAT heartbeat(quint8 autopilot, quint8 baseMode, quint32 customMode)
{
    mavlink::minimal::msg::HEARTBEAT message = {};
    message.type = 2;
    message.autopilot = autopilot;
    message.base_mode = baseMode;
    message.custom_mode = customMode;
    message.system_status = 3;
    return message;
}

} // namespace

class TestOutgoingMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frame_isThatOfAnotherEncoder_data();
    void frame_isThatOfAnotherEncoder();
    void sequence_countsUpPerLink();
    void unknownMessage_hasItsIdAndChecksum();
    void frameBytes_isTheLengthOfTheFrame_data();
    void frameBytes_isTheLengthOfTheFrame();
};

// The frames with sequence number 0 by another encoder, from the fields of recorded heartbeats.
void TestOutgoingMessage::frame_isThatOfAnotherEncoder_data()
{
    QTest::addColumn<OutgoingMessage>("message");
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("ArduPilot") << OutgoingMessage::from(heartbeat(3, 81, 0))
                               << QByteArray::fromHex("fd090000000101000000000000000203510303e292");
    QTest::newRow("PX4") << OutgoingMessage::from(heartbeat(12, 29, 50593792))
                         << QByteArray::fromHex("fd09000000010100000000000403020c1d03032dc7");
}

void TestOutgoingMessage::frame_isThatOfAnotherEncoder()
{
    QFETCH(OutgoingMessage, message);
    mavlink::mavlink_status_t state = {};
    QTEST(message.toFrame(&state), "frame");
}

void TestOutgoingMessage::sequence_countsUpPerLink()
{
    const OutgoingMessage message = OutgoingMessage::from(heartbeat(3, 81, 0));
    mavlink::mavlink_status_t one = {};
    mavlink::mavlink_status_t other = {};
    message.toFrame(&one);
    QCOMPARE(int(message.toFrame(&one)[4]), 1);
    QCOMPARE(int(message.toFrame(&other)[4]), 0);
}

// As recorded: of this message only the checksum seed is not known here.
void TestOutgoingMessage::unknownMessage_hasItsIdAndChecksum()
{
    mavlink::mavlink_status_t state = {};
    state.current_tx_seq = 0x44;
    const OutgoingMessage message = {411, QByteArray::fromHex("04"), 1, 106};
    const QByteArray frame = message.toFrame(&state);
    QCOMPARE(frame.left(11), QByteArray::fromHex("fd0100004401019b010004"));
    QCOMPARE(frame.size(), 13);
}

void TestOutgoingMessage::frameBytes_isTheLengthOfTheFrame_data()
{
    QTest::addColumn<OutgoingMessage>("message");
    QTest::newRow("full") << OutgoingMessage::from(heartbeat(3, 81, 0));
    QTest::newRow("trimmed") << OutgoingMessage{2, QByteArray(12, '\0').replace(3, 1, "x"), 12, 137};
    QTest::newRow("zeros") << OutgoingMessage{2, QByteArray(12, '\0'), 12, 137};
}

void TestOutgoingMessage::frameBytes_isTheLengthOfTheFrame()
{
    QFETCH(OutgoingMessage, message);
    mavlink::mavlink_status_t state = {};
    QCOMPARE(message.frameBytes(), message.toFrame(&state).size());
}

QTEST_GUILESS_MAIN(TestOutgoingMessage)
#include "tst_outgoingmessage.moc"
