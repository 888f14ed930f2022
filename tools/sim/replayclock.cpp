// SPDX-License-Identifier: MIT
#include "sim/replayclock.h"

#include <algorithm>
#include <cmath>
#include <utility>

ReplayClock::ReplayClock(double replaySpeed, Source timeSource)
    : speed(replaySpeed)
    , source(std::move(timeSource))
{}

std::chrono::nanoseconds ReplayClock::steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

void ReplayClock::restart()
{
    positionWhenStoppedUs = 0;
    runningSince = source();
    paused = false;
}

void ReplayClock::pause()
{
    positionWhenStoppedUs = positionUs();
    paused = true;
}

void ReplayClock::resume()
{
    if (!std::exchange(paused, false))
        return;
    runningSince = source();
}

bool ReplayClock::hasReached(std::chrono::microseconds due) const
{
    return static_cast<double>(due.count()) <= positionUs();
}

std::chrono::milliseconds ReplayClock::timeUntil(std::chrono::microseconds due) const
{
    // In floating point to the end: a tiny speed makes for a wait that no integer holds.
    const double longestMs = 3600 * 1000;
    const double waitMs = std::ceil((static_cast<double>(due.count()) - positionUs()) / speed / 1000);
    return std::chrono::milliseconds(static_cast<int>(std::clamp(waitMs, 0.0, longestMs)));
}

double ReplayClock::positionUs() const
{
    if (paused)
        return positionWhenStoppedUs;
    const std::chrono::duration<double, std::micro> running = source() - runningSince;
    return positionWhenStoppedUs + running.count() * speed;
}
