// SPDX-License-Identifier: MIT
#pragma once

#include "sim/vehicle.h"

#include <random>

/// Where a vehicle is as its autopilot sees it.
struct Readings
{
    Coordinate place;         ///< Altitude above mean sea level.
    Utils::Vector3d position; ///< Metres north, east, down of the place where it started.
    Utils::Vector3d velocity; ///< m/s north, east, down.
    Utils::Vector3d acceleration;
    double roll = 0; ///< Radians, as in Vehicle::State.
    double pitch = 0;
    double yaw = 0;
    double rollRate = 0;
    double pitchRate = 0;
    double yawRate = 0;
    double distanceM = 0; ///< To the ground along the vehicle's own axis, so longer when it leans.
    bool landed = true;
};

/// Measures the vehicle, with noise that is the same for the same seed.
class Sensors
{
public:
    static constexpr double positionNoiseM = 0.01; ///< Standard deviations.
    static constexpr double altitudeNoiseM = 0.005;
    static constexpr double velocityNoiseMps = 0.01;
    static constexpr double angleNoiseRad = 0.001;
    static constexpr double rateNoiseRadps = 0.002;
    static constexpr double distanceNoiseM = 0.01;

    Sensors(quint32 seed, const Coordinate &start);

    Readings measure(const Vehicle &vehicle);
    const Coordinate &start() const { return origin; }

private:
    double noise(double deviation);

    std::mt19937 generator;
    std::normal_distribution<double> normal;
    Coordinate origin;
};
