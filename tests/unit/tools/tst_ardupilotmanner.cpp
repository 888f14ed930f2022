// SPDX-License-Identifier: MIT
#include "sim/ardupilotmanner.h"

#include "autopilotfixture.h"

#include <QtTest>

using namespace mavlink::ardupilotmega::msg;
using namespace mavlink::common::msg;
using mavlink::minimal::msg::HEARTBEAT;
using mavlink::standard::msg::GLOBAL_POSITION_INT;

namespace {

constexpr quint32 guided = 4;
constexpr quint32 land = 9;

void requestStream(Flight *flight, quint8 stream, quint16 rate, quint8 start = 1)
{
    REQUEST_DATA_STREAM request = {};
    request.target_system = 1;
    request.target_component = 1;
    request.req_stream_id = stream;
    request.req_message_rate = rate;
    request.start_stop = start;
    flight->send(request);
}

void getReady(Flight *flight)
{
    flight->run(43);
    flight->setMode(guided);
}

void takeOff(Flight *flight, float heightM = 15)
{
    getReady(flight);
    QCOMPARE(flight->arm(), 0);
    flight->run(1);
    QCOMPARE(flight->command(Incoming::TakeOff, {0, 0, 0, heightM}), 0);
}

} // namespace

class TestArduPilotManner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void boot_saysSoInHeartbeatsAndTexts();
    void setMode_worksAtOnce_withoutAcknowledgement();
    void setMode_addressedToAll_works_toAnother_doesNot();
    void unknownMode_isTold();
    void arming_isRefusedUntilReady();
    void arming_showsInTheHeartbeatAMomentLater();
    void takeOff_needsGuidedModeAndArming();
    void takeOff_climbsAsRecorded();
    void setPointDuringTheClimb_endsTheClimb();
    void velocity_isFlown_andHeldForThreeSeconds_thenBraked();
    void yawRate_isFlown();
    void slowLine_slowsStreamsDown_andDistancesMost();
    void setPoint_doesNothingWhereItMust_data();
    void setPoint_doesNothingWhereItMust();
    void setPointThatIsNoVelocity_isIgnored_data();
    void setPointThatIsNoVelocity_isIgnored();
    void landing_slowsNearTheGround_andDisarms();
    void returnToLaunch_comesHome();
    void disarmInTheAir_needsForce();
    void commandsToOthers_areNotAnswered();
    void unknownCommand_isUnsupported();
    void streams_comeWhenAsked_atTheRateAsked();
    void streams_end_whenAsked();
    void reboot_forgetsStreamsModeAndFix();
    void reboot_isRefusedWhileArmed();
    void positions_beforeTheFix_areZeroOrWrong();
    void unixTime_comesWithTheFix();
    void relativeAltitude_isZeroUntilHomeIsKnown();
    void distance_isZeroOnTheGround_andLongerWhenLeaning();
};

void TestArduPilotManner::boot_saysSoInHeartbeatsAndTexts()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(0.7);
    QVERIFY(flight.outbox.sent.isEmpty());
    flight.run(49.3);
    const QList<HEARTBEAT> beats = flight.outbox.all<HEARTBEAT>();
    QCOMPARE(beats.size(), 50);
    QCOMPARE(int(beats.first().base_mode), 89);
    QCOMPARE(int(beats.first().system_status), 1);
    QCOMPARE(int(beats.last().base_mode), 81);
    QCOMPARE(int(beats.last().system_status), 3);
    QCOMPARE(int(beats.last().autopilot), 3);
    QCOMPARE(flight.outbox.texts().first(), QStringLiteral("Calibrating barometer"));
    QVERIFY(flight.outbox.texts().contains(QLatin1String("EKF3 IMU0 is using GPS")));
    QCOMPARE(flight.outbox.count(TIMESYNC::MSG_ID), 5);
    QCOMPARE(flight.outbox.count(HOME_POSITION::MSG_ID), 1);
    QCOMPARE(flight.outbox.count(ATTITUDE::MSG_ID), 0);
}

void TestArduPilotManner::setMode_worksAtOnce_withoutAcknowledgement()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(1);
    flight.setMode(guided);
    QCOMPARE(flight.heartbeat().custom_mode, guided);
    QCOMPARE(flight.outbox.count(COMMAND_ACK::MSG_ID), 0);
}

void TestArduPilotManner::setMode_addressedToAll_works_toAnother_doesNot()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(1);
    SET_MODE request = {};
    request.base_mode = 1;
    request.custom_mode = guided;
    request.target_system = 7;
    flight.send(request);
    QCOMPARE(flight.heartbeat().custom_mode, 0U);
    request.target_system = 0;
    flight.send(request);
    QCOMPARE(flight.heartbeat().custom_mode, guided);
}

void TestArduPilotManner::unknownMode_isTold()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(1);
    flight.outbox.sent.clear();
    flight.setMode(99);
    QCOMPARE(flight.outbox.texts(), QStringList{QStringLiteral("No such mode 99")});
    QCOMPARE(flight.heartbeat().custom_mode, 0U);
}

void TestArduPilotManner::arming_isRefusedUntilReady()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(41.9);
    flight.setMode(guided);
    QCOMPARE(flight.arm(), 4);
    QCOMPARE(flight.outbox.texts(), QStringList{QStringLiteral("Arm: Need Position Estimate")});
    flight.run(0.2);
    QCOMPARE(flight.arm(), 0);
}

void TestArduPilotManner::arming_showsInTheHeartbeatAMomentLater()
{
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    QCOMPARE(flight.arm(), 0);
    flight.run(0.29);
    QVERIFY(!(flight.heartbeat().base_mode & 128));
    flight.run(0.02);
    QCOMPARE(int(flight.heartbeat().base_mode), 217);
}

void TestArduPilotManner::takeOff_needsGuidedModeAndArming()
{
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    QCOMPARE(flight.command(Incoming::TakeOff, {0, 0, 0, 15}), 4);
    flight.setMode(0);
    QCOMPARE(flight.arm(), 0);
    flight.run(1);
    QCOMPARE(flight.command(Incoming::TakeOff, {0, 0, 0, 15}), 4);
    flight.setMode(guided);
    QCOMPARE(flight.command(Incoming::TakeOff, {0, 0, 0, 15}), 0);
    flight.run(4);
    QCOMPARE(flight.command(Incoming::TakeOff, {0, 0, 0, 15}), 4);
}

// Recorded: 0.57 m after 2.9 s, 7.1 m after 6 s, 15.07 m after 11 s.
void TestArduPilotManner::takeOff_climbsAsRecorded()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(1.8);
    QCOMPARE(flight.heightM(), 0.0);
    flight.run(1.1);
    QVERIFY(qAbs(flight.heightM() - 0.57) < 0.3);
    flight.run(3.1);
    QVERIFY(qAbs(flight.heightM() - 7.1) < 1);
    flight.run(5);
    QVERIFY(qAbs(flight.heightM() - 15) < 0.3);
    QCOMPARE(int(flight.heartbeat().system_status), 4);
}

void TestArduPilotManner::setPointDuringTheClimb_endsTheClimb()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(5);
    flight.setPoint(0, 0, 0);
    flight.run(10);
    QVERIFY(flight.heightM() < 8);
}

void TestArduPilotManner::velocity_isFlown_andHeldForThreeSeconds_thenBraked()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(12);
    flight.fly(0, 3, 0, 0, 5);
    QVERIFY(qAbs(flight.vehicle().velocity.y - 3) < 0.05);
    QVERIFY(flight.vehicle().roll > 0.09 && flight.vehicle().roll < 0.13);
    flight.run(2.8);
    QVERIFY(qAbs(flight.vehicle().velocity.y - 3) < 0.05);
    flight.run(2.7);
    QVERIFY(flight.speed() < 0.1);
}

// Recorded: 0.35 rad/s turns 98 degrees in 5 s.
void TestArduPilotManner::yawRate_isFlown()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(12);
    flight.fly(0, 0, 0, 0.35, 5);
    const double degrees = flight.vehicle().yaw * 180 / M_PI;
    QVERIFY(degrees > 95 && degrees < 101);
}

void TestArduPilotManner::setPoint_doesNothingWhereItMust_data()
{
    QTest::addColumn<bool>("armed");
    QTest::addColumn<bool>("flying");
    QTest::addColumn<quint32>("mode");
    QTest::newRow("disarmed") << false << false << guided;
    QTest::newRow("on the ground") << true << false << guided;
    QTest::newRow("another mode") << true << true << 5U;
}

void TestArduPilotManner::setPoint_doesNothingWhereItMust()
{
    QFETCH(bool, armed);
    QFETCH(bool, flying);
    QFETCH(quint32, mode);
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    if (armed)
        flight.arm();
    flight.run(1);
    if (flying)
        flight.command(Incoming::TakeOff, {0, 0, 0, 15});
    flight.run(14);
    flight.setMode(mode);
    const double height = flight.heightM();
    flight.fly(3, 0, -2, 0, 3);
    QVERIFY(flight.speed() < 0.01);
    QVERIFY(qAbs(flight.heightM() - height) < 0.1);
}

void TestArduPilotManner::setPointThatIsNoVelocity_isIgnored_data()
{
    QTest::addColumn<int>("frame");
    QTest::addColumn<int>("mask");
    QTest::addColumn<float>("north");
    QTest::newRow("position used") << 1 << 1990 << 3.0F;
    QTest::newRow("acceleration used") << 1 << (1991 & ~0x40) << 3.0F;
    QTest::newRow("velocity ignored") << 1 << (1991 | 0x08) << 3.0F;
    QTest::newRow("body frame") << 8 << 1991 << 3.0F;
    QTest::newRow("no number") << 1 << 1991 << float(NAN);
    QTest::newRow("infinite") << 1 << 1991 << float(INFINITY);
}

void TestArduPilotManner::setPointThatIsNoVelocity_isIgnored()
{
    QFETCH(int, frame);
    QFETCH(int, mask);
    QFETCH(float, north);
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(12);
    SET_POSITION_TARGET_LOCAL_NED target = {};
    target.coordinate_frame = quint8(frame);
    target.type_mask = quint16(mask);
    target.vx = north;
    flight.send(target);
    flight.run(1);
    QVERIFY(flight.speed() < 0.01);
}

// Recorded: 1.5 m/s down to 10 m, then 0.5 m/s; disarmed 2.1 s after touching the ground.
void TestArduPilotManner::landing_slowsNearTheGround_andDisarms()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(12);
    flight.setMode(land);
    flight.run(2);
    QVERIFY(qAbs(flight.vehicle().velocity.z - 1.5) < 0.05);
    flight.run(5);
    QVERIFY(qAbs(flight.vehicle().velocity.z - 0.5) < 0.05);
    QCOMPARE(int(flight.heartbeat().base_mode), 217);
    while (!flight.vehicle().landed)
        flight.run(0.1);
    flight.run(1.8);
    QVERIFY(flight.autopilot.state().armed);
    flight.run(0.3);
    QCOMPARE(int(flight.heartbeat().base_mode), 89);
    QCOMPARE(flight.outbox.texts().last(), QStringLiteral("Disarming motors"));
}

void TestArduPilotManner::returnToLaunch_comesHome()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(12);
    flight.fly(4, 3, 0, 0, 6);
    flight.setMode(6);
    flight.run(60);
    QVERIFY(flight.vehicle().landed);
    QVERIFY(!flight.autopilot.state().armed);
    QVERIFY(std::hypot(flight.vehicle().position.x, flight.vehicle().position.y) < 1);
}

void TestArduPilotManner::disarmInTheAir_needsForce()
{
    Flight flight(AutopilotKind::ArduPilot);
    takeOff(&flight);
    flight.run(12);
    QCOMPARE(flight.command(Incoming::Arm), 4);
    QCOMPARE(flight.command(Incoming::Arm, {0, Incoming::forceDisarm, 0, 0}), 0);
    flight.run(5);
    QVERIFY(flight.vehicle().landed);
}

void TestArduPilotManner::commandsToOthers_areNotAnswered()
{
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    QCOMPARE(flight.command(Incoming::Arm, {1, 0, 0, 0}, 190), -1);
}

void TestArduPilotManner::unknownCommand_isUnsupported()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(1);
    QCOMPARE(flight.command(31000), 3);
}

void TestArduPilotManner::streams_comeWhenAsked_atTheRateAsked()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(43);
    requestStream(&flight, 6, 50);
    requestStream(&flight, 2, 2);
    requestStream(&flight, 12, 200);
    flight.outbox.sent.clear();
    flight.run(10);
    for (const quint32 id :
         {GLOBAL_POSITION_INT::MSG_ID, LOCAL_POSITION_NED::MSG_ID, DISTANCE_SENSOR::MSG_ID})
        QVERIFY(qAbs(flight.outbox.count(id) - 500) <= 1);
    for (const quint32 id : {GPS_RAW_INT::MSG_ID, SYS_STATUS::MSG_ID, MISSION_CURRENT::MSG_ID})
        QVERIFY(qAbs(flight.outbox.count(id) - 20) <= 1);
    QCOMPARE(flight.outbox.count(ATTITUDE::MSG_ID), 0);
}

void TestArduPilotManner::streams_end_whenAsked()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(5);
    requestStream(&flight, 10, 10);
    flight.run(1);
    const int before = flight.outbox.count(ATTITUDE::MSG_ID);
    QVERIFY(before >= 10);
    requestStream(&flight, 10, 10, 0);
    flight.run(1);
    QCOMPARE(flight.outbox.count(ATTITUDE::MSG_ID), before);
}

void TestArduPilotManner::reboot_forgetsStreamsModeAndFix()
{
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    requestStream(&flight, 12, 10);
    flight.run(1);
    QCOMPARE(flight.command(Incoming::Reboot, {1, 0, 0, 0}), 0);
    flight.outbox.sent.clear();
    flight.run(1.2);
    QVERIFY(flight.outbox.sent.isEmpty());
    flight.run(1);
    QCOMPARE(flight.outbox.count(HEARTBEAT::MSG_ID), 1);
    QCOMPARE(flight.outbox.count(SYSTEM_TIME::MSG_ID), 0);
    QCOMPARE(flight.heartbeat().custom_mode, 0U);
    requestStream(&flight, 12, 10);
    flight.run(0.1);
    const SYSTEM_TIME time = flight.outbox.all<SYSTEM_TIME>().last();
    QCOMPARE(time.time_unix_usec, quint64(0));
    QVERIFY(time.time_boot_ms < 2500);
}

void TestArduPilotManner::reboot_isRefusedWhileArmed()
{
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    flight.arm();
    flight.run(1);
    QCOMPARE(flight.command(Incoming::Reboot, {1, 0, 0, 0}), 4);
}

void TestArduPilotManner::positions_beforeTheFix_areZeroOrWrong()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(5);
    requestStream(&flight, 6, 10);
    requestStream(&flight, 2, 10);
    flight.run(10);
    QList<int> fixes;
    for (const GPS_RAW_INT &gps : flight.outbox.all<GPS_RAW_INT>()) {
        if (fixes.isEmpty() || fixes.last() != gps.fix_type)
            fixes.append(gps.fix_type);
        if (gps.fix_type == 1)
            QVERIFY(qAbs(gps.lon - 1491652299) > 10'000'000);
    }
    QCOMPARE(fixes, (QList<int>{0, 1, 6}));
    const QList<GLOBAL_POSITION_INT> positions = flight.outbox.all<GLOBAL_POSITION_INT>();
    QCOMPARE(positions.first().lat, 0);
    QCOMPARE(positions.first().alt, 0);
    QVERIFY(qAbs(positions.last().lat + 353632610) < 100);
    QVERIFY(qAbs(positions.last().alt - 584090) < 100);
}

void TestArduPilotManner::unixTime_comesWithTheFix()
{
    SimulatedAutopilot::Settings settings = Flight::settingsOf(AutopilotKind::ArduPilot);
    settings.unixTimeUs = 1'795'266'625'000'000;
    Flight flight(settings);
    flight.run(10);
    requestStream(&flight, 12, 50);
    flight.run(1);
    const QList<SYSTEM_TIME> times = flight.outbox.all<SYSTEM_TIME>();
    QCOMPARE(times.first().time_unix_usec, quint64(0));
    QCOMPARE(times.last().time_unix_usec, settings.unixTimeUs + times.last().time_boot_ms * quint64(1000));
}

void TestArduPilotManner::relativeAltitude_isZeroUntilHomeIsKnown()
{
    Flight flight(AutopilotKind::ArduPilot);
    flight.run(15);
    requestStream(&flight, 6, 10);
    flight.run(10);
    int unknown = 0;
    for (const GLOBAL_POSITION_INT &position : flight.outbox.all<GLOBAL_POSITION_INT>())
        unknown += position.relative_alt == 0 && position.time_boot_ms < 20000 ? 1 : 0;
    QCOMPARE(unknown, 50);
    QVERIFY(flight.autopilot.state().homeKnown);
}

void TestArduPilotManner::distance_isZeroOnTheGround_andLongerWhenLeaning()
{
    Flight flight(AutopilotKind::ArduPilot);
    getReady(&flight);
    requestStream(&flight, 12, 10);
    flight.run(1);
    const DISTANCE_SENSOR ground = flight.outbox.all<DISTANCE_SENSOR>().last();
    QCOMPARE(int(ground.current_distance), 0);
    QCOMPARE(int(ground.type), 4);
    QCOMPARE(int(ground.id), 0);
    QCOMPARE(int(ground.orientation), 25);
    flight.arm();
    flight.run(1);
    flight.command(Incoming::TakeOff, {0, 0, 0, 15});
    flight.run(14);
    const int above = flight.outbox.all<DISTANCE_SENSOR>().last().current_distance;
    QVERIFY(qAbs(above - 1500) < 20);
    flight.fly(0, 3, 0, 0, 0.6);
    QVERIFY(flight.outbox.all<DISTANCE_SENSOR>().last().current_distance > above + 30);
}

// Recorded on such a line: 9.2 Hz of the 10 asked for, of distances 4.9.
void TestArduPilotManner::slowLine_slowsStreamsDown_andDistancesMost()
{
    Flight flight(Flight::settingsOf(AutopilotKind::ArduPilot), {true, 57600});
    flight.run(45);
    for (const quint8 stream : {6, 10, 2, 12})
        requestStream(&flight, stream, 10);
    flight.outbox.sent.clear();
    flight.run(100);
    const double attitudes = flight.outbox.count(ATTITUDE::MSG_ID) / 100.0;
    const double distances = flight.outbox.count(DISTANCE_SENSOR::MSG_ID) / 100.0;
    QVERIFY2(qAbs(attitudes - 9.2) < 0.4, qPrintable(QString::number(attitudes)));
    QVERIFY2(qAbs(distances - 4.9) < 0.4, qPrintable(QString::number(distances)));
}

QTEST_GUILESS_MAIN(TestArduPilotManner)
#include "tst_ardupilotmanner.moc"
