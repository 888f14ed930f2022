// SPDX-License-Identifier: MIT
#include "sim/guidance.h"

#include <algorithm>
#include <cmath>

namespace {

/// The speed from which it can still stop in that distance, gently.
double approachSpeed(double distanceM, double limit, double deceleration)
{
    const double settlingS = 1;
    const double distance = std::abs(distanceM);
    const double speed = std::min({limit, std::sqrt(2 * deceleration * distance), distance / settlingS});
    return std::copysign(speed, distanceM);
}

Utils::Vector2d approachVelocity(const Utils::Vector3d &target, const Utils::Vector3d &position, double limit)
{
    const double north = target.x - position.x;
    const double east = target.y - position.y;
    const double distance = std::hypot(north, east);
    if (distance < 1e-6)
        return {};
    const double speed = approachSpeed(distance, limit, 1.0);
    return {north / distance * speed, east / distance * speed};
}

constexpr double verticalDeceleration = 0.6;

} // namespace

Guidance::Guidance(const Limits &wantedLimits)
    : limits(wantedLimits)
    , trim(wantedLimits.shortfall)
{}

void Guidance::idle()
{
    begin(Task::Idle);
}

void Guidance::takeOff(double heightAboveHomeM, const Vehicle::State &vehicle)
{
    begin(Task::TakeOff);
    targetDown = home.z - heightAboveHomeM;
    anchor = vehicle.position;
    anchored = true;
}

void Guidance::hold()
{
    begin(Task::Hold);
}

void Guidance::fly(const Demand &demand)
{
    if (current != Task::Velocity)
        begin(Task::Velocity);
    wanted = bounded(demand);
}

void Guidance::land()
{
    begin(Task::Land);
}

void Guidance::returnHome()
{
    begin(Task::ReturnHome);
}

void Guidance::begin(Task task)
{
    current = task;
    spent = SimTime(0);
    anchored = false;
    trim.reset();
}

Demand Guidance::step(const Vehicle &vehicle)
{
    spent += simStep;
    switch (current) {
    case Task::Idle:
        break;
    case Task::TakeOff:
        return climb(vehicle.state());
    case Task::Hold:
        return vehicle.state().landed ? Demand{} : stay(vehicle.state());
    case Task::Velocity:
        return trimmed(wanted, vehicle.state());
    case Task::Land:
        return descend(vehicle);
    case Task::ReturnHome:
        return goHome(vehicle);
    }
    return {};
}

Demand Guidance::climb(const Vehicle::State &vehicle)
{
    if (spent < limits.spoolUp)
        return {};
    if (!vehicle.landed && std::abs(targetDown - vehicle.position.z) < 0.05) {
        anchor.z = targetDown;
        current = Task::Hold;
        return stay(vehicle);
    }
    const Utils::Vector2d back = approachVelocity(anchor, vehicle.position, 1);
    double down = verticalSpeedTo(targetDown, vehicle);
    if (heightAboveHomeM(vehicle) < limits.slowClimbBelow)
        down = std::max(down, -limits.slowClimb);
    return {{back.x, back.y, down}, 0};
}

Demand Guidance::stay(const Vehicle::State &vehicle)
{
    const double restMps = 0.1;
    const double speed = std::hypot(std::hypot(vehicle.velocity.x, vehicle.velocity.y), vehicle.velocity.z);
    if (!anchored && speed > restMps)
        return {};
    if (!anchored)
        anchor = vehicle.position;
    anchored = true;
    const Utils::Vector2d back = approachVelocity(anchor, vehicle.position, 1);
    return {{back.x, back.y, verticalSpeedTo(anchor.z, vehicle)}, 0};
}

Demand Guidance::descend(const Vehicle &vehicle)
{
    if (vehicle.state().landed)
        return {};
    Demand demand = stay(vehicle.state());
    demand.velocity.z = vehicle.heightAboveGroundM() > limits.landSlowBelow ? limits.descent : limits.landing;
    return demand;
}

Demand Guidance::goHome(const Vehicle &vehicle)
{
    const Vehicle::State &state = vehicle.state();
    const double distance = std::hypot(home.x - state.position.x, home.y - state.position.y);
    if (state.landed || distance < 0.3) {
        land();
        return descend(vehicle);
    }
    if (!anchored)
        anchor.z = std::min(home.z - limits.returnHeight, state.position.z);
    anchored = true;
    const double vertical = verticalSpeedTo(anchor.z, state);
    if (state.position.z - anchor.z > 0.5)
        return {{0, 0, vertical}, 0};
    const Utils::Vector2d back = approachVelocity(home, state.position, limits.returnSpeed);
    return trimmed({{back.x, back.y, vertical}, 0}, state);
}

Demand Guidance::trimmed(const Demand &demand, const Vehicle::State &vehicle)
{
    const Utils::Vector2d flown = trim.step(demand.velocity, vehicle.velocity);
    return {{flown.x, flown.y, demand.velocity.z}, demand.yawRate};
}

Demand Guidance::bounded(const Demand &demand) const
{
    Demand result = demand;
    const double speed = std::hypot(demand.velocity.x, demand.velocity.y);
    const double scale = speed > limits.horizontal ? limits.horizontal / speed : 1;
    result.velocity.x *= scale;
    result.velocity.y *= scale;
    result.velocity.z = std::clamp(demand.velocity.z, -limits.climb, limits.descent);
    return result;
}

double Guidance::verticalSpeedTo(double down, const Vehicle::State &vehicle) const
{
    const double distance = down - vehicle.position.z;
    const double limit = distance < 0 ? limits.climb : limits.descent;
    return approachSpeed(distance, limit, verticalDeceleration);
}
