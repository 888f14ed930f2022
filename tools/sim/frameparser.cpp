// SPDX-License-Identifier: MIT
#include "sim/frameparser.h"

QVector<ReceivedFrame> FrameParser::parse(const QByteArray &bytes)
{
    QVector<ReceivedFrame> frames;
    for (const char byte : bytes) {
        if (takeByte(byte))
            frames.append(makeFrame());
    }
    return frames;
}

// Whether the byte ends a good frame. The library's own way back from a message to bytes is of no use here:
// it cuts trailing zeros that a sender left in.
bool FrameParser::takeByte(char byte)
{
    mavlink::mavlink_status_t status = {};
    const int result =
        mavlink::mavlink_frame_char_buffer(&buffer, &state, static_cast<uint8_t>(byte), &message, &status);
    if (state.parse_state == mavlink::MAVLINK_PARSE_STATE_GOT_STX)
        raw.clear();
    raw += byte;
    if (result == mavlink::MAVLINK_FRAMING_OK)
        return true;
    if (result != mavlink::MAVLINK_FRAMING_INCOMPLETE)
        ++bad;
    if (state.parse_state == mavlink::MAVLINK_PARSE_STATE_IDLE)
        raw.clear();
    return false;
}

ReceivedFrame FrameParser::makeFrame() const
{
    ReceivedFrame frame = {raw, message.msgid, message.sysid, message.compid, 0, 0, message};
    const mavlink::mavlink_msg_entry_t *entry = mavlink::mavlink_get_msg_entry(message.msgid);
    const char *payload = _MAV_PAYLOAD(&message); // filled up with zeros where the sender cut them
    if (entry->flags & MAV_MSG_ENTRY_FLAG_HAVE_TARGET_SYSTEM)
        frame.targetSystem = static_cast<quint8>(payload[entry->target_system_ofs]);
    if (entry->flags & MAV_MSG_ENTRY_FLAG_HAVE_TARGET_COMPONENT)
        frame.targetComponent = static_cast<quint8>(payload[entry->target_component_ofs]);
    return frame;
}
