// SPDX-License-Identifier: MIT
#include "sim/wind.h"

#include <cmath>

Utils::Vector2d Wind::steady() const
{
    const double direction = fromDeg * M_PI / 180;
    return {-speedMps * std::cos(direction), -speedMps * std::sin(direction)};
}

// Two waves whose periods have no common measure, so that gusts do not look alike.
Utils::Vector2d Wind::gust(SimTime time) const
{
    const double seconds = toSeconds(time);
    const double strength = 0.15 * (std::sin(seconds / 1.3) + std::sin(seconds / 2.1 + 1));
    const Utils::Vector2d wind = steady();
    return {wind.x * strength, wind.y * strength};
}
