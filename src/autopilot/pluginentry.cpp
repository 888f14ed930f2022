// SPDX-License-Identifier: MIT
// The entry points that the Qt plugin loader calls, in a unit of their own: it is built with QT_NO_DEBUG in
// every configuration, since the metadata records that define and hosts expect "debug" to be false.
#include "autopilot/mavautopilot.h"

#include "moc_mavautopilot.cpp"
