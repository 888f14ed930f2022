// SPDX-License-Identifier: MIT
#include "sim/vehicle.h"

#include "sim/relief.h"

#include <algorithm>
#include <cmath>

namespace {

const double dt = toSeconds(simStep);

/// Acceleration towards a wanted speed, for one axis.
double pull(double wanted, double actual, double settlingS, double limit)
{
    return std::clamp((wanted - actual) / settlingS, -limit, limit);
}

/// The same for both horizontal axes; the limit is that of their sum.
Utils::Vector2d pull(const Utils::Vector3d &wanted, const Utils::Vector3d &actual)
{
    const double north = (wanted.x - actual.x) / Vehicle::horizontalSettlingS;
    const double east = (wanted.y - actual.y) / Vehicle::horizontalSettlingS;
    const double size = std::hypot(north, east);
    const double scale =
        size > Vehicle::horizontalAccelerationLimit ? Vehicle::horizontalAccelerationLimit / size : 1;
    return {north * scale, east * scale};
}

} // namespace

Vehicle::Vehicle(const Wind &wind)
    : air(wind)
{}

void Vehicle::step(const Demand &demand, bool motorsOn)
{
    time += simStep;
    if (now.landed)
        stepOnGround(demand, motorsOn);
    else
        stepInAir(demand, motorsOn);
}

double Vehicle::heightAboveGroundM() const
{
    return std::max(0.0, -now.position.z - groundHeightM(now.position.x, now.position.y));
}

void Vehicle::stepOnGround(const Demand &demand, bool motorsOn)
{
    now.yawRate = 0;
    lean(0, 0);
    if (!motorsOn || demand.velocity.z >= 0)
        return;
    now.landed = false;
    stepInAir(demand, motorsOn);
}

void Vehicle::stepInAir(const Demand &demand, bool motorsOn)
{
    const Utils::Vector2d gust = air.gust(time);
    Utils::Vector2d thrust;
    double down = gravity;
    if (motorsOn) {
        thrust = pull(demand.velocity, now.velocity);
        down = pull(demand.velocity.z, now.velocity.z, verticalSettlingS, verticalAccelerationLimit);
    }
    now.acceleration = {thrust.x + drag * gust.x, thrust.y + drag * gust.y, down};
    now.velocity.x += now.acceleration.x * dt;
    now.velocity.y += now.acceleration.y * dt;
    now.velocity.z = std::min(now.velocity.z + now.acceleration.z * dt, fallLimit);
    now.position.x += now.velocity.x * dt;
    now.position.y += now.velocity.y * dt;
    now.position.z += now.velocity.z * dt;
    turn(demand.yawRate);
    const Utils::Vector2d wind = air.steady();
    lean(thrust.x + drag * (now.velocity.x - wind.x - gust.x),
         thrust.y + drag * (now.velocity.y - wind.y - gust.y));
    touchGround();
}

void Vehicle::turn(double wantedRate)
{
    const double wanted = std::clamp(wantedRate, -yawRateLimit, yawRateLimit);
    const double change = yawAccelerationLimit * dt;
    now.yawRate += std::clamp(wanted - now.yawRate, -change, change);
    now.yaw = std::remainder(now.yaw + now.yawRate * dt, 2 * M_PI);
}

// Nose down to go ahead, right side down to go right.
void Vehicle::lean(double northAcceleration, double eastAcceleration)
{
    const double ahead = northAcceleration * std::cos(now.yaw) + eastAcceleration * std::sin(now.yaw);
    const double right = eastAcceleration * std::cos(now.yaw) - northAcceleration * std::sin(now.yaw);
    now.rollRate = (std::atan2(right, gravity) - now.roll) / leanSettlingS;
    now.pitchRate = (std::atan2(-ahead, gravity) - now.pitch) / leanSettlingS;
    now.roll += now.rollRate * dt;
    now.pitch += now.pitchRate * dt;
}

void Vehicle::touchGround()
{
    const double groundDown = -groundHeightM(now.position.x, now.position.y);
    if (now.position.z < groundDown || now.velocity.z < 0)
        return;
    now.position.z = groundDown;
    now.velocity = {};
    now.acceleration = {};
    now.landed = true;
}
