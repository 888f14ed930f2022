// SPDX-License-Identifier: MIT
#include "sim/outgoingmessage.h"

#include "sim/autopilotids.h"

#include <cstring>

OutgoingMessage OutgoingMessage::from(const mavlink::Message &message)
{
    mavlink::mavlink_message_t packed = {};
    mavlink::MsgMap map(packed);
    message.serialize(map);
    const mavlink::Message::Info info = message.get_message_info();
    return {packed.msgid, QByteArray(_MAV_PAYLOAD(&packed), static_cast<int>(info.length)),
            static_cast<quint8>(info.min_length), info.crc_extra};
}

int OutgoingMessage::frameBytes() const
{
    int length = payload.size();
    while (length > 1 && payload[length - 1] == 0)
        --length;
    return length + MAVLINK_NUM_NON_PAYLOAD_BYTES;
}

QByteArray OutgoingMessage::toFrame(mavlink::mavlink_status_t *linkState) const
{
    mavlink::mavlink_message_t message = {};
    message.msgid = id;
    std::memcpy(_MAV_PAYLOAD_NON_CONST(&message), payload.constData(), static_cast<size_t>(payload.size()));
    mavlink::mavlink_finalize_message_buffer(&message, AutopilotIds::system, AutopilotIds::component,
                                             linkState, minLength, static_cast<quint8>(payload.size()),
                                             crcExtra);
    uint8_t frame[MAVLINK_MAX_PACKET_LEN];
    const int size = mavlink::mavlink_msg_to_send_buffer(frame, &message);
    return QByteArray(reinterpret_cast<const char *>(frame), size);
}
