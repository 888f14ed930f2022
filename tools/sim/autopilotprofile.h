// SPDX-License-Identifier: MIT
#pragma once

#include "sim/boottimes.h"
#include "sim/guidance.h"

/// What a vehicle is like that has a certain make of autopilot, and where it starts.
struct AutopilotProfile
{
    Coordinate start; ///< Altitude above mean sea level.
    BootTimes bootTimes;
    Guidance::Limits limits;
    double fullVolts = 0;
};
