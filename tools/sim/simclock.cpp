// SPDX-License-Identifier: MIT
#include "sim/simclock.h"

#include <algorithm>
#include <utility>

SimClock::SimClock(double simSpeed, Source timeSource)
    : speed(simSpeed)
    , source(std::move(timeSource))
    , last(source())
{}

std::chrono::nanoseconds SimClock::steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

int SimClock::takeSteps()
{
    const std::chrono::nanoseconds now = source();
    const std::chrono::duration<double> passed = std::min<std::chrono::nanoseconds>(now - last, longestSleep);
    last = now;
    const double due = left + passed.count() * speed / toSeconds(simStep);
    const int steps = static_cast<int>(std::min(due, 1e6));
    left = due - steps;
    return steps;
}
