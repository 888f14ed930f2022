// SPDX-License-Identifier: MIT
#include "mavlink/mavlink.h"

#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "mavlink/secondsource.h"
#include "support/testmain.h"

#include <QSet>

class TestMavlink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void channelState_isOneInTheProcess();
    void sequenceNumbers_areSharedBySourcesAndLibrary();
    void parseState_isSharedBySourcesAndLibrary();
    void receiveCounter_isSharedBySourcesAndLibrary();
    void entry_ofEveryMessage_isFound();
    void entry_ofUnknownIds_isNull_data();
    void entry_ofUnknownIds_isNull();
    void entry_belowAThousand_isFoundIfAndOnlyIfItExists();
    void entry_hasSeedAndLengths_data();
    void entry_hasSeedAndLengths();
};

void TestMavlink::channelState_isOneInTheProcess()
{
    QCOMPARE(mavlink::mavlink_get_channel_status(mavlink::MAVLINK_COMM_0), &mavlink::m_mavlink_status[0]);
    QCOMPARE(SecondSource::channelStatus(), &mavlink::m_mavlink_status[0]);
    QCOMPARE(mavlink::mavlink_get_channel_buffer(mavlink::MAVLINK_COMM_0), &mavlink::m_mavlink_buffer[0]);
    QCOMPARE(SecondSource::channelBuffer(), &mavlink::m_mavlink_buffer[0]);
}

void TestMavlink::sequenceNumbers_areSharedBySourcesAndLibrary()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QCOMPARE(SecondSource::finalizeHeartbeat(), quint8(0));
    rig.plugin->sendMessage(heartbeatOf(8)); // from the library
    QCOMPARE(SecondSource::finalizeHeartbeat(), quint8(2));

    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    heartbeatOf(8).serialize(map);
    mavlink::mavlink_finalize_message_chan(&wire, 3, 4, mavlink::MAVLINK_COMM_0, 9, 9, 50);
    QCOMPARE(wire.seq, quint8(3));

    rig.plugin->sendMessage(heartbeatOf(8));
    const QList<QByteArray> sent = controller.receive(2);
    QCOMPARE(sent.size(), 2);
    QCOMPARE(sent[0], frameOf(heartbeatOf(8), {2, 5}, 1));
    QCOMPARE(sent[1], frameOf(heartbeatOf(8), {2, 5}, 4));
}

void TestMavlink::parseState_isSharedBySourcesAndLibrary()
{
    AutopilotRig rig;
    int emitted = 0;
    connect(rig.plugin.get(), &MavAutopilot::messageReceived, [&] { ++emitted; });
    const QByteArray frame = QByteArray::fromHex(Golden::GroundHeartbeat);
    rig.plugin->dispatchReceivedData(frame.left(7));
    QCOMPARE(SecondSource::parse(frame.mid(7, 8)), 0);
    mavlink::mavlink_message_t message;
    for (int i = 15; i < frame.size() - 1; ++i)
        QCOMPARE(int(mavlink::mavlink_parse_char(mavlink::MAVLINK_COMM_0, static_cast<quint8>(frame[i]),
                                                 &message, nullptr)),
                 int(mavlink::MAVLINK_FRAMING_INCOMPLETE));
    QCOMPARE(emitted, 0);
    rig.plugin->dispatchReceivedData(frame.right(1));
    QCOMPARE(emitted, 1);
}

void TestMavlink::receiveCounter_isSharedBySourcesAndLibrary()
{
    AutopilotRig rig;
    const QByteArray frame = QByteArray::fromHex(Golden::GroundHeartbeat);
    QCOMPARE(SecondSource::parse(frame), 1);
    rig.plugin->dispatchReceivedData(frame + frame);
    QCOMPARE(SecondSource::channelStatus()->packet_rx_success_count, quint16(3));
    QCOMPARE(mavlink::m_mavlink_status[0].packet_rx_success_count, quint16(3));
}

void TestMavlink::entry_ofEveryMessage_isFound()
{
    QVERIFY(mavlink::ardupilotmega::MESSAGE_ENTRIES.size() > 256);
    for (const mavlink::mavlink_msg_entry_t &entry : mavlink::ardupilotmega::MESSAGE_ENTRIES) {
        const mavlink::mavlink_msg_entry_t *found = mavlink::mavlink_get_msg_entry(entry.msgid);
        QVERIFY2(found, qPrintable(QString::number(entry.msgid)));
        QCOMPARE(found->msgid, entry.msgid);
        QCOMPARE(found->crc_extra, entry.crc_extra);
        QCOMPARE(found->min_msg_len, entry.min_msg_len);
        QCOMPARE(found->max_msg_len, entry.max_msg_len);
    }
    for (const mavlink::mavlink_msg_entry_t &entry : mavlink::common::MESSAGE_ENTRIES)
        QVERIFY2(mavlink::mavlink_get_msg_entry(entry.msgid), qPrintable(QString::number(entry.msgid)));
}

void TestMavlink::entry_ofUnknownIds_isNull_data()
{
    QTest::addColumn<quint32>("id");
    QTest::newRow("low") << 3U;
    QTest::newRow("between the messages") << 60000U;
    QTest::newRow("behind the last") << 0xFFFFFFU;
    QTest::newRow("largest") << 0xFFFFFFFFU;
}

void TestMavlink::entry_ofUnknownIds_isNull()
{
    QFETCH(quint32, id);
    QVERIFY(!mavlink::mavlink_get_msg_entry(id));
    QVERIFY(!SecondSource::entry(id));
}

void TestMavlink::entry_belowAThousand_isFoundIfAndOnlyIfItExists()
{
    QSet<quint32> existing;
    for (const mavlink::mavlink_msg_entry_t &entry : mavlink::ardupilotmega::MESSAGE_ENTRIES)
        existing.insert(entry.msgid);
    for (quint32 id = 0; id < 1000; ++id)
        QVERIFY2((mavlink::mavlink_get_msg_entry(id) != nullptr) == existing.contains(id),
                 qPrintable(QString::number(id)));
}

// The seeds and lengths of another implementation's tables (node-mavlink 2.3.0).
void TestMavlink::entry_hasSeedAndLengths_data()
{
    QTest::addColumn<quint32>("id");
    QTest::addColumn<int>("seed");
    QTest::addColumn<int>("shortest");
    QTest::addColumn<int>("longest");
    QTest::newRow("HEARTBEAT") << 0U << 50 << 9 << 9;
    QTest::newRow("SYSTEM_TIME") << 2U << 137 << 12 << 12;
    QTest::newRow("SET_MODE") << 11U << 89 << 6 << 6;
    QTest::newRow("GPS_RAW_INT") << 24U << 24 << 30 << 52;
    QTest::newRow("ATTITUDE") << 30U << 39 << 28 << 28;
    QTest::newRow("GLOBAL_POSITION_INT") << 33U << 104 << 28 << 28;
    QTest::newRow("REQUEST_DATA_STREAM") << 66U << 148 << 6 << 6;
    QTest::newRow("MANUAL_CONTROL") << 69U << 243 << 11 << 30;
    QTest::newRow("COMMAND_LONG") << 76U << 152 << 33 << 33;
    QTest::newRow("SET_POSITION_TARGET_LOCAL_NED") << 84U << 143 << 53 << 53;
    QTest::newRow("DISTANCE_SENSOR") << 132U << 85 << 14 << 39;
    QTest::newRow("DATA16") << 169U << 234 << 18 << 18;
    QTest::newRow("DATA32") << 170U << 73 << 34 << 34;
    QTest::newRow("DATA64") << 171U << 181 << 66 << 66;
    QTest::newRow("DATA96") << 172U << 22 << 98 << 98;
    QTest::newRow("V2_EXTENSION") << 248U << 8 << 254 << 254;
    QTest::newRow("DEBUG") << 254U << 46 << 9 << 9;
    QTest::newRow("DEVICE_OP_READ") << 11000U << 134 << 51 << 52;
}

void TestMavlink::entry_hasSeedAndLengths()
{
    QFETCH(quint32, id);
    QFETCH(int, seed);
    QFETCH(int, shortest);
    QFETCH(int, longest);
    const mavlink::mavlink_msg_entry_t *entry = SecondSource::entry(id);
    QVERIFY(entry);
    QCOMPARE(int(entry->crc_extra), seed);
    QCOMPARE(int(entry->min_msg_len), shortest);
    QCOMPARE(int(entry->max_msg_len), longest);
}

APP_TEST_MAIN(TestMavlink)
#include "tst_mavlink.moc"
