// SPDX-License-Identifier: MIT
#pragma once

#include "sim/modetable.h"

/// The modes of an ArduCopter, and those of them that the code names.
namespace ArduPilotModes {

enum Number : quint32 { Stabilize = 0, Guided = 4, ReturnToLaunch = 6, Land = 9 };

const ModeTable &table();

} // namespace ArduPilotModes
