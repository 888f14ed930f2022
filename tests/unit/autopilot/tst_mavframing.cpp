// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <random>
#include <utility>

namespace {

constexpr int LongestFrame = MAVLINK_MAX_PACKET_LEN;

// What a driver makes of bytes: message id and sequence number of each message, as "30:14".
class Receiver
{
public:
    Receiver()
    {
        QObject::connect(rig.plugin.get(), &MavAutopilot::messageReceived, rig.plugin.get(),
                         [this](const mavlink::mavlink_message_t &message) {
                             seen.append(QStringLiteral("%1:%2").arg(message.msgid).arg(message.seq));
                         });
    }

    ~Receiver() { rig.log.take(); } // telemetry is another matter

    QStringList take(const QByteArray &bytes)
    {
        rig.plugin->dispatchReceivedData(bytes);
        return std::exchange(seen, {});
    }

    AutopilotRig rig;

private:
    QStringList seen;
};

QByteArray bytesOf(const char *hex)
{
    return QByteArray::fromHex(hex);
}

const QString AttitudeSeen = QStringLiteral("30:14");
const QString PositionSeen = QStringLiteral("33:16");

void addGoldenFrames()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("message");
    QTest::newRow("HEARTBEAT") << bytesOf(Golden::Px4Heartbeat) << QStringLiteral("0:7");
    QTest::newRow("HEARTBEAT of a ground station")
        << bytesOf(Golden::GroundHeartbeat) << QStringLiteral("0:11");
    QTest::newRow("HEARTBEAT, MAVLink 1") << bytesOf(Golden::Px4HeartbeatMavlink1) << QStringLiteral("0:9");
    QTest::newRow("SYSTEM_TIME") << bytesOf(Golden::SystemTime) << QStringLiteral("2:12");
    QTest::newRow("GPS_RAW_INT") << bytesOf(Golden::GpsRawInt) << QStringLiteral("24:13");
    QTest::newRow("ATTITUDE") << bytesOf(Golden::Attitude) << AttitudeSeen;
    QTest::newRow("ATTITUDE, MAVLink 1") << bytesOf(Golden::AttitudeMavlink1) << QStringLiteral("30:15");
    QTest::newRow("ATTITUDE, signed") << bytesOf(Golden::AttitudeSigned) << QStringLiteral("30:18");
    QTest::newRow("GLOBAL_POSITION_INT") << bytesOf(Golden::GlobalPositionInt) << PositionSeen;
    QTest::newRow("DISTANCE_SENSOR") << bytesOf(Golden::DistanceSensor) << QStringLiteral("132:17");
}

} // namespace

class TestMavFraming : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void goodFrame_isEmittedOnce_data() { addGoldenFrames(); }
    void goodFrame_isEmittedOnce();
    void frameSplitAnywhere_isEmittedByTheCallThatCompletesIt_data() { addGoldenFrames(); }
    void frameSplitAnywhere_isEmittedByTheCallThatCompletesIt();
    void frameByteByByte_isEmittedOnce();
    void twoFramesInOneArray_areEmittedInOrder();
    void noBytes_changeNothing();
    void message_isWhole();
    void damagedPayload_isDropped_andTheNextIsReceived_data() { addGoldenFrames(); }
    void damagedPayload_isDropped_andTheNextIsReceived();
    void damagedChecksum_isDropped_andTheNextIsReceived();
    void badFrame_countsAsAParseError();
    void unknownId_isDropped_andTheNextIsReceived();
    void unknownIdEndingInAMarker_takesTheNextAlong();
    void incompatibleFlags_areDropped();
    void noise_emitsNothing_andEnds_data();
    void noise_emitsNothing_andEnds();
    void randomBytes_emitNothing_andEnd_data();
    void randomBytes_emitNothing_andEnd();
    void lyingLength_isDropped_andTheStreamRecovers_data();
    void lyingLength_isDropped_andTheStreamRecovers();
    void garbageBetweenFrames_isSkipped();
    void badSignature_isDropped();
    void emission_happensBeforeTheNextByte();
    void answerFromInsideAnEmission_disturbsNothing();
    void bytesParsedInsideAnEmission_leaveTheMessageWhole();
    void bytesFromTheLink_areParsed();
};

void TestMavFraming::goodFrame_isEmittedOnce()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, message);
    Receiver receiver;
    QCOMPARE(receiver.take(frame), QStringList{message});
    QCOMPARE(channelStatus().packet_rx_success_count, quint16(1));
}

void TestMavFraming::frameSplitAnywhere_isEmittedByTheCallThatCompletesIt()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, message);
    Receiver receiver;
    for (int at = 1; at < frame.size(); ++at) {
        QCOMPARE(receiver.take(frame.left(at)), QStringList());
        QCOMPARE(receiver.take(frame.mid(at)), QStringList{message});
    }
}

void TestMavFraming::frameByteByByte_isEmittedOnce()
{
    Receiver receiver;
    QStringList seen;
    const QByteArray frame = bytesOf(Golden::Attitude);
    for (const char byte : frame)
        seen += receiver.take(QByteArray(1, byte));
    QCOMPARE(seen, QStringList{AttitudeSeen});
}

void TestMavFraming::twoFramesInOneArray_areEmittedInOrder()
{
    Receiver receiver;
    QCOMPARE(receiver.take(bytesOf(Golden::GlobalPositionInt) + bytesOf(Golden::Attitude)),
             (QStringList{PositionSeen, AttitudeSeen}));
}

void TestMavFraming::noBytes_changeNothing()
{
    Receiver receiver;
    const QByteArray frame = bytesOf(Golden::Attitude);
    QCOMPARE(receiver.take(QByteArray()), QStringList());
    QCOMPARE(receiver.take(frame.left(15)), QStringList());
    QCOMPARE(receiver.take(QByteArray()), QStringList());
    QCOMPARE(receiver.take(frame.mid(15)), QStringList{AttitudeSeen});
}

void TestMavFraming::message_isWhole()
{
    AutopilotRig rig;
    QVector<mavlink::mavlink_message_t> seen;
    connect(rig.plugin.get(), &MavAutopilot::messageReceived,
            [&](const mavlink::mavlink_message_t &message) { seen.append(message); });
    rig.plugin->feed(Golden::GroundHeartbeat);
    QCOMPARE(seen.size(), 1);
    const mavlink::mavlink_message_t &message = seen.first();
    QCOMPARE(message.sysid, quint8(255));
    QCOMPARE(message.compid, quint8(190));
    QCOMPARE(message.seq, quint8(11));
    QCOMPARE(quint32(message.msgid), 0U);
    QCOMPARE(QByteArray(_MAV_PAYLOAD(&message), message.len), QByteArray::fromHex("000000000608C00403"));
}

void TestMavFraming::damagedPayload_isDropped_andTheNextIsReceived()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, message);
    const int header = frame[0] == '\xFE' ? 6 : 10;
    const int payload = static_cast<quint8>(frame[1]);
    Receiver receiver;
    for (int i = header; i < header + payload; ++i) {
        QByteArray damaged = frame;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
        QCOMPARE(receiver.take(damaged), QStringList());
        QCOMPARE(receiver.take(frame), QStringList{message});
    }
}

void TestMavFraming::damagedChecksum_isDropped_andTheNextIsReceived()
{
    Receiver receiver;
    const QByteArray frame = bytesOf(Golden::Attitude);
    for (const int fromEnd : {1, 2}) {
        QByteArray damaged = frame;
        damaged[frame.size() - fromEnd] = static_cast<char>(damaged[frame.size() - fromEnd] ^ 0x01);
        QCOMPARE(receiver.take(damaged), QStringList());
        QCOMPARE(receiver.take(frame), QStringList{AttitudeSeen});
    }
}

void TestMavFraming::badFrame_countsAsAParseError()
{
    Receiver receiver;
    QByteArray damaged = bytesOf(Golden::Attitude);
    damaged[20] = 'x';
    receiver.take(damaged);
    QCOMPARE(channelStatus().parse_error, quint8(1));
    QCOMPARE(channelStatus().packet_rx_success_count, quint16(0));
}

void TestMavFraming::unknownId_isDropped_andTheNextIsReceived()
{
    Receiver receiver;
    QCOMPARE(receiver.take(bytesOf(Golden::Unknown) + bytesOf(Golden::Attitude)), QStringList{AttitudeSeen});
}

// The parser takes the last byte of the dropped frame for the start of the next.
void TestMavFraming::unknownIdEndingInAMarker_takesTheNextAlong()
{
    Receiver receiver;
    QCOMPARE(receiver.take(bytesOf(Golden::UnknownEndingInMarker) + bytesOf(Golden::Attitude)),
             QStringList());
    QCOMPARE(receiver.take(bytesOf(Golden::Attitude)), QStringList{AttitudeSeen});
}

void TestMavFraming::incompatibleFlags_areDropped()
{
    Receiver receiver;
    QByteArray frame = bytesOf(Golden::Attitude);
    frame[2] = 0x02;
    QCOMPARE(receiver.take(frame), QStringList());
    QCOMPARE(receiver.take(bytesOf(Golden::Attitude)), QStringList{AttitudeSeen});
}

void TestMavFraming::noise_emitsNothing_andEnds_data()
{
    QTest::addColumn<QByteArray>("noise");
    for (const int count : {1, 2, 3, 1000, 1001, 1002}) {
        QTest::addRow("%d MAVLink 2 markers", count) << QByteArray(count, '\xFD');
        QTest::addRow("%d MAVLink 1 markers", count) << QByteArray(count, '\xFE');
        QTest::addRow("%d zeros", count) << QByteArray(count, '\0');
        QTest::addRow("%d ones", count) << QByteArray(count, '\xFF');
    }
}

void TestMavFraming::noise_emitsNothing_andEnds()
{
    QFETCH(QByteArray, noise);
    Receiver receiver;
    QCOMPARE(receiver.take(noise), QStringList());
    receiver.take(QByteArray(LongestFrame, '\0')); // whatever the noise has begun is over after this
    QCOMPARE(receiver.take(bytesOf(Golden::Attitude)), QStringList{AttitudeSeen});
}

void TestMavFraming::randomBytes_emitNothing_andEnd_data()
{
    QTest::addColumn<uint>("seed");
    for (uint seed = 1; seed <= 8; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void TestMavFraming::randomBytes_emitNothing_andEnd()
{
    QFETCH(uint, seed);
    std::mt19937 random(seed);
    Receiver receiver;
    for (int round = 0; round < 200; ++round) {
        QByteArray noise;
        for (uint i = random() % 500; i > 0; --i)
            noise.append(static_cast<char>(random() & 0xFF));
        QCOMPARE(receiver.take(noise), QStringList());
        receiver.take(QByteArray(LongestFrame, '\0'));
        QCOMPARE(receiver.take(bytesOf(Golden::Attitude)), QStringList{AttitudeSeen});
    }
}

void TestMavFraming::lyingLength_isDropped_andTheStreamRecovers_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {0, 1, 27, 29, 128, 254, 255})
        QTest::addRow("%d for 28", length) << length;
}

void TestMavFraming::lyingLength_isDropped_andTheStreamRecovers()
{
    QFETCH(int, length);
    for (const char *hex : {Golden::Attitude, Golden::AttitudeMavlink1}) {
        Receiver receiver;
        QByteArray frame = bytesOf(hex);
        frame[1] = static_cast<char>(length);
        QCOMPARE(receiver.take(frame), QStringList());
        receiver.take(QByteArray(LongestFrame, '\0'));
        QCOMPARE(receiver.take(bytesOf(Golden::Attitude)), QStringList{AttitudeSeen});
    }
}

void TestMavFraming::garbageBetweenFrames_isSkipped()
{
    Receiver receiver;
    const QByteArray garbage = QByteArrayLiteral("NuttShell (NSH)\r\nnsh> ");
    QCOMPARE(
        receiver.take(garbage + bytesOf(Golden::Attitude) + garbage + bytesOf(Golden::GlobalPositionInt)),
        (QStringList{AttitudeSeen, PositionSeen}));
}

// Only a channel with a signing record checks signatures; the driver never sets one up.
void TestMavFraming::badSignature_isDropped()
{
    Receiver receiver;
    mavlink::mavlink_signing_t signing{};
    mavlink::mavlink_signing_streams_t streams{};
    memcpy(signing.secret_key, bytesOf(Golden::SigningKey).constData(), sizeof(signing.secret_key));
    channelStatus().signing = &signing;
    channelStatus().signing_streams = &streams;
    QByteArray forged = bytesOf(Golden::AttitudeSigned);
    forged[forged.size() - 1] = static_cast<char>(forged[forged.size() - 1] ^ 0x01);
    const QStringList forgedSeen = receiver.take(forged);
    const QStringList unsignedSeen = receiver.take(bytesOf(Golden::Attitude));
    const QStringList signedSeen = receiver.take(bytesOf(Golden::AttitudeSigned));
    resetChannel();

    QCOMPARE(forgedSeen, QStringList());
    QCOMPARE(unsignedSeen, QStringList());
    QCOMPARE(signedSeen, QStringList{QStringLiteral("30:18")});
}

void TestMavFraming::emission_happensBeforeTheNextByte()
{
    AutopilotRig rig;
    QVector<int> countsAtEmission;
    connect(rig.plugin.get(), &MavAutopilot::messageReceived,
            [&] { countsAtEmission.append(channelStatus().packet_rx_success_count); });
    rig.plugin->dispatchReceivedData(bytesOf(Golden::GroundHeartbeat) + bytesOf(Golden::GroundHeartbeat));
    QCOMPARE(countsAtEmission, (QVector<int>{1, 2}));
}

void TestMavFraming::answerFromInsideAnEmission_disturbsNothing()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    QStringList seen;
    connect(rig.plugin.get(), &MavAutopilot::messageReceived, [&](const mavlink::mavlink_message_t &message) {
        rig.plugin->sendMessage(heartbeatOf(8));
        seen.append(QStringLiteral("%1:%2").arg(message.msgid).arg(message.seq));
    });
    const QByteArray next = bytesOf(Golden::GlobalPositionInt);
    rig.plugin->dispatchReceivedData(bytesOf(Golden::Attitude) + next.left(12));
    rig.plugin->dispatchReceivedData(next.mid(12));
    rig.log.take();
    QCOMPARE(seen, (QStringList{AttitudeSeen, PositionSeen}));
    const QList<QByteArray> sent = controller.receive(2);
    QCOMPARE(sent.size(), 2);
    QCOMPARE(sent[0], frameOf(heartbeatOf(8), {2, 5}, 0));
    QCOMPARE(sent[1], frameOf(heartbeatOf(8), {2, 5}, 1));
}

void TestMavFraming::bytesParsedInsideAnEmission_leaveTheMessageWhole()
{
    AutopilotRig rig;
    QByteArrayList seen;
    bool nested = false;
    connect(rig.plugin.get(), &MavAutopilot::messageReceived, [&] {
        if (!std::exchange(nested, true))
            rig.plugin->feed(Golden::DistanceSensor);
    });
    connect(rig.plugin.get(), &MavAutopilot::messageReceived, [&](const mavlink::mavlink_message_t &message) {
        seen.append(QByteArray(_MAV_PAYLOAD(&message), message.len).toHex().toUpper());
    });
    rig.plugin->feed(Golden::GroundHeartbeat);
    rig.log.take();
    QCOMPARE(seen, (QByteArrayList{"8CEB000014008813D204000119", "000000000608C00403"}));
}

void TestMavFraming::bytesFromTheLink_areParsed()
{
    FakeFlightController controller;
    AutopilotRig rig(controller);
    QVERIFY(rig.start(controller));
    controller.send(bytesOf(Golden::GroundHeartbeat).left(5));
    controller.send(bytesOf(Golden::GroundHeartbeat).mid(5) + bytesOf(Golden::GroundHeartbeat));
    QTRY_COMPARE(channelStatus().packet_rx_success_count, quint16(2));
}

APP_TEST_MAIN(TestMavFraming)
#include "tst_mavframing.moc"
