// SPDX-License-Identifier: MIT
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"

#include <QtTest>

#include <ctime>

namespace {

const QString Malformed = QStringLiteral("[X] WARN: Received invalid message");
const QString TelemetryReceived = QStringLiteral("[X] Telemetry Message received");
const QString PongReceived = QStringLiteral("[X] Pong Message received");

constexpr qint64 TimestampMs = 1709769600123; // 2024-03-07 00:00:00.123 UTC

/// A carrier whose payloads from the ground are kept.
class Rig
{
public:
    Rig()
    {
        QObject::connect(&carrier, &ICommunicator::receivedData, &carrier,
                         [this](const CompletePayload &payload) { received.append(payload); });
    }

    void parse(const QList<QByteArray> &frames)
    {
        for (const QByteArray &frame : frames)
            carrier.parseIncomingData(frame);
    }

    LogCapture log;
    RecordingCarrier carrier;
    QList<CompletePayload> received;
};

} // namespace

/// What comes in.
class TestFragmentedCommunicatorInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void payloadForTheHost_isEmitted();
    void payloadForTheHost_ofAnySize_isEmitted_data();
    void payloadForTheHost_ofAnySize_isEmitted();
    void telemetry_isLoggedButNotEmitted();
    void typeOfTheLastFragment_decides();
    void firstPing_isLoggedInDetailAndAnswered();
    void laterPings_areAnsweredAlone();
    void firstPing_afterARestart_isNotLoggedAgain();
    void firstPing_ofEachCommunicator_isLogged();
    void pingInAnyState_isAnsweredWithItsTimestamp_data();
    void pingInAnyState_isAnsweredWithItsTimestamp();
    void pong_isLogged();
    void malformedFrame_givesOneWarning_data();
    void malformedFrame_givesOneWarning();
    void wrongChecksum_doesNotMatter();
    void unknownType_givesNothing();
    void rejectedFragment_givesNothing();
};

void TestFragmentedCommunicatorInput::initTestCase()
{
    qputenv("TZ", "XYZ-03:30"); // a zone that no machine of ours is in: three and a half hours ahead
    tzset();
    Rig rig;
    rig.carrier.parseIncomingData(onboardFrame(4, pingBody(0))); // the first of the process logs more
    rig.log.take();
}

void TestFragmentedCommunicatorInput::payloadForTheHost_isEmitted()
{
    Rig rig;
    rig.parse({onboardFrame(252, QByteArray::fromHex("0400785602000311") + "ta"),
               onboardFrame(252, QByteArray::fromHex("0400785600000311") + "da")});
    QCOMPARE(rig.received.size(), 1);
    QCOMPARE(rig.received[0].id, quint16(0x5678));
    QCOMPARE(rig.received[0].messageId, MessageId(3));
    QCOMPARE(rig.received[0].payloadId, PayloadId(17));
    QCOMPARE(rig.received[0].data, QByteArray("data"));
    QCOMPARE(rig.carrier.take(), QList<QByteArray>());
}

void TestFragmentedCommunicatorInput::payloadForTheHost_ofAnySize_isEmitted_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {1, 84, 85, 88, 89, 200, 65535})
        QTest::addRow("%d", size) << size;
}

void TestFragmentedCommunicatorInput::payloadForTheHost_ofAnySize_isEmitted()
{
    QFETCH(int, size);
    Rig rig;
    const CompletePayload payload = payloadOf(4, size);
    rig.parse(onboardFrames(payload, 252));
    QCOMPARE(rig.received.size(), 1);
    QCOMPARE(rig.received[0].data, payload.data);
}

void TestFragmentedCommunicatorInput::telemetry_isLoggedButNotEmitted()
{
    Rig rig;
    rig.parse(onboardFrames(payloadOf(4, 200), 2));
    QCOMPARE(rig.log.take(), QStringList{TelemetryReceived});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
    QCOMPARE(rig.received.size(), 0);
}

void TestFragmentedCommunicatorInput::typeOfTheLastFragment_decides()
{
    Rig rig;
    const CompletePayload payload = payloadOf(4, 100);
    rig.parse({onboardFrames(payload, 2)[0], onboardFrames(payload, 252)[1]});
    QCOMPARE(rig.received.size(), 1);
    QCOMPARE(rig.log.take(), QStringList());
    rig.parse({onboardFrames(payload, 252)[0], onboardFrames(payload, 2)[1]});
    QCOMPARE(rig.received.size(), 1);
    QCOMPARE(rig.log.take(), QStringList{TelemetryReceived});
}

void TestFragmentedCommunicatorInput::firstPing_isLoggedInDetailAndAnswered()
{
    Rig rig;
    QStringList beforeTheAnswer;
    rig.carrier.onFrame = [&](const QByteArray &) { beforeTheAnswer = rig.log.take(); };
    rig.parse({onboardFrame(254, pingBody(TimestampMs, "\x05\x06"))});
    QCOMPARE(beforeTheAnswer, (QStringList{QStringLiteral("[X] Ping message: timestamp =  1709769600123"),
                                           QStringLiteral("[X] Date-time:  \"2024-03-07 03:30:00\""),
                                           QStringLiteral("[X] \"Protocol version on Kelm Tervon: 0.2\"")}));
    QCOMPARE(rig.log.takenTypes(), (QList<QtMsgType>{QtInfoMsg, QtInfoMsg, QtInfoMsg}));
    QCOMPARE(rig.carrier.take(),
             QList<QByteArray>{onboardFrame(4, pingBody(TimestampMs, QByteArray("\x00\x02", 2)))});
}

void TestFragmentedCommunicatorInput::laterPings_areAnsweredAlone()
{
    Rig rig;
    for (int i = 0; i < 4; ++i)
        rig.parse({onboardFrame(254, pingBody(i))});
    QCOMPARE(rig.log.take().size(), 3);
    QCOMPARE(rig.carrier.take().size(), 4);
}

void TestFragmentedCommunicatorInput::firstPing_afterARestart_isNotLoggedAgain()
{
    Rig rig;
    rig.carrier.start();
    rig.parse({onboardFrame(254, pingBody(1))});
    QCOMPARE(rig.log.take().size(), 3);
    rig.carrier.stop();
    rig.carrier.start();
    rig.parse({onboardFrame(254, pingBody(2))});
    QCOMPARE(rig.log.take(), QStringList());
}

void TestFragmentedCommunicatorInput::firstPing_ofEachCommunicator_isLogged()
{
    Rig rig;
    RecordingCarrier other;
    rig.parse({onboardFrame(4, pingBody(1))}); // a pong is none
    QCOMPARE(rig.log.take(), QStringList{PongReceived});
    rig.parse({onboardFrame(254, pingBody(1))});
    QCOMPARE(rig.log.take().size(), 3);
    other.parseIncomingData(onboardFrame(254, pingBody(1)));
    QCOMPARE(rig.log.take().size(), 3);
}

void TestFragmentedCommunicatorInput::pingInAnyState_isAnsweredWithItsTimestamp_data()
{
    QTest::addColumn<qint64>("timestamp");
    QTest::addColumn<QByteArray>("version");
    QTest::newRow("timestamp only") << TimestampMs << QByteArray();
    QTest::newRow("major") << TimestampMs << QByteArray("\x01");
    QTest::newRow("major and minor") << TimestampMs << QByteArray("\x01\x07");
    QTest::newRow("more") << TimestampMs << QByteArray(200, 'x');
    QTest::newRow("0") << qint64(0) << QByteArray();
    QTest::newRow("-1") << qint64(-1) << QByteArray();
    QTest::newRow("largest") << std::numeric_limits<qint64>::max() << QByteArray();
}

void TestFragmentedCommunicatorInput::pingInAnyState_isAnsweredWithItsTimestamp()
{
    QFETCH(qint64, timestamp);
    QFETCH(QByteArray, version);
    Rig rig;
    rig.parse({onboardFrame(254, pingBody(timestamp, version))});
    rig.log.take();
    QCOMPARE(rig.carrier.take(),
             QList<QByteArray>{onboardFrame(4, pingBody(timestamp, QByteArray("\x00\x02", 2)))});
}

void TestFragmentedCommunicatorInput::pong_isLogged()
{
    Rig rig;
    rig.parse({onboardFrame(4, pingBody(TimestampMs, "\x01\x02")), onboardFrame(4, pingBody(0))});
    QCOMPARE(rig.log.take(), (QStringList{PongReceived, PongReceived}));
    QCOMPARE(rig.log.takenTypes(), (QList<QtMsgType>{QtInfoMsg, QtInfoMsg}));
    QCOMPARE(rig.carrier.take(), QList<QByteArray>());
}

void TestFragmentedCommunicatorInput::malformedFrame_givesOneWarning_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("type only") << QByteArray("\xFE");
    QTest::newRow("body cut short") << QByteArray::fromHex("0205AABBCCDD");
    QTest::newRow("unknown type cut short") << QByteArray::fromHex("0301");
    for (const int type : {2, 252, 254, 4})
        for (const int size : {0, 7})
            QTest::addRow("type %d with %d bytes", type, size) << onboardFrame(type, QByteArray(size, '\0'));
}

void TestFragmentedCommunicatorInput::malformedFrame_givesOneWarning()
{
    QFETCH(QByteArray, frame);
    Rig rig;
    rig.parse({frame});
    QCOMPARE(rig.log.take(), QStringList{Malformed});
    QCOMPARE(rig.log.takenTypes(), QList<QtMsgType>{QtWarningMsg});
    QCOMPARE(rig.carrier.take(), QList<QByteArray>());
    QCOMPARE(rig.received.size(), 0);
}

void TestFragmentedCommunicatorInput::wrongChecksum_doesNotMatter()
{
    Rig rig;
    QByteArray frame = onboardFrames(payloadOf(4, 10), 252)[0];
    frame.chop(2);
    rig.parse({frame, frame + QByteArray(2, '\0'), frame + "bytes behind"});
    QCOMPARE(rig.received.size(), 3);
}

void TestFragmentedCommunicatorInput::unknownType_givesNothing()
{
    Rig rig;
    for (const int type : {0, 1, 3, 5, 251, 253, 255})
        rig.parse({onboardFrame(type, QByteArray()), onboardFrame(type, QByteArray(10, '\0'))});
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(rig.carrier.take(), QList<QByteArray>());
    QCOMPARE(rig.received.size(), 0);
}

void TestFragmentedCommunicatorInput::rejectedFragment_givesNothing()
{
    Rig rig;
    const QList<QByteArray> frames = onboardFrames(payloadOf(4, 100), 252);
    rig.parse({frames[0], frames[0], frames[1]});
    QCOMPARE(rig.log.take(), QStringList());
    QCOMPARE(rig.received.size(), 0);
}

QTEST_GUILESS_MAIN(TestFragmentedCommunicatorInput)
#include "tst_fragmentedcommunicatorinput.moc"
