// SPDX-License-Identifier: MIT
#include "navigation/ivirtualstick.h"

bool IVirtualStick::arm()
{
    return false;
}

bool IVirtualStick::takeOff()
{
    return false;
}
