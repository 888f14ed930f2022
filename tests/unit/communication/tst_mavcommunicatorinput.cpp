// SPDX-License-Identifier: MIT
#include "communication/mavcommunicator.h"

#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "communication/recordingcarrier.h"
#include "support/testmain.h"

#include <algorithm>
#include <memory>

namespace {

namespace ardupilot = mavlink::ardupilotmega::msg;
using mavlink::common::msg::V2_EXTENSION;

const QString Malformed = QStringLiteral("[COMM] WARN: Received invalid message");

QString heard(int system)
{
    return QStringLiteral("[COMM] Dbg: Received V2 extension from  %1").arg(system);
}

V2_EXTENSION extensionOf(const QByteArray &frame, int length = -1)
{
    V2_EXTENSION message{};
    message.payload[0] = static_cast<quint8>(length < 0 ? frame.size() : length);
    std::copy(frame.begin(), frame.end(), message.payload.begin() + 1);
    return message;
}

/// A carrier in V2 mode that keeps the targets of what it sends and the data of what it receives.
class Rig
{
public:
    Rig()
    {
        loadFreshSettings({{"MAV/V2_EXTENSION", true}});
        carrier = std::make_unique<MavCommunicator>(20);
        QObject::connect(carrier.get(), &MavCommunicator::sendMavlinkMessage, carrier.get(),
                         [this](const mavlink::Message &message) {
                             sent.append(dynamic_cast<const V2_EXTENSION &>(message));
                         });
        QObject::connect(carrier.get(), &ICommunicator::receivedData, carrier.get(),
                         [this](const CompletePayload &payload) { received.append(payload.data); });
    }

    void receive(const mavlink::Message &message, Sender sender = {255, 190}, char filler = 0)
    {
        carrier->onMessageReceived(receivedOf(message, sender, filler));
    }

    /// Target system of a frame sent now.
    int target()
    {
        sent.clear();
        carrier->sendFragment(QByteArray(14, 'x'));
        return sent.value(0).target_system;
    }

    LogCapture log;
    std::unique_ptr<MavCommunicator> carrier;
    QList<V2_EXTENSION> sent;
    QList<QByteArray> received;
};

} // namespace

/// What comes in, and whom it makes the target.
class TestMavCommunicatorInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void payload_isEmitted();
    void payloadOf64KB_isEmitted();
    void anySenderAndAnyTarget_isAccepted();
    void ping_isAnsweredToItsSender();
    void target_isTheLastSender();
    void target_isSetBeforeTheFrameIsHandled();
    void message_isLoggedBeforeItIsHandled();
    void debugLine_isWrittenOnlyIfDebugIsOn();
    void frameEndingInZeros_trimmedByTheSender_isWhole_data();
    void frameEndingInZeros_trimmedByTheSender_isWhole();
    void lengthOfZero_isMalformed();
    void messageOfNoPayloadAtAll_isMalformed();
    void lengthBeyondTheFrame_readsZeros();
    void lengthShortOfTheFrame_isMalformed();
    void length_isClampedToThePayload_data();
    void length_isClampedToThePayload();
    void otherMessages_areIgnored();
    void messageType_isIgnored();
};

void TestMavCommunicatorInput::initTestCase()
{
    Rig rig;
    rig.receive(extensionOf(onboardFrame(4, pingBody(0)))); // the first of the process logs more
    rig.log.take();
}

void TestMavCommunicatorInput::payload_isEmitted()
{
    Rig rig;
    rig.receive(extensionOf(onboardFrames(payloadOf(17, 10), 252).at(0)));
    QCOMPARE(rig.received, QList<QByteArray>{payloadOf(17, 10).data});
    QCOMPARE(rig.log.take(), QStringList{heard(255)});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtDebugMsg});
}

void TestMavCommunicatorInput::payloadOf64KB_isEmitted()
{
    Rig rig;
    for (const QByteArray &frame : onboardFrames(payloadOf(17, 65535), 252))
        rig.receive(extensionOf(frame), {255, 190}, '\x5A');
    QCOMPARE(rig.log.take().size(), 745);
    QCOMPARE(rig.received, QList<QByteArray>{payloadOf(17, 65535).data});
}

void TestMavCommunicatorInput::anySenderAndAnyTarget_isAccepted()
{
    Rig rig;
    int expected = 0;
    for (const Sender sender : {Sender{0, 0}, Sender{1, 1}, Sender{2, 5}, Sender{255, 255}})
        for (const int target : {0, 2, 99}) {
            V2_EXTENSION message = extensionOf(onboardFrames(payloadOf(17, 10), 252).at(0));
            message.target_network = static_cast<quint8>(target);
            message.target_system = static_cast<quint8>(target);
            message.target_component = static_cast<quint8>(target);
            rig.receive(message, sender);
            QCOMPARE(rig.log.take(), QStringList{heard(sender.system)});
            QCOMPARE(rig.received.size(), ++expected);
        }
}

void TestMavCommunicatorInput::ping_isAnsweredToItsSender()
{
    Rig rig;
    rig.receive(extensionOf(onboardFrame(254, pingBody(77, "\x01\x02"))), {42, 190});
    QCOMPARE(rig.log.take().mid(1),
             (QStringList{
                 QStringLiteral("[COMM] Ping message: timestamp =  77"),
                 QStringLiteral("[COMM] Date-time:  \"%1\"")
                     .arg(QDateTime::fromMSecsSinceEpoch(77).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))),
                 QStringLiteral("[COMM] \"Protocol version on Kelm Tervon: 0.2\"")}));
    QCOMPARE(rig.sent.size(), 1);
    QCOMPARE(int(rig.sent[0].target_system), 42);
    QCOMPARE(int(rig.sent[0].target_component), 0);
    QCOMPARE(int(rig.sent[0].target_network), 0);
    QCOMPARE(int(rig.sent[0].message_type), 0);
    const QByteArray payload(reinterpret_cast<const char *>(rig.sent[0].payload.data()), 249);
    QCOMPARE(payload.left(15), "\x0E" + onboardFrame(4, pingBody(77, QByteArray("\x00\x02", 2))));
    QCOMPARE(payload.mid(15), QByteArray(249 - 15, '\0'));
}

void TestMavCommunicatorInput::target_isTheLastSender()
{
    Rig rig;
    QCOMPARE(rig.target(), 0);
    for (const int system : {255, 1, 0, 254}) {
        rig.receive(extensionOf(onboardFrame(3, "")), {static_cast<quint8>(system), 190});
        QCOMPARE(rig.target(), system);
    }
    rig.receive(heartbeatOf(8), {99, 1});
    rig.receive(ardupilot::DATA64{}, {98, 1});
    QCOMPARE(rig.target(), 254);
    rig.log.take();
}

void TestMavCommunicatorInput::target_isSetBeforeTheFrameIsHandled()
{
    Rig rig;
    int target = -1;
    connect(rig.carrier.get(), &ICommunicator::receivedData, this, [&] { target = rig.target(); });
    rig.receive(extensionOf(onboardFrames(payloadOf(17, 10), 252).at(0)), {42, 190});
    rig.log.take();
    QCOMPARE(target, 42);
}

void TestMavCommunicatorInput::message_isLoggedBeforeItIsHandled()
{
    Rig rig;
    rig.receive(extensionOf(onboardFrames(payloadOf(17, 10), 2).at(0)), {7, 190});
    QCOMPARE(rig.log.take(), (QStringList{heard(7), QStringLiteral("[COMM] Telemetry Message received")}));
}

void TestMavCommunicatorInput::debugLine_isWrittenOnlyIfDebugIsOn()
{
    Rig rig;
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    rig.receive(extensionOf(onboardFrame(3, "")), {42, 190});
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(rig.target(), 42);
}

void TestMavCommunicatorInput::frameEndingInZeros_trimmedByTheSender_isWhole_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("no zero") << QByteArray("data");
    QTest::newRow("ends in zeros") << QByteArray("da\0\0\0\0", 6);
    QTest::newRow("all zeros") << QByteArray(88, '\0');
    QTest::newRow("zeros between") << QByteArray("\0d\0\0a\0", 6);
}

// The wire carries nothing behind the last byte that is not zero; what stands behind it in the parser's
// buffer is of other messages.
void TestMavCommunicatorInput::frameEndingInZeros_trimmedByTheSender_isWhole()
{
    QFETCH(QByteArray, data);
    Rig rig;
    const CompletePayload payload{1, MessageId(2), PayloadId(17), data};
    QByteArray frame = onboardFrames(payload, 252).at(0);
    frame.replace(frame.size() - 2, 2, QByteArray(2, '\0')); // the checksum counts for nothing, and goes too
    const mavlink::mavlink_message_t message = receivedOf(extensionOf(frame), {255, 190}, '\x5A');
    QVERIFY(message.len < 6 + frame.size());
    rig.carrier->onMessageReceived(message);
    QCOMPARE(rig.received, QList<QByteArray>{data});
    rig.log.take();
}

void TestMavCommunicatorInput::lengthOfZero_isMalformed()
{
    Rig rig;
    rig.receive(extensionOf(onboardFrame(254, pingBody(0)), 0), {255, 190});
    QCOMPARE(rig.log.take(), (QStringList{heard(255), Malformed}));
    QCOMPARE(rig.log.takenTypes(), (QList<QtMsgType>{QtDebugMsg, QtWarningMsg}));
    QVERIFY(rig.sent.isEmpty());
    QCOMPARE(rig.target(), 255);
}

void TestMavCommunicatorInput::messageOfNoPayloadAtAll_isMalformed()
{
    Rig rig;
    mavlink::mavlink_message_t message = receivedOf(V2_EXTENSION{}, {255, 190}, '\x5A');
    QCOMPARE(int(message.len), 1); // a byte always stays
    rig.carrier->onMessageReceived(message);
    QCOMPARE(rig.log.take(), (QStringList{heard(255), Malformed}));
}

void TestMavCommunicatorInput::lengthBeyondTheFrame_readsZeros()
{
    Rig rig;
    rig.receive(extensionOf(QByteArray::fromHex("FE08"), 10), {255, 190}, '\x5A'); // a ping of time 0
    rig.log.take();
    QCOMPARE(rig.sent.size(), 1);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(rig.sent[0].payload.data()) + 1, 14),
             onboardFrame(4, pingBody(0, QByteArray("\x00\x02", 2))));
}

void TestMavCommunicatorInput::lengthShortOfTheFrame_isMalformed()
{
    Rig rig;
    const QByteArray ping = onboardFrame(254, pingBody(0));
    rig.receive(extensionOf(ping, 9)); // one byte of the body short
    QCOMPARE(rig.log.take(), (QStringList{heard(255), Malformed}));
    rig.receive(extensionOf(ping, 10)); // whole but for the checksum
    QCOMPARE(rig.log.take().size(), 1 + 3);
    QCOMPARE(rig.sent.size(), 1);
}

void TestMavCommunicatorInput::length_isClampedToThePayload_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("body");
    QTest::addColumn<bool>("whole");
    for (const int length : {248, 249, 255}) {
        QTest::addRow("length %d, all of it body", length) << length << 246 << true;
        QTest::addRow("length %d, a byte more announced", length) << length << 247 << false;
        QTest::addRow("length %d, announced to the end", length) << length << length - 2 << (length == 248);
    }
}

void TestMavCommunicatorInput::length_isClampedToThePayload()
{
    QFETCH(int, length);
    QFETCH(int, body);
    QFETCH(bool, whole);
    Rig rig;
    const int size = 246 - 8;
    V2_EXTENSION message = extensionOf(QByteArray::fromHex("FC"), length);
    message.payload[2] = static_cast<quint8>(body);
    message.payload[3] = static_cast<quint8>(size); // the total: what the payload holds behind the header
    std::fill(message.payload.begin() + 11, message.payload.end(), 0xA5);
    rig.receive(message);
    QCOMPARE(rig.log.take(), whole ? QStringList{heard(255)} : (QStringList{heard(255), Malformed}));
    QCOMPARE(rig.received, whole ? QList<QByteArray>{QByteArray(size, '\xA5')} : QList<QByteArray>());
}

void TestMavCommunicatorInput::otherMessages_areIgnored()
{
    Rig rig;
    const QByteArray ping = onboardFrame(254, pingBody(0)); // 12 bytes
    const auto carried = [&ping](auto message) {
        message.type = 175;
        message.len = static_cast<quint8>(ping.size());
        std::copy(ping.begin(), ping.end(), message.data.begin());
        return message;
    };
    rig.receive(carried(ardupilot::DATA16{}));
    rig.receive(carried(ardupilot::DATA32{}));
    rig.receive(carried(ardupilot::DATA64{}));
    rig.receive(carried(ardupilot::DATA96{}));
    rig.receive(heartbeatOf(12));
    rig.receive(mavlink::common::msg::COMMAND_LONG{});
    QCOMPARE(rig.log.take(), QStringList());
    QVERIFY(rig.sent.isEmpty());
    QCOMPARE(rig.target(), 0);
}

void TestMavCommunicatorInput::messageType_isIgnored()
{
    Rig rig;
    for (const int type : {1, 32767, 65535}) {
        V2_EXTENSION message = extensionOf(onboardFrames(payloadOf(17, 10), 252).at(0));
        message.message_type = static_cast<quint16>(type);
        rig.receive(message);
    }
    rig.log.take();
    QCOMPARE(rig.received.size(), 3);
}

APP_TEST_MAIN(TestMavCommunicatorInput)
#include "tst_mavcommunicatorinput.moc"
