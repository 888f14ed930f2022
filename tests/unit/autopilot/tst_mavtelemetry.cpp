// SPDX-License-Identifier: MIT
#include "autopilot/mavtelemetry.h"

#include "autopilot/support/autopilotrig.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <QSignalSpy>

#include <limits>

namespace {

namespace msg = mavlink::common::msg;
using GlobalPositionInt = mavlink::standard::msg::GLOBAL_POSITION_INT;
using Clock = std::chrono::steady_clock;

class Owner : public IBase
{
public:
    Owner()
        : IBase(nullptr)
    {}
    QString id() const override { return QStringLiteral("AP"); }
};

// What MavTelemetry needs, without a driver around it.
struct Telemetry
{
    Owner owner;
    TelemetryPublisher publisher;
    MavTelemetry telemetry{owner, publisher};
};

template <typename Record>
Record taken(QSignalSpy &spy)
{
    return spy.takeFirst().constFirst().value<Record>();
}

GlobalPositionInt positionAbove(qint32 relativeAltMm)
{
    GlobalPositionInt position{};
    position.relative_alt = relativeAltMm;
    return position;
}

} // namespace

class TestMavTelemetry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void attitude_isPublishedAsReceived_inOrder();
    void attitude_keepsEveryFloat_data();
    void attitude_keepsEveryFloat();
    void altitudeStatus_followsTheLimits_data();
    void altitudeStatus_followsTheLimits();
    void altitudeLimits_changedWhileRunning_countFromTheNextMessage();
    void altitudeTime_isThatOfTheMessage();
    void distance_becomesMetres_data();
    void distance_becomesMetres();
    void distanceTime_isThatOfConstruction();
    void altimeter_beforeTheFirstReading_hasStatusFour();
    void systemTime_isNotedWhetherOrNotTheClockIsSet();
    void shortPayload_readsAsZero();
    void payloadBehindTheLength_isNotRead();
    void otherMessages_areIgnored();
};

void TestMavTelemetry::attitude_isPublishedAsReceived_inOrder()
{
    AutopilotRig rig;
    rig.plugin->feed(Golden::Attitude);
    QCOMPARE(
        rig.log.take(),
        (QStringList{QStringLiteral("roll 0.25"), QStringLiteral("pitch -0.5"), QStringLiteral("yaw 1.5"),
                     QStringLiteral("[AP] Dbg: Attitude msg received ( 0.25 ,  -0.5 ,  1.5 )")}));
    QCOMPARE(rig.log.takenTypes().constLast(), QtDebugMsg);
}

void TestMavTelemetry::attitude_keepsEveryFloat_data()
{
    QTest::addColumn<float>("value");
    QTest::newRow("pi") << 3.1415927F;
    QTest::newRow("beyond pi") << 7.25F;
    QTest::newRow("tiny") << std::numeric_limits<float>::denorm_min();
    QTest::newRow("infinite") << std::numeric_limits<float>::infinity();
    QTest::newRow("minus zero") << -0.0F;
}

void TestMavTelemetry::attitude_keepsEveryFloat()
{
    QFETCH(float, value);
    AutopilotRig rig;
    QSignalSpy roll(runningApp(), &App::roll);
    QSignalSpy yaw(runningApp(), &App::yaw);
    msg::ATTITUDE attitude{};
    attitude.roll = value;
    attitude.yaw = -value;
    rig.plugin->feed(attitude);
    rig.log.take();
    QCOMPARE(taken<float>(roll), value);
    QCOMPARE(taken<float>(yaw), -value);
}

void TestMavTelemetry::altitudeStatus_followsTheLimits_data()
{
    QTest::addColumn<float>("minimum");
    QTest::addColumn<float>("maximum");
    QTest::addColumn<qint32>("relativeAltMm");
    QTest::addColumn<float>("altitude");
    QTest::addColumn<int>("status");
    QTest::newRow("within") << 2.0F << 100.0F << 2500 << 2.5F << 0;
    QTest::newRow("below") << 2.0F << 100.0F << 1500 << 1.5F << 2;
    QTest::newRow("above") << 2.0F << 100.0F << 100001 << 100.001F << 1;
    QTest::newRow("at the minimum") << 2.0F << 100.0F << 2000 << 2.0F << 0;
    QTest::newRow("at the maximum") << 2.0F << 100.0F << 100000 << 100.0F << 0;
    QTest::newRow("both above and below") << 2.0F << 1.0F << 1500 << 1.5F << 1;
    QTest::newRow("below home") << 0.0F << 100.0F << -2500 << -2.5F << 2;
    QTest::newRow("lowest") << 0.0F << 100.0F << std::numeric_limits<qint32>::min() << -2147483.75F << 2;
}

void TestMavTelemetry::altitudeStatus_followsTheLimits()
{
    QFETCH(float, minimum);
    QFETCH(float, maximum);
    QFETCH(qint32, relativeAltMm);
    QFETCH(float, altitude);
    QFETCH(int, status);
    AutopilotRig rig({{"ALTIMETER/MIN_ALTITUDE_M", minimum}, {"ALTIMETER/MAX_ALTITUDE_M", maximum}});
    QSignalSpy published(runningApp(), &App::altitude);
    rig.plugin->feed(positionAbove(relativeAltMm));
    rig.log.take();
    const auto reading = taken<ScalarSensorData>(published);
    QCOMPARE(reading.value, altitude);
    QCOMPARE(int(reading.status), status);
}

void TestMavTelemetry::altitudeLimits_changedWhileRunning_countFromTheNextMessage()
{
    AutopilotRig rig({{"ALTIMETER/MIN_ALTITUDE_M", 2}, {"ALTIMETER/MAX_ALTITUDE_M", 100}});
    QSignalSpy altitude(runningApp(), &App::altitude);
    rig.plugin->feed(Golden::GlobalPositionInt);
    Q_EMIT runningApp()->ALTIMETER_MAX_ALTITUDE_M(15.0F);
    rig.plugin->feed(Golden::GlobalPositionInt);
    Q_EMIT runningApp()->ALTIMETER_MAX_ALTITUDE_M(50.0F);
    Q_EMIT runningApp()->ALTIMETER_MIN_ALTITUDE_M(16.0F);
    rig.plugin->feed(Golden::GlobalPositionInt);
    rig.log.take();
    QCOMPARE(int(taken<ScalarSensorData>(altitude).status), 0);
    QCOMPARE(int(taken<ScalarSensorData>(altitude).status), 1);
    QCOMPARE(int(taken<ScalarSensorData>(altitude).status), 2);
}

void TestMavTelemetry::altitudeTime_isThatOfTheMessage()
{
    AutopilotRig rig;
    QSignalSpy altitude(runningApp(), &App::altitude);
    const auto before = Clock::now();
    rig.plugin->feed(Golden::GlobalPositionInt);
    const auto after = Clock::now();
    rig.log.take();
    const auto time = taken<ScalarSensorData>(altitude).time;
    QVERIFY(before <= time);
    QVERIFY(time <= after);
}

void TestMavTelemetry::distance_becomesMetres_data()
{
    QTest::addColumn<int>("centimetres");
    QTest::addColumn<float>("metres");
    QTest::newRow("zero") << 0 << 0.0F;
    QTest::newRow("below the sensor's minimum") << 1 << 0.01F;
    QTest::newRow("in range") << 1234 << 12.34F;
    QTest::newRow("far above the sensor's maximum") << 65535 << 655.35F;
}

void TestMavTelemetry::distance_becomesMetres()
{
    QFETCH(int, centimetres);
    QFETCH(float, metres);
    AutopilotRig rig({{"ALTIMETER/MIN_ALTITUDE_M", 2}, {"ALTIMETER/MAX_ALTITUDE_M", 100}});
    QSignalSpy altimeter(runningApp(), &App::rawAltimeterValue);
    msg::DISTANCE_SENSOR sensor{};
    sensor.min_distance = 20;
    sensor.max_distance = 5000;
    sensor.current_distance = static_cast<quint16>(centimetres);
    rig.plugin->feed(sensor);
    QCOMPARE(rig.log.take().size(), 1); // published, and nothing logged
    const auto reading = taken<ScalarSensorData>(altimeter);
    QCOMPARE(reading.value, metres);
    QCOMPARE(reading.status, quint8(0));
}

void TestMavTelemetry::distanceTime_isThatOfConstruction()
{
    const auto before = Clock::now();
    AutopilotRig rig;
    const auto after = Clock::now();
    QSignalSpy altimeter(runningApp(), &App::rawAltimeterValue);
    rig.plugin->feed(Golden::DistanceSensor);
    rig.plugin->feed(Golden::DistanceSensor);
    rig.log.take();
    const auto first = taken<ScalarSensorData>(altimeter).time;
    QVERIFY(before <= first);
    QVERIFY(first <= after);
    QVERIFY(taken<ScalarSensorData>(altimeter).time == first);
}

void TestMavTelemetry::altimeter_beforeTheFirstReading_hasStatusFour()
{
    const auto before = Clock::now();
    const Telemetry fresh;
    QCOMPARE(fresh.telemetry.altimeter().value, 0.0F);
    QCOMPARE(fresh.telemetry.altimeter().status, quint8(4));
    QVERIFY(before <= fresh.telemetry.altimeter().time);
    QVERIFY(fresh.telemetry.altimeter().time <= Clock::now());
}

void TestMavTelemetry::systemTime_isNotedWhetherOrNotTheClockIsSet()
{
    LogCapture log;
    Telemetry fresh;
    QVERIFY(!fresh.telemetry.isSystemTimeReceived());
    fresh.telemetry.handle(receivedOf(msg::SYSTEM_TIME{}));
    QVERIFY(fresh.telemetry.isSystemTimeReceived());
    QCOMPARE(log.take(), QStringList{QStringLiteral(
                             "[AP] Dbg: Systime msg received health: 0  time: 0  time set: false")});
}

void TestMavTelemetry::shortPayload_readsAsZero()
{
    AutopilotRig rig;
    QSignalSpy roll(runningApp(), &App::roll);
    QSignalSpy yaw(runningApp(), &App::yaw);
    msg::ATTITUDE attitude{};
    attitude.roll = 1.5F; // the last byte that is not zero: six are sent of the roll's field on
    const QByteArray frame = frameOf(attitude);
    QCOMPARE(int(frame[1]), 8);
    rig.plugin->feed(Golden::Attitude); // leaves its bytes in the parser's buffer
    rig.plugin->dispatchReceivedData(frame);
    rig.log.take();
    QCOMPARE(roll.last().first().toFloat(), 1.5F);
    QCOMPARE(yaw.last().first().toFloat(), 0.0F);
}

void TestMavTelemetry::payloadBehindTheLength_isNotRead()
{
    AutopilotRig rig;
    QSignalSpy yaw(runningApp(), &App::yaw);
    QSignalSpy pitch(runningApp(), &App::pitch);
    msg::ATTITUDE attitude{};
    attitude.pitch = 1.0F; // two bytes of it are zero, the other two end the payload
    rig.plugin->onMessageReceived(receivedOf(attitude, {}, '\x77'));
    rig.log.take();
    QCOMPARE(taken<float>(pitch), 1.0F);
    QCOMPARE(taken<float>(yaw), 0.0F);
}

void TestMavTelemetry::otherMessages_areIgnored()
{
    LogCapture log;
    Telemetry fresh;
    fresh.telemetry.handle(receivedOf(heartbeatOf(12)));
    fresh.telemetry.handle(receivedOf(msg::GPS2_RAW{}));
    fresh.telemetry.handle(receivedOf(msg::COMMAND_LONG{}));
    QCOMPARE(log.take(), QStringList());
}

APP_TEST_MAIN(TestMavTelemetry)
#include "tst_mavtelemetry.moc"
