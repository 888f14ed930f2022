// SPDX-License-Identifier: MIT
#include "sim/sensors.h"

#include <algorithm>
#include <cmath>

Sensors::Sensors(quint32 seed, const Coordinate &start)
    : generator(seed)
    , origin(start)
{}

double Sensors::noise(double deviation)
{
    return normal(generator) * deviation;
}

Readings Sensors::measure(const Vehicle &vehicle)
{
    const Vehicle::State &real = vehicle.state();
    Readings readings;
    readings.position = {real.position.x + noise(positionNoiseM), real.position.y + noise(positionNoiseM),
                         real.position.z + noise(altitudeNoiseM)};
    readings.velocity = {real.velocity.x + noise(velocityNoiseMps), real.velocity.y + noise(velocityNoiseMps),
                         real.velocity.z + noise(velocityNoiseMps)};
    readings.acceleration = real.acceleration;
    readings.roll = real.roll + noise(angleNoiseRad);
    readings.pitch = real.pitch + noise(angleNoiseRad);
    readings.yaw = std::remainder(real.yaw + noise(angleNoiseRad), 2 * M_PI);
    readings.rollRate = real.rollRate + noise(rateNoiseRadps);
    readings.pitchRate = real.pitchRate + noise(rateNoiseRadps);
    readings.yawRate = real.yawRate + noise(rateNoiseRadps);
    readings.place = Coordinate::fromPositionNED(readings.position, origin);
    const double lean = std::cos(real.roll) * std::cos(real.pitch);
    const double distance = vehicle.heightAboveGroundM() / std::max(lean, 0.5) + noise(distanceNoiseM);
    readings.landed = real.landed;
    readings.distanceM = real.landed ? 0 : std::max(0.0, distance);
    return readings;
}
