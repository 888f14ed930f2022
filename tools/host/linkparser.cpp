// SPDX-License-Identifier: MIT
#include "host/linkparser.h"

LinkParser::Outcome LinkParser::take(quint8 byte)
{
    ++begun;
    const int result = mavlink::mavlink_frame_char_buffer(&buffer, &state, byte, nullptr, nullptr);
    if (result != mavlink::MAVLINK_FRAMING_INCOMPLETE)
        return takeEnd(byte, result == mavlink::MAVLINK_FRAMING_OK);
    if (!isInFrame()) {
        strayCount += begun;
        begun = 0;
    }
    return Outcome::Nothing;
}

LinkParser::Outcome LinkParser::takeEnd(quint8 byte, bool isGood)
{
    begun = 0;
    if (isGood)
        return Outcome::Frame;
    const bool unknown = isUnknownMessage();
    resume(byte);
    return unknown ? Outcome::UnknownId : Outcome::BadChecksum;
}

// The checksum of a message ends with a byte that only those who know the message know. With an unknown one
// it can come out right for one in 256 wrong checksums only: enough to tell it from a frame whose id was
// damaged.
bool LinkParser::isUnknownMessage() const
{
    if (mavlink::mavlink_get_msg_entry(buffer.msgid))
        return false;
    const int claimed = buffer.ck[0] | buffer.ck[1] << 8;
    for (int extra = 0; extra < 256; ++extra) {
        quint16 checksum = buffer.checksum;
        mavlink::crc_accumulate(static_cast<quint8>(extra), &checksum);
        if (checksum == claimed)
            return true;
    }
    return false;
}

// As mavlink_parse_char() does it on its channels: the last byte of a bad frame may begin the next one, of
// the version of the bad one.
void LinkParser::resume(quint8 byte)
{
    state.parse_state = mavlink::MAVLINK_PARSE_STATE_IDLE;
    if (byte != MAVLINK_STX)
        return;
    state.parse_state = mavlink::MAVLINK_PARSE_STATE_GOT_STX;
    mavlink::mavlink_start_checksum(&buffer);
    begun = 1;
}

bool LinkParser::isInFrame() const
{
    return state.parse_state != mavlink::MAVLINK_PARSE_STATE_IDLE &&
           state.parse_state != mavlink::MAVLINK_PARSE_STATE_UNINIT;
}
