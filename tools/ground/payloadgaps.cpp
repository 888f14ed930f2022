// SPDX-License-Identifier: MIT
#include "ground/payloadgaps.h"

#include <cstdlib>

namespace {

constexpr int RestartJump = 1000;

} // namespace

void PayloadGaps::add(quint16 id)
{
    ++payloads;
    const int step = newest ? static_cast<qint16>(static_cast<quint16>(id - *newest)) : 1;
    const bool restarted = std::abs(step) >= RestartJump;
    if (!restarted && step > 0)
        gaps += step - 1;
    else if (!restarted && step < 0 && gaps > 0)
        --gaps;
    if (restarted || step > 0)
        newest = id;
}
