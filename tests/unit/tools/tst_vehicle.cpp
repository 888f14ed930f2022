// SPDX-License-Identifier: MIT
#include "sim/vehicle.h"

#include "sim/relief.h"

#include <QtTest>

#include <cmath>

namespace {

void run(Vehicle *vehicle, double seconds, const Demand &demand, bool motorsOn = true)
{
    for (int steps = int(seconds / toSeconds(simStep)); steps > 0; --steps)
        vehicle->step(demand, motorsOn);
}

Vehicle hovering(const Wind &wind = {})
{
    Vehicle vehicle(wind);
    run(&vehicle, 10, {{0, 0, -2}, 0});
    run(&vehicle, 5, {});
    return vehicle;
}

} // namespace

class TestVehicle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onTheGround_nothingMovesIt();
    void climbDemand_liftsIt_withMotorsOnly();
    void velocity_isReached_withinItsAcceleration();
    void vertical_isReached_withinItsAcceleration();
    void yawRate_isReached_andYawWraps();
    void lean_goesWithTheWay_data();
    void lean_goesWithTheWay();
    void wind_isLeanedAgainst_andGustsPush();
    void withoutMotors_itFallsToTheGround();
    void ground_isWhereTheReliefSays();
};

void TestVehicle::onTheGround_nothingMovesIt()
{
    Vehicle vehicle;
    run(&vehicle, 2, {{3, 0, 0}, 1});
    QVERIFY(vehicle.state().landed);
    QCOMPARE(vehicle.state().position.x, 0.0);
    QCOMPARE(vehicle.state().yaw, 0.0);
}

void TestVehicle::climbDemand_liftsIt_withMotorsOnly()
{
    Vehicle vehicle;
    run(&vehicle, 1, {{0, 0, -1}, 0}, false);
    QVERIFY(vehicle.state().landed);
    run(&vehicle, 1, {{0, 0, -1}, 0});
    QVERIFY(!vehicle.state().landed);
    QVERIFY(vehicle.heightAboveGroundM() > 0.3);
}

void TestVehicle::velocity_isReached_withinItsAcceleration()
{
    Vehicle vehicle = hovering();
    double greatest = 0;
    for (int i = 0; i < 500; ++i) {
        vehicle.step({{3, -4, 0}, 0}, true);
        const Utils::Vector3d &a = vehicle.state().acceleration;
        greatest = qMax(greatest, std::hypot(a.x, a.y));
    }
    QVERIFY(qAbs(greatest - Vehicle::horizontalAccelerationLimit) < 1e-6);
    QVERIFY(qAbs(vehicle.state().velocity.x - 3) < 0.05);
    QVERIFY(qAbs(vehicle.state().velocity.y + 4) < 0.05);
}

void TestVehicle::vertical_isReached_withinItsAcceleration()
{
    Vehicle vehicle = hovering();
    vehicle.step({{0, 0, -2}, 0}, true);
    QCOMPARE(vehicle.state().acceleration.z, -Vehicle::verticalAccelerationLimit);
    run(&vehicle, 4, {{0, 0, -2}, 0});
    QVERIFY(qAbs(vehicle.state().velocity.z + 2) < 0.01);
}

void TestVehicle::yawRate_isReached_andYawWraps()
{
    Vehicle vehicle = hovering();
    run(&vehicle, 1, {{}, 0.35});
    QVERIFY(qAbs(vehicle.state().yawRate - 0.35) < 1e-9);
    for (int i = 0; i < 2000; ++i) {
        vehicle.step({{}, 9}, true);
        QVERIFY(qAbs(vehicle.state().yaw) <= M_PI + 1e-9);
    }
    QCOMPARE(vehicle.state().yawRate, Vehicle::yawRateLimit);
}

void TestVehicle::lean_goesWithTheWay_data()
{
    QTest::addColumn<double>("yaw");
    QTest::addColumn<double>("north");
    QTest::addColumn<double>("east");
    QTest::addColumn<double>("roll");
    QTest::addColumn<double>("pitch");
    const double lean = std::atan2(3 * Vehicle::drag, Vehicle::gravity);
    QTest::newRow("ahead") << 0.0 << 3.0 << 0.0 << 0.0 << -lean;
    QTest::newRow("back") << 0.0 << -3.0 << 0.0 << 0.0 << lean;
    QTest::newRow("right") << 0.0 << 0.0 << 3.0 << lean << 0.0;
    QTest::newRow("ahead, looking east") << M_PI / 2 << 0.0 << 3.0 << 0.0 << -lean;
    QTest::newRow("left, looking east") << M_PI / 2 << 3.0 << 0.0 << -lean << 0.0;
}

void TestVehicle::lean_goesWithTheWay()
{
    QFETCH(double, yaw);
    QFETCH(double, north);
    QFETCH(double, east);
    QFETCH(double, roll);
    QFETCH(double, pitch);
    Vehicle vehicle = hovering();
    while (vehicle.state().yaw < yaw)
        vehicle.step({{}, 0.5}, true);
    run(&vehicle, 6, {{north, east, 0}, 0});
    QVERIFY(qAbs(vehicle.state().roll - roll) < 0.015);
    QVERIFY(qAbs(vehicle.state().pitch - pitch) < 0.015);
}

void TestVehicle::wind_isLeanedAgainst_andGustsPush()
{
    Vehicle vehicle = hovering({8, 0});
    QVERIFY(vehicle.state().pitch < -0.1);
    double fastest = 0;
    for (int i = 0; i < 2000; ++i) {
        vehicle.step({}, true);
        fastest = qMax(fastest, qAbs(vehicle.state().velocity.x));
    }
    QVERIFY(fastest > 0.1 && fastest < 1);
}

void TestVehicle::withoutMotors_itFallsToTheGround()
{
    Vehicle vehicle = hovering();
    run(&vehicle, 5, {}, false);
    QVERIFY(vehicle.state().landed);
    QCOMPARE(vehicle.heightAboveGroundM(), 0.0);
}

void TestVehicle::ground_isWhereTheReliefSays()
{
    Vehicle vehicle = hovering();
    run(&vehicle, 10, {{4, 0, 0}, 0});
    run(&vehicle, 3, {});
    const double height = vehicle.heightAboveGroundM();
    const double ground = groundHeightM(vehicle.state().position.x, vehicle.state().position.y);
    QVERIFY(qAbs(ground) > 0.2);
    QCOMPARE(height, -vehicle.state().position.z - ground);
    run(&vehicle, 60, {{0, 0, 0.5}, 0});
    QVERIFY(vehicle.state().landed);
    QCOMPARE(-vehicle.state().position.z,
             groundHeightM(vehicle.state().position.x, vehicle.state().position.y));
}

QTEST_GUILESS_MAIN(TestVehicle)
#include "tst_vehicle.moc"
