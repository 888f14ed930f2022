// SPDX-License-Identifier: MIT
#include "sim/sensors.h"

#include <QtTest>

#include <cmath>

namespace {

const Coordinate start = {47, 8, AMSL, 500};

Vehicle flyingVehicle()
{
    Vehicle vehicle;
    for (int i = 0; i < 1000; ++i)
        vehicle.step({{2, 1, -1}, 0}, true);
    return vehicle;
}

} // namespace

class TestSensors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameSeed_givesTheSame_anotherDoesNot();
    void noise_isSmall_andThere();
    void place_isThatOfThePosition();
    void onTheGround_distanceIsZero();
};

void TestSensors::sameSeed_givesTheSame_anotherDoesNot()
{
    const Vehicle vehicle = flyingVehicle();
    Sensors one(7, start);
    Sensors same(7, start);
    Sensors other(8, start);
    for (int i = 0; i < 10; ++i) {
        const double north = one.measure(vehicle).position.x;
        QCOMPARE(same.measure(vehicle).position.x, north);
        QVERIFY(other.measure(vehicle).position.x != north);
    }
}

void TestSensors::noise_isSmall_andThere()
{
    const Vehicle vehicle = flyingVehicle();
    Sensors sensors(1, start);
    double sum = 0;
    for (int i = 0; i < 1000; ++i)
        sum += std::pow(sensors.measure(vehicle).velocity.x - vehicle.state().velocity.x, 2);
    const double deviation = std::sqrt(sum / 1000);
    QVERIFY(qAbs(deviation - Sensors::velocityNoiseMps) < 0.1 * Sensors::velocityNoiseMps);
}

void TestSensors::place_isThatOfThePosition()
{
    const Vehicle vehicle = flyingVehicle();
    const Readings readings = Sensors(1, start).measure(vehicle);
    const Utils::Vector3d back = readings.place.toPositionNED(start, 0);
    QVERIFY(qAbs(back.x - readings.position.x) < 0.01);
    QVERIFY(qAbs(back.y - readings.position.y) < 0.01);
    QVERIFY(qAbs(back.z - readings.position.z) < 0.01);
}

void TestSensors::onTheGround_distanceIsZero()
{
    QCOMPARE(Sensors(1, start).measure(Vehicle()).distanceM, 0.0);
    QVERIFY(Sensors(1, start).measure(flyingVehicle()).distanceM > 5);
}

QTEST_GUILESS_MAIN(TestSensors)
#include "tst_sensors.moc"
