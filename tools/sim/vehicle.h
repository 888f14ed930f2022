// SPDX-License-Identifier: MIT
#pragma once

#include "navigation/positions.h"
#include "sim/simtime.h"
#include "sim/wind.h"

/// What is wanted of the vehicle at a moment.
struct Demand
{
    Utils::Vector3d velocity; ///< North, east, down, m/s.
    double yawRate = 0;       ///< Radians a second, clockwise seen from above.
};

/// A multicopter as a mass that follows a demanded velocity: bounded acceleration, lean that goes with the
/// acceleration and the wind, a yaw rate, and a ground to stand on. There is no air but the wind, and no
/// motor but on and off.
///
/// Positions are metres north, east and down of where it was put down at the start; angles are radians.
class Vehicle
{
public:
    struct State
    {
        Utils::Vector3d position;
        Utils::Vector3d velocity;
        Utils::Vector3d acceleration; ///< Without gravity.
        double roll = 0;
        double pitch = 0;
        double yaw = 0; ///< In (-pi, pi], 0 north.
        double rollRate = 0;
        double pitchRate = 0;
        double yawRate = 0;
        bool landed = true;
    };

    static constexpr double gravity = 9.80665;
    static constexpr double horizontalAccelerationLimit = 2.5; ///< m/s^2.
    static constexpr double verticalAccelerationLimit = 1.2;
    static constexpr double horizontalSettlingS = 0.6; ///< Time constant in which a small error goes away.
    static constexpr double verticalSettlingS = 0.4;
    static constexpr double drag = 0.35;    ///< m/s^2 a m/s against the air; leaned against.
    static constexpr double fallLimit = 40; ///< m/s; the air stops it there.
    static constexpr double yawAccelerationLimit = 3;
    static constexpr double yawRateLimit = 2;
    static constexpr double leanSettlingS = 0.15;

    explicit Vehicle(const Wind &wind = {});

    /// Moves it by one step of time. Without motors it falls, or stands where it is.
    void step(const Demand &demand, bool motorsOn);

    const State &state() const { return now; }
    const Wind &wind() const { return air; }
    /// Metres between it and the ground below, never below 0.
    double heightAboveGroundM() const;

private:
    void stepOnGround(const Demand &demand, bool motorsOn);
    void stepInAir(const Demand &demand, bool motorsOn);
    void turn(double wantedRate);
    void lean(double northAcceleration, double eastAcceleration);
    void touchGround();

    Wind air;
    State now;
    SimTime time{0};
};
