// SPDX-License-Identifier: MIT
#pragma once

#include "sim/speedtrim.h"
#include "sim/vehicle.h"

/// Turns what the autopilot is about into what it demands of the vehicle, moment by moment.
class Guidance
{
public:
    enum class Task { Idle, TakeOff, Hold, Velocity, Land, ReturnHome };

    /// Speeds in m/s, heights in metres above home.
    struct Limits
    {
        double climb = 2.5;
        double descent = 1.5;
        double landing = 0.5;      ///< Below landSlowBelow, above the ground.
        double landSlowBelow = 10; ///< Metres above the ground.
        double horizontal = 10;    ///< The most that is flown of a demanded speed.
        double returnSpeed = 5;
        double returnHeight = 15;   ///< The least height at which it returns.
        double slowClimb = 2.5;     ///< Of a take-off, below slowClimbBelow.
        double slowClimbBelow = 0;  ///< Metres above home.
        double shortfall = 0;       ///< The share of a horizontal speed that is missing at first.
        SimTime spoolUp{1'900'000}; ///< From the start of a take-off until it lifts.
    };

    explicit Guidance(const Limits &limits);

    /// Home is where heights count from and where it returns to.
    void setHome(const Utils::Vector3d &position) { home = position; }
    const Utils::Vector3d &homePosition() const { return home; }
    double heightAboveHomeM(const Vehicle::State &vehicle) const { return home.z - vehicle.position.z; }

    /// On the ground, motors turning slowly or not at all.
    void idle();
    /// Straight up; then it holds its place.
    void takeOff(double heightAboveHomeM, const Vehicle::State &vehicle);
    /// Brakes, and then stays where it came to rest.
    void hold();
    void fly(const Demand &demand);
    /// Straight down, slower near the ground; on the ground it idles.
    void land();
    /// Up to the return height, home, and then it lands.
    void returnHome();

    Task task() const { return current; }
    /// Once per step, before the vehicle's.
    Demand step(const Vehicle &vehicle);

private:
    void begin(Task task);
    Demand climb(const Vehicle::State &vehicle);
    Demand stay(const Vehicle::State &vehicle);
    Demand descend(const Vehicle &vehicle);
    Demand goHome(const Vehicle &vehicle);
    Demand bounded(const Demand &demand) const;
    double verticalSpeedTo(double down, const Vehicle::State &vehicle) const;
    Demand trimmed(const Demand &demand, const Vehicle::State &vehicle);

    Limits limits;
    Utils::Vector3d home;
    Task current = Task::Idle;
    SimTime spent{0};      // on the task
    Demand wanted;         // of a velocity flight
    double targetDown = 0; // of a take-off
    bool anchored = false; // whether it has come to rest at the anchor
    Utils::Vector3d anchor;
    SpeedTrim trim;
};
