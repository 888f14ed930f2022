// SPDX-License-Identifier: MIT
#include "sim/guidance.h"

#include <QtTest>

#include <cmath>

class TestGuidance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void takeOff_climbsToItsHeight_andHoldsThere();
    void takeOff_waitsForTheMotors();
    void takeOff_isSlowNearTheGround();
    void fly_fallsShortAtFirst();
    void hold_brakesAndStays_inWind();
    void fly_isBounded();
    void land_endsOnTheGround();
    void returnHome_climbsFirst_andLands();
    void heights_countFromHome();

private:
    void run(double seconds);
    double height() const { return -vehicle.state().position.z; }

    Vehicle vehicle;
    Guidance guidance{Guidance::Limits()};
};

void TestGuidance::init()
{
    vehicle = Vehicle();
    guidance = Guidance(Guidance::Limits());
}

void TestGuidance::run(double seconds)
{
    for (int steps = int(seconds / toSeconds(simStep)); steps > 0; --steps)
        vehicle.step(guidance.step(vehicle), true);
}

void TestGuidance::takeOff_climbsToItsHeight_andHoldsThere()
{
    guidance.takeOff(10, vehicle.state());
    run(12);
    QVERIFY(qAbs(height() - 10) < 0.2);
    QVERIFY(guidance.task() == Guidance::Task::Hold);
    run(10);
    QVERIFY(qAbs(height() - 10) < 0.05);
}

void TestGuidance::takeOff_waitsForTheMotors()
{
    guidance.takeOff(10, vehicle.state());
    run(1.8);
    QVERIFY(vehicle.state().landed);
    run(0.3);
    QVERIFY(!vehicle.state().landed);
}

void TestGuidance::takeOff_isSlowNearTheGround()
{
    Guidance::Limits limits;
    limits.slowClimb = 1;
    limits.slowClimbBelow = 10;
    guidance = Guidance(limits);
    guidance.takeOff(30, vehicle.state());
    run(8);
    QVERIFY(height() < 10);
    QVERIFY(qAbs(vehicle.state().velocity.z + 1) < 0.05);
    run(8);
    QVERIFY(height() > 12);
    QVERIFY(qAbs(vehicle.state().velocity.z + limits.climb) < 0.1);
}

void TestGuidance::fly_fallsShortAtFirst()
{
    Guidance::Limits limits;
    limits.shortfall = 0.25;
    guidance = Guidance(limits);
    guidance.takeOff(10, vehicle.state());
    run(12);
    guidance.fly({{4, 0, 0}, 0});
    run(3);
    QVERIFY(qAbs(vehicle.state().velocity.x - 3.1) < 0.25);
    run(40);
    QVERIFY(qAbs(vehicle.state().velocity.x - 4) < 0.05);
}

void TestGuidance::hold_brakesAndStays_inWind()
{
    vehicle = Vehicle({6, 90});
    guidance.takeOff(10, vehicle.state());
    run(12);
    guidance.fly({{5, 0, 0}, 0});
    run(4);
    guidance.hold();
    run(4);
    const Utils::Vector3d place = vehicle.state().position;
    run(30);
    const Utils::Vector3d &later = vehicle.state().position;
    QVERIFY(std::hypot(later.x - place.x, later.y - place.y) < 1.5);
}

void TestGuidance::fly_isBounded()
{
    guidance.fly({{3000, 4000, -500}, 0});
    const Demand fast = guidance.step(vehicle);
    QVERIFY(qAbs(fast.velocity.x - 6) < 1e-9);
    QVERIFY(qAbs(fast.velocity.y - 8) < 1e-9);
    QCOMPARE(fast.velocity.z, -2.5);
    guidance.fly({{0, 0, 500}, 0});
    QCOMPARE(guidance.step(vehicle).velocity.z, 1.5);
}

void TestGuidance::land_endsOnTheGround()
{
    guidance.takeOff(12, vehicle.state());
    run(14);
    guidance.land();
    run(30);
    QVERIFY(vehicle.state().landed);
}

void TestGuidance::returnHome_climbsFirst_andLands()
{
    guidance.takeOff(5, vehicle.state());
    run(10);
    guidance.fly({{4, 0, 0}, 0});
    run(10);
    const double away = vehicle.state().position.x;
    guidance.returnHome();
    run(6);
    QVERIFY(height() > 10);
    QVERIFY(qAbs(vehicle.state().position.x - away) < 8);
    run(70);
    QVERIFY(vehicle.state().landed);
    QVERIFY(std::hypot(vehicle.state().position.x, vehicle.state().position.y) < 1);
}

void TestGuidance::heights_countFromHome()
{
    guidance.setHome({0, 0, -100});
    QCOMPARE(guidance.heightAboveHomeM(vehicle.state()), -100.0);
    guidance.takeOff(1, vehicle.state());
    run(60);
    QVERIFY(qAbs(height() - 101) < 0.2);
}

QTEST_GUILESS_MAIN(TestGuidance)
#include "tst_guidance.moc"
