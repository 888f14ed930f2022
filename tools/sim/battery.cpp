// SPDX-License-Identifier: MIT
#include "sim/battery.h"

#include <algorithm>
#include <cmath>

Battery::Battery(double full)
    : fullVolts(full)
{}

void Battery::step(bool armed, bool flying)
{
    current = flying ? hoverAmps : armed ? idleAmps : 0;
    used = std::min(capacityMah, used + current * 1000 * toSeconds(simStep) / 3600);
}

double Battery::volts() const
{
    return fullVolts * (1 - used / capacityMah / 8);
}

int Battery::remaining() const
{
    return static_cast<int>(std::lround(100 * (1 - used / capacityMah)));
}
