// SPDX-License-Identifier: MIT
#pragma once

#include "navigation/positions.h"
#include "sim/simtime.h"

/// What a controller that does not know the air adds to a demanded horizontal speed: nothing at first, so
/// that a share of the speed is missing, and then what it learns is missing. When the demand changes, what
/// it has learnt stays for a while.
class SpeedTrim
{
public:
    /// In this time a shortfall shrinks to about a third.
    static constexpr double settlingS = 8;

    /// The share that is missing at first, from 0 to below 1.
    explicit SpeedTrim(double shortfall);

    void reset() { learnt = {}; }
    /// What to fly when the demand is this and the vehicle moves like that. Once per step.
    Utils::Vector2d step(const Utils::Vector3d &demanded, const Utils::Vector3d &actual);

private:
    double loss; // a m/s flown
    Utils::Vector2d learnt;
};
