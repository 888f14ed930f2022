// SPDX-License-Identifier: MIT
#include "sim/relief.h"

#include <cmath>

double groundHeightM(double northM, double eastM)
{
    const double levelRadiusM = 15;
    const double hills =
        1.4 * std::sin(northM / 23) * std::cos(eastM / 31) + 0.6 * std::sin((northM + eastM) / 11);
    const double squaredDistance = northM * northM + eastM * eastM;
    return hills * squaredDistance / (squaredDistance + levelRadiusM * levelRadiusM);
}
