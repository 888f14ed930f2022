// SPDX-License-Identifier: MIT
#pragma once

#include "sim/simtime.h"

#include <functional>

/// Says how many steps the simulated world is behind.
///
/// What our own process slept through is made up for, up to longestSleep of our time; more is left out, so
/// that a suspended computer does not have to fly for hours when it wakes.
class SimClock
{
public:
    /// Monotonic time. Tests bring their own.
    using Source = std::function<std::chrono::nanoseconds()>;

    static constexpr std::chrono::seconds longestSleep{1};

    /// The speed is above 0: at 2, the simulated world goes twice as fast.
    explicit SimClock(double speed, Source source = steadyTime);

    /// Steps that are due since the last call, or since the clock was made.
    int takeSteps();

private:
    static std::chrono::nanoseconds steadyTime();

    double speed;
    Source source;
    std::chrono::nanoseconds last;
    double left = 0; // of a step, from before
};
