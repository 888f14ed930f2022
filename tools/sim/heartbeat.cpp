// SPDX-License-Identifier: MIT
#include "sim/heartbeat.h"

namespace {

using mavlink::minimal::msg::HEARTBEAT;

// As recorded from the real ones on the ground.
HEARTBEAT makeHeartbeat(AutopilotKind autopilot)
{
    HEARTBEAT heartbeat = {};
    heartbeat.type = static_cast<quint8>(mavlink::minimal::MAV_TYPE::QUADROTOR);
    heartbeat.system_status = static_cast<quint8>(mavlink::minimal::MAV_STATE::STANDBY);
    if (autopilot == AutopilotKind::Px4) {
        heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::PX4);
        heartbeat.base_mode = 29;
        heartbeat.custom_mode = 50593792; // auto, loiter
    } else {
        heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::ARDUPILOTMEGA);
        heartbeat.base_mode = 81;
        heartbeat.custom_mode = 0; // stabilize
    }
    return heartbeat;
}

} // namespace

QByteArray heartbeatFrame(AutopilotKind autopilot, mavlink::mavlink_status_t *linkState)
{
    mavlink::mavlink_message_t message = {};
    mavlink::MsgMap map(message);
    makeHeartbeat(autopilot).serialize(map);
    mavlink::mavlink_finalize_message_buffer(&message, AutopilotIds::system, AutopilotIds::component,
                                             linkState, HEARTBEAT::MIN_LENGTH, HEARTBEAT::LENGTH,
                                             HEARTBEAT::CRC_EXTRA);
    uint8_t frame[MAVLINK_MAX_PACKET_LEN];
    const int size = mavlink::mavlink_msg_to_send_buffer(frame, &message);
    return QByteArray(reinterpret_cast<const char *>(frame), size);
}
