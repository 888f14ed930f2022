// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <deque>

/// Round-trip times. The shortest and the longest are of all; the median is of the last 10,000, older ones
/// are forgotten.
class RoundTrips
{
public:
    using Duration = std::chrono::nanoseconds;

    static constexpr size_t limit = 10'000;

    void add(Duration time);
    /// Milliseconds; NaN as long as there are none.
    double minMs() const;
    double medianMs() const;
    double maxMs() const;

    static double toMs(Duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

private:
    std::deque<Duration> latest;
    Duration shortest = Duration::max();
    Duration longest = Duration::min();
};
