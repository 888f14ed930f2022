// SPDX-License-Identifier: MIT
#pragma once

#include "navigation/positions.h"
#include "sim/simtime.h"

/// A steady wind with gusts of three tenths of its speed, which come and go within seconds.
struct Wind
{
    double speedMps = 0;
    double fromDeg = 0; ///< Where it blows from: 0 north, 90 east.

    /// Metres a second towards north and east.
    Utils::Vector2d steady() const;
    /// What the gusts add to that at a moment.
    Utils::Vector2d gust(SimTime time) const;
};
