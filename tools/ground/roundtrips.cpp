// SPDX-License-Identifier: MIT
#include "ground/roundtrips.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace {

constexpr double None = std::numeric_limits<double>::quiet_NaN();

} // namespace

void RoundTrips::add(Duration time)
{
    if (latest.size() >= limit)
        latest.pop_front();
    latest.push_back(time);
    shortest = std::min(shortest, time);
    longest = std::max(longest, time);
}

double RoundTrips::minMs() const
{
    return latest.empty() ? None : toMs(shortest);
}

double RoundTrips::maxMs() const
{
    return latest.empty() ? None : toMs(longest);
}

double RoundTrips::medianMs() const
{
    if (latest.empty())
        return None;
    std::vector<Duration> sorted(latest.begin(), latest.end());
    std::sort(sorted.begin(), sorted.end());
    const size_t middle = sorted.size() / 2;
    const double upper = toMs(sorted[middle]);
    return sorted.size() % 2 == 1 ? upper : (toMs(sorted[middle - 1]) + upper) / 2;
}
