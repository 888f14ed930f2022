// SPDX-License-Identifier: MIT
#include "mavlink/framing.h"

namespace mavlink {

uint16_t packFrame(const Message &message, uint8_t systemId, uint8_t componentId, uint8_t *frame)
{
    mavlink_message_t wire;
    MsgMap map(wire);
    message.serialize(map);
    const Message::Info info = message.get_message_info();
    mavlink_finalize_message_chan(&wire, systemId, componentId, MAVLINK_COMM_0,
                                  static_cast<uint8_t>(info.min_length), static_cast<uint8_t>(info.length),
                                  info.crc_extra);
    return mavlink_msg_to_send_buffer(frame, &wire);
}

} // namespace mavlink
