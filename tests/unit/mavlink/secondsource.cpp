// SPDX-License-Identifier: MIT
#include "mavlink/secondsource.h"

mavlink::mavlink_status_t *SecondSource::channelStatus()
{
    return mavlink::mavlink_get_channel_status(mavlink::MAVLINK_COMM_0);
}

mavlink::mavlink_message_t *SecondSource::channelBuffer()
{
    return mavlink::mavlink_get_channel_buffer(mavlink::MAVLINK_COMM_0);
}

const mavlink::mavlink_msg_entry_t *SecondSource::entry(quint32 id)
{
    return mavlink::mavlink_get_msg_entry(id);
}

quint8 SecondSource::finalizeHeartbeat()
{
    using mavlink::minimal::msg::HEARTBEAT;
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    HEARTBEAT{}.serialize(map);
    mavlink::mavlink_finalize_message_chan(&wire, 3, 4, mavlink::MAVLINK_COMM_0, HEARTBEAT::MIN_LENGTH,
                                           HEARTBEAT::LENGTH, HEARTBEAT::CRC_EXTRA);
    return wire.seq;
}

int SecondSource::parse(const QByteArray &bytes)
{
    int messages = 0;
    mavlink::mavlink_message_t message;
    for (const char byte : bytes)
        messages += mavlink::mavlink_parse_char(mavlink::MAVLINK_COMM_0, static_cast<quint8>(byte), &message,
                                                nullptr);
    return messages;
}
