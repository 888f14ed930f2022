// SPDX-License-Identifier: MIT
#include "sim/speedtrim.h"

SpeedTrim::SpeedTrim(double shortfall)
    : loss(shortfall / (1 - shortfall))
{}

Utils::Vector2d SpeedTrim::step(const Utils::Vector3d &demanded, const Utils::Vector3d &actual)
{
    const double missingNorth = loss * actual.x - learnt.x;
    const double missingEast = loss * actual.y - learnt.y;
    const double share = toSeconds(simStep) * (1 + loss) / settlingS;
    learnt.x += missingNorth * share;
    learnt.y += missingEast * share;
    return {demanded.x - missingNorth, demanded.y - missingEast};
}
