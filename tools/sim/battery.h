// SPDX-License-Identifier: MIT
#pragma once

#include "sim/simtime.h"

/// A battery that is drained at a constant current while the motors turn in the air, and hardly otherwise.
/// An empty one still flies: what to do then is the autopilot's and not simulated.
class Battery
{
public:
    static constexpr double capacityMah = 3300;
    static constexpr double hoverAmps = 28;
    static constexpr double idleAmps = 0.5;

    /// Its voltage falls by an eighth until it is empty.
    explicit Battery(double fullVolts);

    void step(bool armed, bool flying);

    double volts() const;
    double amps() const { return current; }
    double usedMah() const { return used; }
    /// Percent, 0 to 100.
    int remaining() const;

private:
    double fullVolts;
    double current = 0;
    double used = 0;
};
