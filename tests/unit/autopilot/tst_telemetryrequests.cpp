// SPDX-License-Identifier: MIT
#include "autopilot/telemetryrequests.h"

#include "autopilot/support/frames.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {

namespace msg = mavlink::common::msg;
using mavlink::common::MAV_DATA_STREAM;

/// The messages handed out, as they come off the wire.
template <class Message>
class Requests
{
public:
    TelemetryRequests::Request taker()
    {
        return [this](const mavlink::Message &message) {
            const mavlink::mavlink_message_t wire = receivedOf(message);
            QCOMPARE(wire.msgid, Message::MSG_ID);
            mavlink::MsgMap map(&wire);
            list.append(Message());
            list.last().deserialize(map);
        };
    }

    QList<Message> list;
};

using Intervals = Requests<msg::COMMAND_LONG>;
using Streams = Requests<msg::REQUEST_DATA_STREAM>;

} // namespace

class TestTelemetryRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void px4_isAskedForFiveMessagesOnce();
    void px4Request_hasEveryField();
    void px4Interval_isCountedInSinglePrecision_data();
    void px4Interval_isCountedInSinglePrecision();
    void arduPilot_isAskedForFourStreamsOnce();
    void dataStream_isOneRequestWithEveryField_data();
    void dataStream_isOneRequestWithEveryField();
};

void TestTelemetryRequests::px4_isAskedForFiveMessagesOnce()
{
    Intervals requests;
    TelemetryRequests::forPx4(1, 4, requests.taker());
    QList<QPair<float, float>> asked;
    for (const msg::COMMAND_LONG &command : qAsConst(requests.list))
        asked.append({command.param1, command.param2});
    QCOMPARE(asked, (QList<QPair<float, float>>{{124.0F, 250000.0F},
                                                {33.0F, 250000.0F},
                                                {30.0F, 250000.0F},
                                                {2.0F, 1000000.0F},
                                                {132.0F, 1000000.0F}}));
}

void TestTelemetryRequests::px4Request_hasEveryField()
{
    Intervals requests;
    TelemetryRequests::forPx4(255, 4, requests.taker());
    QCOMPARE(requests.list.size(), 5);
    for (const msg::COMMAND_LONG &command : qAsConst(requests.list)) {
        QCOMPARE(command.target_system, quint8(255));
        QCOMPARE(command.target_component, quint8(1));
        QCOMPARE(command.command, quint16(511));
        QCOMPARE(command.confirmation, quint8(0));
        for (const float unused :
             {command.param3, command.param4, command.param5, command.param6, command.param7})
            QVERIFY(unused == 0);
    }
}

void TestTelemetryRequests::px4Interval_isCountedInSinglePrecision_data()
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    QTest::addColumn<int>("rateHz");
    QTest::addColumn<float>("intervalUs");
    QTest::newRow("2") << 2 << 500000.0F;
    QTest::newRow("3") << 3 << 333333.34375F;
    QTest::newRow("7") << 7 << 142857.140625F;
    QTest::newRow("-2") << -2 << -500000.0F;
    QTest::newRow("16777217") << 16777217 << 0x1.e84800p-5F; // as the rate itself is cut
    QTest::newRow("0") << 0 << infinity;
}

void TestTelemetryRequests::px4Interval_isCountedInSinglePrecision()
{
    QFETCH(int, rateHz);
    QFETCH(float, intervalUs);
    Intervals requests;
    TelemetryRequests::forPx4(1, rateHz, requests.taker());
    for (int i = 0; i < 3; ++i)
        QVERIFY2(requests.list[i].param2 == intervalUs,
                 qPrintable(QString::number(requests.list[i].param2, 'g', 12)));
    QCOMPARE(requests.list[3].param2, 1000000.0F);
}

void TestTelemetryRequests::arduPilot_isAskedForFourStreamsOnce()
{
    Streams requests;
    TelemetryRequests::forArduPilot(9, 10, requests.taker());
    QList<int> streams;
    for (const msg::REQUEST_DATA_STREAM &request : qAsConst(requests.list)) {
        streams.append(request.req_stream_id);
        QCOMPARE(request.req_message_rate, quint16(10));
        QCOMPARE(request.target_system, quint8(9));
        QCOMPARE(request.target_component, quint8(1));
        QCOMPARE(request.start_stop, quint8(1));
    }
    QCOMPARE(streams, (QList<int>{6, 2, 10, 12}));
}

void TestTelemetryRequests::dataStream_isOneRequestWithEveryField_data()
{
    QTest::addColumn<int>("stream");
    QTest::addColumn<int>("rateHz");
    QTest::addColumn<quint16>("sent");
    QTest::newRow("position") << 6 << 50 << quint16(50);
    QTest::newRow("nothing") << 12 << 0 << quint16(0);
    QTest::newRow("cut to 16 bits") << 2 << 65546 << quint16(10);
    QTest::newRow("negative") << 10 << -1 << quint16(65535);
}

void TestTelemetryRequests::dataStream_isOneRequestWithEveryField()
{
    QFETCH(int, stream);
    QFETCH(int, rateHz);
    QFETCH(quint16, sent);
    Streams requests;
    TelemetryRequests::dataStream(200, static_cast<MAV_DATA_STREAM>(stream), rateHz, requests.taker());
    QCOMPARE(requests.list.size(), 1);
    const msg::REQUEST_DATA_STREAM request = requests.list.first();
    QCOMPARE(int(request.req_stream_id), stream);
    QCOMPARE(request.req_message_rate, sent);
    QCOMPARE(request.target_system, quint8(200));
    QCOMPARE(request.target_component, quint8(1));
    QCOMPARE(request.start_stop, quint8(1));
}

QTEST_GUILESS_MAIN(TestTelemetryRequests)
#include "tst_telemetryrequests.moc"
