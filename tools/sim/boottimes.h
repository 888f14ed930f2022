// SPDX-License-Identifier: MIT
#pragma once

#include "sim/simtime.h"

/// When after power-up an autopilot is how far.
struct BootTimes
{
    SimTime down{0};        ///< From the request for a reboot until power-up.
    SimTime heartbeat{0};   ///< It speaks from here on.
    SimTime initialised{0}; ///< Its heartbeat says standby.
    SimTime searching{0};   ///< The first satellites, and wrong positions from them.
    SimTime fix{0};         ///< The position is right, and the time is known.
    SimTime home{0};        ///< It knows where it is at home.
    SimTime ready{0};       ///< It can be armed.

    /// The same order of events in another time.
    BootTimes scaledTo(SimTime wantedReady) const
    {
        const double factor = toSeconds(wantedReady) / toSeconds(ready);
        const auto scale = [=](SimTime time) { return fromSeconds(toSeconds(time) * factor); };
        return {scale(down), scale(heartbeat), scale(initialised), scale(searching),
                scale(fix),  scale(home),      wantedReady};
    }
};
