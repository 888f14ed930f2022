// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

/// Time of the simulated world: runs --speed times as fast as ours, and in steps.
using SimTime = std::chrono::microseconds;

/// Everything in that world moves by this much at a time.
constexpr SimTime simStep = std::chrono::milliseconds(10);

inline double toSeconds(SimTime time)
{
    return std::chrono::duration<double>(time).count();
}

inline SimTime fromSeconds(double seconds)
{
    return std::chrono::duration_cast<SimTime>(std::chrono::duration<double>(seconds));
}
