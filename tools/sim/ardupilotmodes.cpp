// SPDX-License-Identifier: MIT
#include "sim/ardupilotmodes.h"

const ModeTable &ArduPilotModes::table()
{
    static const ModeTable modes = {
        {Stabilize, QLatin1String("stabilize")},
        {1, QLatin1String("acro")},
        {2, QLatin1String("alt_hold")},
        {3, QLatin1String("auto")},
        {Guided, QLatin1String("guided")},
        {5, QLatin1String("loiter")},
        {ReturnToLaunch, QLatin1String("rtl")},
        {7, QLatin1String("circle")},
        {Land, QLatin1String("land")},
        {11, QLatin1String("drift")},
        {13, QLatin1String("sport")},
        {15, QLatin1String("autotune")},
        {16, QLatin1String("poshold")},
        {17, QLatin1String("brake")},
        {20, QLatin1String("guided_nogps")},
        {21, QLatin1String("smart_rtl")},
    };
    return modes;
}
