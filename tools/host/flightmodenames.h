// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QString>

/// What people call the mode that a heartbeat of an autopilot names by number, for example "guided" or
/// "offboard"; the number itself, "mode 99", for one that has no name. Modes of an ArduPilot are those of a
/// Copter; other vehicles number theirs differently, so they are told by number.
QString flightModeName(const mavlink::minimal::msg::HEARTBEAT &heartbeat);
