// SPDX-License-Identifier: MIT
#pragma once

#include "sim/autopilotids.h"
#include "sim/guidance.h"
#include "sim/outgoingmessage.h"

#include <optional>

/// What both makes of autopilot read in the same way.
namespace Incoming {

using mavlink::common::msg::COMMAND_LONG;
using mavlink::common::msg::SET_POSITION_TARGET_LOCAL_NED;

enum Command : quint16 {
    ReturnToLaunch = 20,
    Land = 21,
    TakeOff = 22,
    SetMode = 176,
    Reboot = 246,
    Arm = 400,
    SetMessageInterval = 511,
    RequestMessage = 512,
};

enum Result : quint8 { Accepted = 0, TemporarilyRejected = 1, Unsupported = 3, Failed = 4 };

/// Disarms in the air too, as a second parameter.
constexpr float forceDisarm = 21196;

template <typename Message>
Message decode(const mavlink::mavlink_message_t &message)
{
    Message decoded = {};
    mavlink::MsgMap map(&message);
    decoded.deserialize(map);
    return decoded;
}

/// A parameter of a command as the number that it stands for; UINT32_MAX for what is none.
quint32 wholeNumber(float parameter);
/// Addressed to the autopilot, or to all.
bool isForAutopilot(quint8 targetSystem, quint8 targetComponent);
OutgoingMessage acknowledge(quint16 command, quint8 result, const mavlink::mavlink_message_t &to);
/// Nothing unless the set-point has a velocity and no position or acceleration, north, east and down. A yaw
/// rate is 0 where it is to be ignored.
std::optional<Demand> velocityOf(const SET_POSITION_TARGET_LOCAL_NED &target);

} // namespace Incoming
