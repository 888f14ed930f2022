// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"
#include "sim/autopilotkind.h"

#include <QByteArray>

namespace AutopilotIds {

constexpr quint8 system = 1;
constexpr quint8 component = 1;

} // namespace AutopilotIds

/// The heartbeat of a disarmed multicopter in the mode it starts in, as a frame of MAVLink 2. The state holds
/// the sequence number of the link, which goes up by one.
QByteArray heartbeatFrame(AutopilotKind autopilot, mavlink::mavlink_status_t *linkState);
