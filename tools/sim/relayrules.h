// SPDX-License-Identifier: MIT
#pragma once

#include "sim/autopilotkind.h"

class HeardSources;
struct ReceivedFrame;

/// Whether the autopilot hands a frame from one of its links on to another one, by who was heard on that
/// other link. As measured:
///
/// - ArduPilot hands on to links on which anybody was heard: what is addressed to all (system 0, or no
///   target), and what is addressed to a system heard there, whatever the component. What is addressed to the
///   autopilot's own system stays with it.
/// - PX4 knows the common dialect only. It hands on what is addressed to all, and what is addressed to a
///   component heard there.
bool isHandedOn(AutopilotKind autopilot, const ReceivedFrame &frame, const HeardSources &heardThere);
