// SPDX-License-Identifier: MIT
#include "autopilot/support/frames.h"

#include <algorithm>
#include <array>

namespace {

constexpr int Mavlink1Overhead = 8;
constexpr int Mavlink2Overhead = 12;
constexpr char Mavlink1Marker = '\xFE';

mavlink::mavlink_message_t finalize(const mavlink::Message &message, Sender sender, quint8 sequence)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    mavlink::mavlink_status_t own{};
    own.current_tx_seq = sequence;
    const mavlink::Message::Info info = message.get_message_info();
    mavlink::mavlink_finalize_message_buffer(&wire, sender.system, sender.component, &own,
                                             static_cast<quint8>(info.min_length),
                                             static_cast<quint8>(info.length), info.crc_extra);
    return wire;
}

int frameLength(const QByteArray &stream)
{
    const int payload = static_cast<quint8>(stream[1]);
    if (stream[0] == Mavlink1Marker)
        return payload + Mavlink1Overhead;
    const bool isSigned = (stream[2] & MAVLINK_IFLAG_SIGNED) != 0;
    return payload + Mavlink2Overhead + (isSigned ? MAVLINK_SIGNATURE_BLOCK_LEN : 0);
}

} // namespace

QByteArray frameOf(const mavlink::Message &message, Sender sender, quint8 sequence)
{
    const mavlink::mavlink_message_t wire = finalize(message, sender, sequence);
    std::array<quint8, MAVLINK_MAX_PACKET_LEN> frame{};
    const int length = mavlink::mavlink_msg_to_send_buffer(frame.data(), &wire);
    return QByteArray(reinterpret_cast<const char *>(frame.data()), length);
}

mavlink::mavlink_message_t receivedOf(const mavlink::Message &message, Sender sender, char filler)
{
    mavlink::mavlink_message_t received = finalize(message, sender, 0);
    char *payload = _MAV_PAYLOAD_NON_CONST(&received);
    std::fill(payload + received.len, payload + MAVLINK_MAX_PAYLOAD_LEN, filler);
    return received;
}

mavlink::minimal::msg::HEARTBEAT heartbeatOf(quint8 autopilot, quint8 baseMode)
{
    mavlink::minimal::msg::HEARTBEAT heartbeat{};
    heartbeat.autopilot = autopilot;
    heartbeat.base_mode = baseMode;
    return heartbeat;
}

QList<QByteArray> splitFrames(const QByteArray &stream)
{
    QList<QByteArray> frames;
    for (int at = 0; at + 2 < stream.size();) {
        const int length = frameLength(stream.mid(at, 3));
        if (at + length > stream.size())
            break;
        frames.append(stream.mid(at, length));
        at += length;
    }
    return frames;
}

void resetChannel()
{
    channelStatus() = {};
}

mavlink::mavlink_status_t &channelStatus()
{
    return *mavlink::mavlink_get_channel_status(mavlink::MAVLINK_COMM_0);
}
