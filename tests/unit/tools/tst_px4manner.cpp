// SPDX-License-Identifier: MIT
#include "sim/px4manner.h"

#include "autopilotfixture.h"

#include <QtTest>

using namespace mavlink::common::msg;
using mavlink::minimal::msg::HEARTBEAT;
using mavlink::standard::msg::AUTOPILOT_VERSION;
using mavlink::standard::msg::GLOBAL_POSITION_INT;

namespace {

constexpr quint32 offBoard = 393216;
constexpr quint32 returning = 84148224;
constexpr float homeAltitudeM = 489.05F;

void takeOff(Flight *flight, float altitudeM = homeAltitudeM + 15)
{
    flight->run(6);
    QCOMPARE(flight->arm(), 0);
    flight->run(1);
    QCOMPARE(flight->command(Incoming::TakeOff, {0, 0, 0, altitudeM}), 0);
}

/// In off-board mode at 15 m.
void enterOffBoard(Flight *flight)
{
    takeOff(flight);
    flight->run(15);
    flight->setPoint(0, 0, 0);
    flight->setMode(offBoard);
}

int setInterval(Flight *flight, quint32 id, float intervalUs, quint8 component = 1)
{
    return flight->command(Incoming::SetMessageInterval, {float(id), intervalUs, 0, 0}, component);
}

} // namespace

class TestPx4Manner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void boot_talksUnasked();
    void serialLine_beginsWithTheVersion();
    void unknownMessages_areInTheStream();
    void modeOfArduPilot_isRefused_andNothingChanges();
    void offBoard_isRefusedWithoutSetPoints();
    void offBoard_fliesSetPoints();
    void offBoard_isLostASecondAfterTheLastSetPoint();
    void offBoard_isBackWithTheSetPoints();
    void offBoard_lostAndLanded_cannotBeArmedWithoutSetPoints();
    void landing_tellsTheGimbal();
    void return_landsAtHome_andDisarms();
    void modeByCommand_isAcknowledgedTwice();
    void arming_isRefusedUntilReady();
    void takeOff_needsArming();
    void takeOff_heights_data();
    void takeOff_heights();
    void setInterval_changesARate();
    void setInterval_answers_data();
    void setInterval_answers();
    void requestDataStream_doesNothing();
    void slowLine_scalesStreamsDown();
    void fastLine_keepsRates();
    void relativeAltitude_dipsAtTouchdown();
    void distance_isZeroOnTheGround_andToldWhenOutOfRange();
    void gps_hasNoTime();
    void reboot_forgetsRequests();
};

void TestPx4Manner::boot_talksUnasked()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    flight.outbox.sent.clear();
    flight.run(10);
    QSet<quint32> ids;
    for (const FakeOutbox::Sent &sent : flight.outbox.sent)
        ids.insert(sent.message.id);
    QVERIFY(ids.size() >= 25);
    QCOMPARE(flight.outbox.count(HEARTBEAT::MSG_ID), 10);
    QCOMPARE(flight.outbox.count(ATTITUDE::MSG_ID), 1000);
    QCOMPARE(flight.outbox.count(GLOBAL_POSITION_INT::MSG_ID), 500);
    QCOMPARE(flight.outbox.count(GPS_RAW_INT::MSG_ID), 80);
    QCOMPARE(flight.outbox.count(DISTANCE_SENSOR::MSG_ID), 100);
    QCOMPARE(flight.outbox.count(SYSTEM_TIME::MSG_ID), 10);
    QCOMPARE(int(flight.heartbeat().base_mode), 29);
    QCOMPARE(flight.heartbeat().custom_mode, 50593792U);
    QCOMPARE(int(flight.heartbeat().autopilot), 12);
}

void TestPx4Manner::serialLine_beginsWithTheVersion()
{
    Flight flight(AutopilotKind::Px4);
    flight.autopilot.addClient(2, {true, 921600});
    flight.run(0.51);
    for (const FakeOutbox::Sent &sent : qAsConst(flight.outbox.sent)) {
        if (sent.client == 2) {
            QCOMPARE(sent.message.id, quint32(AUTOPILOT_VERSION::MSG_ID));
            break;
        }
    }
    QCOMPARE(flight.outbox.count(AUTOPILOT_VERSION::MSG_ID), 1);
}

void TestPx4Manner::unknownMessages_areInTheStream()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    flight.arm();
    flight.run(6);
    for (const quint32 id : {8, 380, 410, 411, 436})
        QVERIFY2(flight.outbox.count(id) > 0, qPrintable(QString::number(id)));
}

void TestPx4Manner::modeOfArduPilot_isRefused_andNothingChanges()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    flight.setMode(4);
    QCOMPARE(flight.outbox.results(Incoming::SetMode), QList<int>{1});
    QCOMPARE(flight.heartbeat().custom_mode, 50593792U);
}

void TestPx4Manner::offBoard_isRefusedWithoutSetPoints()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    flight.setMode(offBoard);
    flight.setPoint(0, 0, 0);
    flight.run(1.1);
    flight.setMode(offBoard);
    flight.setPoint(0, 0, 0);
    flight.run(0.9);
    flight.setMode(offBoard);
    QCOMPARE(flight.outbox.results(Incoming::SetMode), (QList<int>{1, 1, 0}));
    QCOMPARE(int(flight.heartbeat().base_mode), 17);
    QCOMPARE(flight.heartbeat().custom_mode, offBoard);
}

void TestPx4Manner::offBoard_fliesSetPoints()
{
    Flight flight(AutopilotKind::Px4);
    enterOffBoard(&flight);
    flight.fly(0, -2, 0, 0, 5);
    QCOMPARE(int(flight.heartbeat().base_mode), 145);
    const double speed = -flight.vehicle().velocity.y;
    QVERIFY2(speed > 1.6 && speed < 1.9, qPrintable(QString::number(speed)));
    flight.fly(0, -2, 0, 0, 40);
    QVERIFY(qAbs(flight.vehicle().velocity.y + 2) < 0.05);
}

void TestPx4Manner::offBoard_isLostASecondAfterTheLastSetPoint()
{
    Flight flight(AutopilotKind::Px4);
    enterOffBoard(&flight);
    flight.run(0.99);
    QCOMPARE(flight.heartbeat().custom_mode, offBoard);
    flight.run(0.03);
    QCOMPARE(flight.heartbeat().custom_mode, returning);
    QCOMPARE(int(flight.heartbeat().base_mode), 157);
    QCOMPARE(int(flight.heartbeat().system_status), 5);
}

void TestPx4Manner::offBoard_isBackWithTheSetPoints()
{
    Flight flight(AutopilotKind::Px4);
    enterOffBoard(&flight);
    flight.run(1.1);
    QCOMPARE(flight.heartbeat().custom_mode, returning);
    flight.fly(1, 0, 0, 0, 1);
    QCOMPARE(flight.heartbeat().custom_mode, offBoard);
    QCOMPARE(int(flight.heartbeat().system_status), 4);
    flight.setMode(returning);
    flight.fly(1, 0, 0, 0, 1);
    QCOMPARE(flight.heartbeat().custom_mode, returning);
}

void TestPx4Manner::offBoard_lostAndLanded_cannotBeArmedWithoutSetPoints()
{
    Flight flight(AutopilotKind::Px4);
    enterOffBoard(&flight);
    flight.run(90);
    QVERIFY(!flight.autopilot.state().armed);
    QCOMPARE(int(flight.heartbeat().base_mode), 17);
    QCOMPARE(int(flight.heartbeat().system_status), 0);
    QCOMPARE(flight.arm(), 1);
    flight.setPoint(0, 0, 0);
    QCOMPARE(int(flight.heartbeat().system_status), 3);
    QCOMPARE(flight.arm(), 0);
}

void TestPx4Manner::landing_tellsTheGimbal()
{
    Flight flight(AutopilotKind::Px4);
    takeOff(&flight);
    flight.run(15);
    flight.outbox.sent.clear();
    flight.setMode(Px4Manner::Land);
    QList<int> commands;
    for (const COMMAND_LONG &command : flight.outbox.all<COMMAND_LONG>()) {
        QCOMPARE(int(command.target_system), 1);
        QCOMPARE(int(command.target_component), 0);
        commands.append(command.command);
    }
    QCOMPARE(commands, (QList<int>{1001, 1000, 1001}));
}

void TestPx4Manner::return_landsAtHome_andDisarms()
{
    Flight flight(AutopilotKind::Px4);
    enterOffBoard(&flight);
    flight.fly(3, 0, 0, 0, 5);
    flight.run(90);
    QVERIFY(flight.vehicle().landed);
    QVERIFY(!flight.autopilot.state().armed);
    QVERIFY(std::hypot(flight.vehicle().position.x, flight.vehicle().position.y) < 1);
    flight.setMode(Px4Manner::Loiter);
    QCOMPARE(flight.arm(), 0);
}

void TestPx4Manner::modeByCommand_isAcknowledgedTwice()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    flight.command(Incoming::SetMode, {1, 6, 0, 0});
    QCOMPARE(flight.outbox.results(Incoming::SetMode), (QList<int>{0, 1}));
    flight.command(Incoming::SetMode, {1, 3, 0, 0});
    QCOMPARE(flight.outbox.results(Incoming::SetMode), (QList<int>{0, 0}));
    QCOMPARE(flight.heartbeat().custom_mode, 3U << 16);
}

void TestPx4Manner::arming_isRefusedUntilReady()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(4.9);
    QCOMPARE(flight.arm(), 1);
    flight.run(0.2);
    QCOMPARE(flight.arm(), 0);
    QCOMPARE(int(flight.heartbeat().base_mode), 157);
}

void TestPx4Manner::takeOff_needsArming()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    QCOMPARE(flight.command(Incoming::TakeOff, {0, 0, 0, homeAltitudeM + 15}), 1);
}

void TestPx4Manner::takeOff_heights_data()
{
    QTest::addColumn<float>("altitudeM");
    QTest::addColumn<double>("heightM");
    QTest::newRow("above sea level") << homeAltitudeM + 12 << 12.0;
    QTest::newRow("none given") << 0.0F << 2.5;
    QTest::newRow("no number") << float(NAN) << 2.5;
    QTest::newRow("meant above home") << 15.0F << 2.5;
}

void TestPx4Manner::takeOff_heights()
{
    QFETCH(float, altitudeM);
    QFETCH(double, heightM);
    Flight flight(AutopilotKind::Px4);
    takeOff(&flight, altitudeM);
    flight.run(0.1);
    QCOMPARE(flight.heartbeat().custom_mode, 33816576U);
    flight.run(20);
    QVERIFY(qAbs(flight.heightM() - heightM) < 0.2);
    QCOMPARE(flight.heartbeat().custom_mode, 50593792U);
}

void TestPx4Manner::setInterval_changesARate()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    QCOMPARE(setInterval(&flight, GLOBAL_POSITION_INT::MSG_ID, 100'000), 0);
    QCOMPARE(setInterval(&flight, SYS_STATUS::MSG_ID, -1), 0);
    flight.outbox.sent.clear();
    flight.run(10);
    QVERIFY(qAbs(flight.outbox.count(GLOBAL_POSITION_INT::MSG_ID) - 100) <= 1);
    QCOMPARE(flight.outbox.count(SYS_STATUS::MSG_ID), 0);
    QCOMPARE(setInterval(&flight, SYS_STATUS::MSG_ID, 0), 0);
    flight.run(10);
    QVERIFY(qAbs(flight.outbox.count(SYS_STATUS::MSG_ID) - 50) <= 1);
}

void TestPx4Manner::setInterval_answers_data()
{
    QTest::addColumn<quint32>("id");
    QTest::addColumn<quint8>("component");
    QTest::addColumn<int>("result");
    QTest::newRow("to 1/1") << 33U << quint8(1) << 0;
    QTest::newRow("to 1/0") << 33U << quint8(0) << 0;
    QTest::newRow("to another component") << 33U << quint8(5) << -1;
    QTest::newRow("second GPS") << 124U << quint8(1) << 0;
    QTest::newRow("unknown id") << 9999U << quint8(1) << 4;
}

void TestPx4Manner::setInterval_answers()
{
    QFETCH(quint32, id);
    QFETCH(quint8, component);
    QFETCH(int, result);
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    QCOMPARE(setInterval(&flight, id, 500'000, component), result);
    flight.outbox.sent.clear();
    flight.run(3);
    QCOMPARE(flight.outbox.count(124), 0);
}

void TestPx4Manner::requestDataStream_doesNothing()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    REQUEST_DATA_STREAM request = {};
    request.target_system = 1;
    request.target_component = 1;
    request.req_stream_id = 12;
    request.req_message_rate = 50;
    request.start_stop = 1;
    flight.send(request);
    flight.outbox.sent.clear();
    flight.run(10);
    QCOMPARE(flight.outbox.count(DISTANCE_SENSOR::MSG_ID), 100);
}

// Recorded on such a line: 1.27 Hz of the 10 asked for, GPS and heartbeats as ever.
void TestPx4Manner::slowLine_scalesStreamsDown()
{
    FakeOutbox outbox;
    SimulatedAutopilot autopilot(Flight::settingsOf(AutopilotKind::Px4), &outbox);
    autopilot.addClient(1, {true, 57600});
    for (int i = 0; i < 1000; ++i)
        autopilot.step();
    outbox.sent.clear();
    int bytes = 0;
    for (int i = 0; i < 10000; ++i)
        autopilot.step();
    for (const FakeOutbox::Sent &sent : qAsConst(outbox.sent))
        bytes += sent.message.frameBytes();
    QVERIFY2(bytes < 57600 / 20.0 * 100 * 1.02, qPrintable(QString::number(bytes)));
    QVERIFY2(bytes > 57600 / 20.0 * 100 * 0.9, qPrintable(QString::number(bytes)));
    const double rate = outbox.count(GLOBAL_POSITION_INT::MSG_ID) / 100.0;
    QVERIFY2(rate > 4.5 && rate < 5.7, qPrintable(QString::number(rate)));
    QCOMPARE(outbox.count(GPS_RAW_INT::MSG_ID), 800);
    QCOMPARE(outbox.count(HEARTBEAT::MSG_ID), 100);
}

void TestPx4Manner::fastLine_keepsRates()
{
    FakeOutbox outbox;
    SimulatedAutopilot autopilot(Flight::settingsOf(AutopilotKind::Px4), &outbox);
    autopilot.addClient(1, {true, 921600});
    for (int i = 0; i < 600; ++i)
        autopilot.step();
    outbox.sent.clear();
    for (int i = 0; i < 1000; ++i)
        autopilot.step();
    QCOMPARE(outbox.count(GLOBAL_POSITION_INT::MSG_ID), 500);
}

void TestPx4Manner::relativeAltitude_dipsAtTouchdown()
{
    Flight flight(AutopilotKind::Px4);
    takeOff(&flight, 0);
    flight.run(8);
    flight.setMode(Px4Manner::Land);
    while (flight.autopilot.state().armed)
        flight.run(0.1);
    int lowest = 0;
    for (const GLOBAL_POSITION_INT &position : flight.outbox.all<GLOBAL_POSITION_INT>())
        lowest = qMin(lowest, position.relative_alt);
    QVERIFY(lowest < -1250 && lowest > -1350);
}

void TestPx4Manner::distance_isZeroOnTheGround_andToldWhenOutOfRange()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    QCOMPARE(int(flight.outbox.all<DISTANCE_SENSOR>().last().current_distance), 0);
    flight.arm();
    flight.run(1);
    flight.command(Incoming::TakeOff, {0, 0, 0, homeAltitudeM + 105});
    flight.run(80);
    const DISTANCE_SENSOR high = flight.outbox.all<DISTANCE_SENSOR>().last();
    QCOMPARE(int(high.max_distance), 10000);
    QCOMPARE(int(high.current_distance), 65534);
}

void TestPx4Manner::gps_hasNoTime()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    const QList<GPS_RAW_INT> readings = flight.outbox.all<GPS_RAW_INT>();
    QCOMPARE(int(readings.first().fix_type), 0);
    QCOMPARE(int(readings.last().fix_type), 3);
    QCOMPARE(readings.last().time_usec, quint64(0));
    QCOMPARE(flight.outbox.all<SYSTEM_TIME>().first().time_boot_ms / 1000, 4U);
}

void TestPx4Manner::reboot_forgetsRequests()
{
    Flight flight(AutopilotKind::Px4);
    flight.run(6);
    setInterval(&flight, GLOBAL_POSITION_INT::MSG_ID, 1'000'000);
    QCOMPARE(flight.command(Incoming::Reboot, {1, 0, 0, 0}), 0);
    flight.run(20);
    flight.outbox.sent.clear();
    flight.run(1);
    QCOMPARE(flight.outbox.count(GLOBAL_POSITION_INT::MSG_ID), 50);
}

QTEST_GUILESS_MAIN(TestPx4Manner)
#include "tst_px4manner.moc"
