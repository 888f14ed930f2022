// SPDX-License-Identifier: MIT
#include "sim/telemetry.h"

#include <QtTest>

class TestTelemetry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void attitude_isInRadians();
    void globalPosition_hasItsUnitsAndSigns();
    void heading_isBetween0And360_data();
    void heading_isBetween0And360();
    void gps_hasSpeedAndCourse();
    void distance_isInCentimetres_andNeverWraps();
    void battery_saysTheSameTwice();
    void text_isCutToItsField();

private:
    Aircraft aircraft{
        Vehicle(), Guidance(Guidance::Limits()), Sensors(1, {47, 8, AMSL, 500}), Battery(12.6), BootTimes(),
        1'000'000};
};

void TestTelemetry::init()
{
    aircraft.sinceBoot = std::chrono::milliseconds(12345);
    aircraft.readings = {};
    aircraft.readings.place = {-35.3632610, 149.1652299, AMSL, 584.09};
    aircraft.homeKnown = true;
    aircraft.home = {0, 0, AMSL, 580};
}

void TestTelemetry::attitude_isInRadians()
{
    aircraft.readings.roll = 0.1;
    aircraft.readings.pitch = -0.2;
    aircraft.readings.yaw = 3;
    aircraft.readings.yawRate = 0.35;
    const auto message = Telemetry::attitude(aircraft);
    QCOMPARE(message.time_boot_ms, 12345U);
    QCOMPARE(message.roll, 0.1F);
    QCOMPARE(message.pitch, -0.2F);
    QCOMPARE(message.yaw, 3.0F);
    QCOMPARE(message.yawspeed, 0.35F);
}

void TestTelemetry::globalPosition_hasItsUnitsAndSigns()
{
    aircraft.readings.velocity = {3.03, -1.5, -2.5};
    const auto message = Telemetry::globalPosition(aircraft);
    QCOMPARE(message.lat, -353632610);
    QCOMPARE(message.lon, 1491652299);
    QCOMPARE(message.alt, 584090);
    QCOMPARE(message.relative_alt, 4090);
    QCOMPARE(int(message.vx), 303);
    QCOMPARE(int(message.vy), -150);
    QCOMPARE(int(message.vz), -250);
}

void TestTelemetry::heading_isBetween0And360_data()
{
    QTest::addColumn<double>("yaw");
    QTest::addColumn<int>("heading");
    QTest::newRow("north") << 0.0 << 0;
    QTest::newRow("east") << M_PI / 2 << 9000;
    QTest::newRow("west") << -M_PI / 2 << 27000;
    QTest::newRow("a little west of north") << -1e-9 << 0;
    QTest::newRow("south") << -M_PI << 18000;
}

void TestTelemetry::heading_isBetween0And360()
{
    QFETCH(double, yaw);
    QFETCH(int, heading);
    aircraft.readings.yaw = yaw;
    QCOMPARE(int(Telemetry::heading(aircraft)), heading);
}

void TestTelemetry::gps_hasSpeedAndCourse()
{
    aircraft.readings.velocity = {0, -2, 5};
    const auto message = Telemetry::gps(aircraft);
    QCOMPARE(int(message.vel), 200);
    QCOMPARE(int(message.cog), 27000);
}

void TestTelemetry::distance_isInCentimetres_andNeverWraps()
{
    aircraft.readings.distanceM = 15.05;
    QCOMPARE(int(Telemetry::distance(aircraft).current_distance), 1505);
    aircraft.readings.distanceM = 2000;
    QCOMPARE(int(Telemetry::distance(aircraft).current_distance), 65533);
}

void TestTelemetry::battery_saysTheSameTwice()
{
    QCOMPARE(Telemetry::battery(aircraft).voltages[0], Telemetry::systemStatus(aircraft).voltage_battery);
    QCOMPARE(int(Telemetry::battery(aircraft).voltages[0]), 12600);
    QCOMPARE(int(Telemetry::systemStatus(aircraft).battery_remaining), 100);
}

void TestTelemetry::text_isCutToItsField()
{
    std::array<char, 4> field = {'x', 'x', 'x', 'x'};
    Telemetry::setText(&field, "ab");
    QCOMPARE(QByteArray(field.data(), 4), QByteArray("ab\0\0", 4));
    Telemetry::setText(&field, "abcdef");
    QCOMPARE(QByteArray(field.data(), 4), QByteArray("abcd"));
}

QTEST_GUILESS_MAIN(TestTelemetry)
#include "tst_telemetry.moc"
