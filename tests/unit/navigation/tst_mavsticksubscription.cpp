// SPDX-License-Identifier: MIT
#include "navigation/stickrecorder.h"

#include <QtTest>

namespace {

constexpr quint8 Px4 = 12;
constexpr quint8 ArduPilot = 3;

// Frames of pymavlink 2.4.50, to system 1 at the rates of a fresh stick.
const QByteArrayList Px4Requests{
    // GPS2_RAW, 500 ms
    "FD2000000002054C00000000F8420024F4480000000000000000000000000000000000000000FF0101018DF2",
    "FD2000000102054C00000000F8420024F4480000000000000000000000000000000000000000FF01010163B8",
    "FD2000000202054C00000000F8420024F4480000000000000000000000000000000000000000FF0101015167",
    // GLOBAL_POSITION_INT, 500 ms
    "FD2000000302054C0000000004420024F4480000000000000000000000000000000000000000FF0101014F36",
    "FD2000000402054C0000000004420024F4480000000000000000000000000000000000000000FF010101D4CA",
    "FD2000000502054C0000000004420024F4480000000000000000000000000000000000000000FF0101013A80",
    // ATTITUDE, 500 ms
    "FD2000000602054C00000000F0410024F4480000000000000000000000000000000000000000FF0101012B3C",
    "FD2000000702054C00000000F0410024F4480000000000000000000000000000000000000000FF010101C576",
    "FD2000000802054C00000000F0410024F4480000000000000000000000000000000000000000FF0101010CCD",
    // SYSTEM_TIME, 1 s
    "FD2000000902054C000000000040002474490000000000000000000000000000000000000000FF0101013C02",
    "FD2000000A02054C000000000040002474490000000000000000000000000000000000000000FF0101010EDD",
    "FD2000000B02054C000000000040002474490000000000000000000000000000000000000000FF010101E097",
    // DISTANCE_SENSOR, 1 s
    "FD2000000C02054C000000000443002474490000000000000000000000000000000000000000FF0101018D06",
    "FD2000000D02054C000000000443002474490000000000000000000000000000000000000000FF010101634C",
    "FD2000000E02054C000000000443002474490000000000000000000000000000000000000000FF0101015193"};
const QByteArrayList ArduPilotRequests{"FD060000000205420000320001010601ED87", // position, 50 Hz
                                       "FD0600000102054200003200010106014082", //
                                       "FD060000020205420000320001010601B78C", //
                                       "FD060000030205420000320001010A01B92C", // extra 1, 50 Hz
                                       "FD060000040205420000320001010A01FA34", //
                                       "FD060000050205420000320001010A015731", //
                                       "FD060000060205420000020001010201282F", // extended status, 2 Hz
                                       "FD060000070205420000020001010201852A", //
                                       "FD060000080205420000020001010201AE1F", //
                                       "FD060000090205420000020001010C01180A", // extra 3, 2 Hz
                                       "FD0600000A0205420000020001010C01EF04", //
                                       "FD0600000B0205420000020001010C014201"};

const QString ArduPilotLine = QStringLiteral("[MAV] Requesting data stream <<<<<<<<<< ");
const QString UnknownLine = QStringLiteral("[MAV] CRIT: Unknown autopilot type detected :  0");

} // namespace

class TestMavStickSubscription : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void px4_isAskedForFifteenIntervals();
    void arduPilot_isAskedForTwelveStreams();
    void arduPilotLine_comesFirst();
    void askedAgain_asksAgain();
    void beforeDetection_isACriticalLine();
    void afterAHandOverAlone_isACriticalLine();
    void fromInsideTheFirstStatus_asks();
    void requests_goToComponentOneOfTheTarget_data();
    void requests_goToComponentOneOfTheTarget();
    void trySubscribeRequest_sendsThreeTimes();
};

void TestMavStickSubscription::px4_isAskedForFifteenIntervals()
{
    StickRecorder of;
    of.detect(Px4);
    QVERIFY(of.stick.subscribeToTelemetry());
    QCOMPARE(of.sent, Px4Requests);
    QCOMPARE(of.emitted.count(QStringLiteral("sendMessage")), of.emitted.size());
}

void TestMavStickSubscription::arduPilot_isAskedForTwelveStreams()
{
    StickRecorder of;
    of.detect(ArduPilot);
    QVERIFY(of.stick.subscribeToTelemetry());
    QCOMPARE(of.sent, ArduPilotRequests);
    QCOMPARE(of.emitted.count(QStringLiteral("sendMessage")), of.emitted.size());
    QCOMPARE(of.log.take(), QStringList{ArduPilotLine});
    QCOMPARE(of.log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
}

void TestMavStickSubscription::arduPilotLine_comesFirst()
{
    StickRecorder of;
    of.detect(ArduPilot);
    QStringList before;
    connect(&of.stick, &MavStickAdapter::sendMessage, this, [&] { before += of.log.take(); });
    of.stick.subscribeToTelemetry();
    QCOMPARE(before, QStringList{ArduPilotLine});
}

void TestMavStickSubscription::askedAgain_asksAgain()
{
    StickRecorder of;
    of.detect(Px4);
    of.stick.subscribeToTelemetry();
    QCOMPARE(of.takeSent(), Px4Requests);
    of.stick.subscribeToTelemetry();
    QCOMPARE(of.takeSent(), Px4Requests);
}

void TestMavStickSubscription::beforeDetection_isACriticalLine()
{
    StickRecorder of;
    QVERIFY(of.stick.subscribeToTelemetry());
    QCOMPARE(of.log.take(), QStringList{UnknownLine});
    QCOMPARE(of.log.takenTypes(), QList<QtMsgType>{QtCriticalMsg});
    QCOMPARE(of.emitted, QStringList());
}

void TestMavStickSubscription::afterAHandOverAlone_isACriticalLine()
{
    StickRecorder of;
    of.stick.setTargetSystemId(1);
    QVERIFY(of.stick.subscribeToTelemetry());
    QCOMPARE(of.log.take(), QStringList{UnknownLine});
    QCOMPARE(of.emitted, QStringList());
}

void TestMavStickSubscription::fromInsideTheFirstStatus_asks()
{
    StickRecorder of;
    connect(&of.stick, &IVirtualStick::statusChanged, this, [&] { of.stick.subscribeToTelemetry(); });
    of.receive(heartbeatOf(Px4));
    of.log.take();
    QCOMPARE(of.sent, Px4Requests);
}

void TestMavStickSubscription::requests_goToComponentOneOfTheTarget_data()
{
    QTest::addColumn<quint8>("autopilot");
    QTest::addColumn<int>("targetAt"); // in hex digits
    QTest::newRow("PX4") << Px4 << 20 + 2 * 30;
    QTest::newRow("ArduPilot") << ArduPilot << 20 + 2 * 2;
}

void TestMavStickSubscription::requests_goToComponentOneOfTheTarget()
{
    QFETCH(quint8, autopilot);
    QFETCH(int, targetAt);
    StickRecorder of;
    of.detect(autopilot, {200, 99});
    of.stick.subscribeToTelemetry();
    of.log.take();
    QVERIFY(!of.sent.isEmpty());
    for (const QByteArray &frame : qAsConst(of.sent))
        QCOMPARE(frame.mid(targetAt, 4), QByteArray("C801"));
}

void TestMavStickSubscription::trySubscribeRequest_sendsThreeTimes()
{
    StickRecorder of;
    of.stick.trySubscribeRequest(attitudeOf(1));
    QCOMPARE(of.emitted.count(QStringLiteral("sendMessage")), 3);
    QCOMPARE(of.emitted.size(), 3);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(of.sent[i], frameOf(attitudeOf(1), {2, 5}, quint8(i)).toHex().toUpper());
}

QTEST_GUILESS_MAIN(TestMavStickSubscription)
#include "tst_mavsticksubscription.moc"
