// SPDX-License-Identifier: MIT
#include "host/seconds.h"

#include <cmath>

namespace {

constexpr double LongestSeconds = 1e6; // a timer counts milliseconds in 32 bits

} // namespace

std::optional<std::chrono::milliseconds> parseSeconds(const QString &text)
{
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    if (!ok || !(seconds >= 0 && seconds <= LongestSeconds))
        return std::nullopt;
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}
