// SPDX-License-Identifier: MIT
#include "sim/incoming.h"

#include <cmath>

namespace {

constexpr quint16 positionIgnored = 0x007;
constexpr quint16 velocityIgnored = 0x038;
constexpr quint16 accelerationIgnored = 0x1c0;
constexpr quint16 yawRateIgnored = 0x800;

} // namespace

quint32 Incoming::wholeNumber(float parameter)
{
    const float limit = 4e9F;
    return parameter >= 0 && parameter < limit ? static_cast<quint32>(parameter) : UINT32_MAX;
}

bool Incoming::isForAutopilot(quint8 targetSystem, quint8 targetComponent)
{
    const bool system = targetSystem == 0 || targetSystem == AutopilotIds::system;
    return system && (targetComponent == 0 || targetComponent == AutopilotIds::component);
}

OutgoingMessage Incoming::acknowledge(quint16 command, quint8 result, const mavlink::mavlink_message_t &to)
{
    mavlink::common::msg::COMMAND_ACK ack = {};
    ack.command = command;
    ack.result = result;
    ack.target_system = to.sysid;
    ack.target_component = to.compid;
    return OutgoingMessage::from(ack);
}

std::optional<Demand> Incoming::velocityOf(const SET_POSITION_TARGET_LOCAL_NED &target)
{
    const quint16 mask = target.type_mask;
    const bool velocityOnly = (mask & positionIgnored) == positionIgnored &&
                              (mask & accelerationIgnored) == accelerationIgnored &&
                              (mask & velocityIgnored) == 0;
    const auto localNed = static_cast<quint8>(mavlink::common::MAV_FRAME::LOCAL_NED);
    const double yawRate = (mask & yawRateIgnored) ? 0 : static_cast<double>(target.yaw_rate);
    const bool finite = std::isfinite(target.vx) && std::isfinite(target.vy) && std::isfinite(target.vz) &&
                        std::isfinite(yawRate);
    if (!velocityOnly || target.coordinate_frame != localNed || !finite)
        return std::nullopt;
    return Demand{{target.vx, target.vy, target.vz}, yawRate};
}
