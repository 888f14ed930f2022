// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

/// The time of a replay: runs at a speed, can be paused, and can be set back to zero.
class ReplayClock
{
public:
    /// Monotonic time. Tests bring their own.
    using Source = std::function<std::chrono::nanoseconds()>;

    /// The clock stands at zero until restart(). The speed is above 0: at 2, replay time runs twice as fast.
    explicit ReplayClock(double replaySpeed, Source timeSource = steadyTime);

    void restart();
    /// Pausing a paused clock, or resuming one that runs, changes nothing.
    void pause();
    void resume();
    bool isPaused() const { return paused; }

    /// Whether this moment of the replay has come.
    bool hasReached(std::chrono::microseconds due) const;
    /// How long it takes until then, rounded up to whole milliseconds; at most an hour, after which to ask
    /// again.
    std::chrono::milliseconds timeUntil(std::chrono::microseconds due) const;

private:
    static std::chrono::nanoseconds steadyTime();
    double positionUs() const;

    double speed;
    Source source;
    std::chrono::nanoseconds runningSince{0};
    double positionWhenStoppedUs = 0;
    bool paused = true;
};
