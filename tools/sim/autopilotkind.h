// SPDX-License-Identifier: MIT
#pragma once

/// Whose manners the simulator has.
enum class AutopilotKind { Px4, ArduPilot };
