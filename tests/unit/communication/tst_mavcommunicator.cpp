// SPDX-License-Identifier: MIT
#include "communication/mavcommunicator.h"

#include "autopilot/support/autopilotrig.h"
#include "communication/recordingcarrier.h"
#include "support/testmain.h"
#include "support/vtable.h"

#include <memory>
#include <utility>

namespace {

namespace ardupilot = mavlink::ardupilotmega::msg;

using VirtualSend = void (MavCommunicator::*)(QByteArray);

constexpr int V2PayloadOffset = 5;
constexpr int DataOffset = 2;

/// A message as it leaves: its id and the bytes of its fields.
struct Sent
{
    quint32 id = 0;
    QByteArray bytes;
};

Sent sentOf(const mavlink::Message &message)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    return {wire.msgid, QByteArray(_MAV_PAYLOAD(&wire), static_cast<int>(message.get_message_info().length))};
}

/// A carrier on settings of its own; keeps what it sends. Logs go to `log`.
class Rig
{
public:
    explicit Rig(Settings settings = {})
    {
        loadFreshSettings(settings);
        carrier = std::make_unique<MavCommunicator>(20);
        QObject::connect(carrier.get(), &MavCommunicator::sendMavlinkMessage, carrier.get(),
                         [this](const mavlink::Message &message) { sent.append(sentOf(message)); });
    }

    QList<Sent> send(const QByteArray &frame)
    {
        carrier->sendFragment(frame);
        return std::exchange(sent, {});
    }

    LogCapture log;
    std::unique_ptr<MavCommunicator> carrier;
    QList<Sent> sent;
};

const Settings V2On = {{"MAV/V2_EXTENSION", true}};

QByteArray frameOfSize(int size)
{
    QByteArray frame(size, '\0');
    for (int i = 0; i < size; ++i)
        frame[i] = static_cast<char>(i + 1);
    return frame;
}

QByteArray padded(const QByteArray &bytes, int size)
{
    return bytes + QByteArray(size - bytes.size(), '\0');
}

} // namespace

/// What goes out.
class TestMavCommunicator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identity_isThatOfTheCarrier();
    void metaObject_hasTheSignalThenTheSlot();
    void virtualOperations_areThoseOfTheBases();
    void setting_absent_isWrittenAsOff();
    void setting_isRead_data();
    void setting_isRead();
    void setting_changedWhileRunning_countsFromTheNextFrame();
    void setting_changedBetweenTheFramesOfAPayload_countsForTheRest();
    void otherSettings_changeNothing();
    void frame_inDataMode_goesIntoTheSmallestMessage_data();
    void frame_inDataMode_goesIntoTheSmallestMessage();
    void frame_tooLongForDataMode_isDropped_data();
    void frame_tooLongForDataMode_isDropped();
    void payload_inDataMode_losesItsFullFragments_data();
    void payload_inDataMode_losesItsFullFragments();
    void frame_inV2Mode_goesBehindItsLength_data();
    void frame_inV2Mode_goesBehindItsLength();
    void frame_tooLongForV2Mode_isDropped_data();
    void frame_tooLongForV2Mode_isDropped();
    void largestPayload_inV2Mode_isSentWhole();
    void pong_inEitherMode_isSentInTheseBytes();
};

void TestMavCommunicator::identity_isThatOfTheCarrier()
{
    const Rig rig;
    QCOMPARE(rig.carrier->id(), QStringLiteral("COMM"));
    QCOMPARE(rig.carrier->prefix(), QStringLiteral("MavCommunicator"));
}

void TestMavCommunicator::metaObject_hasTheSignalThenTheSlot()
{
    const QMetaObject &meta = MavCommunicator::staticMetaObject;
    QCOMPARE(meta.superClass(), &FragmentedCommunicator::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodSignature(), QByteArray("sendMavlinkMessage(mavlink::Message)"));
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    const QMetaMethod slot = meta.method(meta.methodOffset() + 1);
    QCOMPARE(slot.methodSignature(), QByteArray("onMessageReceived(mavlink::mavlink_message_t)"));
    QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    QCOMPARE(slot.access(), QMetaMethod::Public);
}

void TestMavCommunicator::virtualOperations_areThoseOfTheBases()
{
    const VirtualSend send = &MavCommunicator::sendFragment;
    QCOMPARE(virtualSlot(send), virtualSlot(&ICommunicator::sendData) + 1);
    QCOMPARE(virtualSlot(&MavCommunicator::sendData), virtualSlot(&ICommunicator::sendData));
}

void TestMavCommunicator::setting_absent_isWrittenAsOff()
{
    Rig rig;
    QVERIFY(runningApp()->settings()->contains(QStringLiteral("MAV/V2_EXTENSION")));
    QCOMPARE(runningApp()->settings()->value(QStringLiteral("MAV/V2_EXTENSION")).toString(),
             QStringLiteral("false"));
    QCOMPARE(rig.send(frameOfSize(14)).value(0).id, ardupilot::DATA16::MSG_ID);
}

void TestMavCommunicator::setting_isRead_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<quint32>("id");
    QTest::newRow("true") << QVariant(true) << 248U;
    QTest::newRow("false") << QVariant(false) << 169U;
    QTest::newRow("true as text") << QVariant(QStringLiteral("true")) << 248U;
    QTest::newRow("false as text") << QVariant(QStringLiteral("false")) << 169U;
}

void TestMavCommunicator::setting_isRead()
{
    QFETCH(QVariant, value);
    QFETCH(quint32, id);
    Rig rig({{"MAV/V2_EXTENSION", value}});
    QCOMPARE(rig.send(frameOfSize(14)).value(0).id, id);
}

void TestMavCommunicator::setting_changedWhileRunning_countsFromTheNextFrame()
{
    Rig rig;
    QCOMPARE(rig.send(frameOfSize(14)).value(0).id, 169U);
    runningApp()->updateSetting("MAV", "V2_EXTENSION", true);
    QCOMPARE(rig.send(frameOfSize(14)).value(0).id, 248U);
    runningApp()->updateSetting("MAV", "V2_EXTENSION", false);
    QCOMPARE(rig.send(frameOfSize(14)).value(0).id, 169U);
    rig.log.take(); // of the settings
}

void TestMavCommunicator::setting_changedBetweenTheFramesOfAPayload_countsForTheRest()
{
    Rig rig;
    QList<quint32> ids;
    connect(rig.carrier.get(), &MavCommunicator::sendMavlinkMessage, this,
            [&](const mavlink::Message &message) {
                ids.append(message.get_message_info().id);
                Q_EMIT runningApp()->MAV_V2_EXTENSION(false);
            });
    Q_EMIT runningApp()->MAV_V2_EXTENSION(true);
    rig.carrier->sendData(payloadOf(4, 88 + 88 + 10)); // the second frame is too long for DATA96
    QCOMPARE(ids, (QList<quint32>{248, 170}));
}

void TestMavCommunicator::otherSettings_changeNothing()
{
    Rig rig(V2On);
    rig.carrier->start();
    Q_EMIT runningApp()->MAV_SENDING_PERIOD_MS(500);
    rig.carrier->stop();
    rig.carrier->start();
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(rig.carrier.get());
    QCOMPARE(timers.size(), 2);
    QCOMPARE(std::min(timers[0].interval, timers[1].interval), 20);
    QCOMPARE(rig.send(frameOfSize(14)).value(0).id, 248U);
}

void TestMavCommunicator::frame_inDataMode_goesIntoTheSmallestMessage_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<quint32>("id");
    QTest::addColumn<int>("capacity");
    for (const int size : {0, 1, 4, 14, 15, 16})
        QTest::addRow("%d in DATA16", size) << size << 169U << 16;
    for (const int size : {17, 31, 32})
        QTest::addRow("%d in DATA32", size) << size << 170U << 32;
    for (const int size : {33, 63, 64})
        QTest::addRow("%d in DATA64", size) << size << 171U << 64;
    for (const int size : {65, 95, 96})
        QTest::addRow("%d in DATA96", size) << size << 172U << 96;
}

void TestMavCommunicator::frame_inDataMode_goesIntoTheSmallestMessage()
{
    QFETCH(int, size);
    QFETCH(quint32, id);
    QFETCH(int, capacity);
    Rig rig;
    const QByteArray frame = frameOfSize(size);
    const QList<Sent> sent = rig.send(frame);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent[0].id, id);
    QCOMPARE(int(quint8(sent[0].bytes[0])), 175);
    QCOMPARE(int(quint8(sent[0].bytes[1])), size);
    QCOMPARE(sent[0].bytes.mid(DataOffset), padded(frame, capacity));
}

void TestMavCommunicator::frame_tooLongForDataMode_isDropped_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {97, 100, 248, 249, 255, 256, 256 + 14})
        QTest::addRow("%d", size) << size;
}

void TestMavCommunicator::frame_tooLongForDataMode_isDropped()
{
    QFETCH(int, size);
    Rig rig;
    QVERIFY(rig.send(frameOfSize(size)).isEmpty());
}

void TestMavCommunicator::payload_inDataMode_losesItsFullFragments_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QList<quint32>>("ids");
    QTest::newRow("1") << 1 << QList<quint32>{169};
    QTest::newRow("4") << 4 << QList<quint32>{169};
    QTest::newRow("5") << 5 << QList<quint32>{170};
    QTest::newRow("20") << 20 << QList<quint32>{170};
    QTest::newRow("21") << 21 << QList<quint32>{171};
    QTest::newRow("52") << 52 << QList<quint32>{171};
    QTest::newRow("53") << 53 << QList<quint32>{172};
    QTest::newRow("84") << 84 << QList<quint32>{172};
    QTest::newRow("85") << 85 << QList<quint32>{};
    QTest::newRow("88") << 88 << QList<quint32>{};
    QTest::newRow("89") << 89 << QList<quint32>{169};
    QTest::newRow("65535") << 65535 << QList<quint32>{172}; // its last fragment has 63 bytes
}

void TestMavCommunicator::payload_inDataMode_losesItsFullFragments()
{
    QFETCH(int, size);
    QFETCH(QList<quint32>, ids);
    Rig rig;
    rig.carrier->sendData(payloadOf(254, size));
    QList<quint32> sent;
    for (const Sent &message : qAsConst(rig.sent))
        sent.append(message.id);
    QCOMPARE(sent, ids);
}

void TestMavCommunicator::frame_inV2Mode_goesBehindItsLength_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 14, 16, 17, 96, 97, 100, 247, 248})
        QTest::addRow("%d", size) << size;
}

void TestMavCommunicator::frame_inV2Mode_goesBehindItsLength()
{
    QFETCH(int, size);
    Rig rig(V2On);
    const QByteArray frame = frameOfSize(size);
    const QList<Sent> sent = rig.send(frame);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent[0].id, 248U);
    // message_type, target_network, target_system, target_component
    QCOMPARE(sent[0].bytes.left(V2PayloadOffset), QByteArray(V2PayloadOffset, '\0'));
    QCOMPARE(sent[0].bytes.mid(V2PayloadOffset), padded(static_cast<char>(size) + frame, 249));
}

void TestMavCommunicator::frame_tooLongForV2Mode_isDropped_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {249, 255, 256, 256 + 14, 1000})
        QTest::addRow("%d", size) << size;
}

void TestMavCommunicator::frame_tooLongForV2Mode_isDropped()
{
    QFETCH(int, size);
    Rig rig(V2On);
    QVERIFY(rig.send(frameOfSize(size)).isEmpty());
}

void TestMavCommunicator::largestPayload_inV2Mode_isSentWhole()
{
    Rig rig(V2On);
    const CompletePayload payload = payloadOf(4, 65535);
    rig.carrier->sendData(payload);
    QList<QByteArray> frames;
    for (const Sent &message : qAsConst(rig.sent))
        frames.append(message.bytes.mid(V2PayloadOffset + 1, quint8(message.bytes[V2PayloadOffset])));
    QCOMPARE(frames.size(), 745);
    QCOMPARE(frames, onboardFrames(payload));
}

void TestMavCommunicator::pong_inEitherMode_isSentInTheseBytes()
{
    const QByteArray pong = onboardFrame(4, pingBody(0x0102, QByteArray("\x00\x02", 2)));
    QCOMPARE(pong.size(), 14);
    Rig rig;
    rig.carrier->sendPong(0x0102);
    QCOMPARE(rig.sent.value(0).id, 169U);
    QCOMPARE(rig.sent.value(0).bytes, "\xAF\x0E" + padded(pong, 16));
    rig.sent.clear();
    Q_EMIT runningApp()->MAV_V2_EXTENSION(true);
    rig.carrier->sendPong(0x0102);
    QCOMPARE(rig.sent.value(0).id, 248U);
    QCOMPARE(rig.sent.value(0).bytes.mid(V2PayloadOffset), padded("\x0E" + pong, 249));
}

APP_TEST_MAIN(TestMavCommunicator)
#include "tst_mavcommunicator.moc"
