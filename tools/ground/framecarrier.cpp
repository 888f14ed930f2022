// SPDX-License-Identifier: MIT
#include "ground/framecarrier.h"

#include "link/link.h"

#include <algorithm>

namespace {

using mavlink::common::msg::V2_EXTENSION;
using mavlink::minimal::msg::HEARTBEAT;
namespace msg = mavlink::ardupilotmega::msg;

constexpr quint8 OwnComponent = 190; // of a ground station, by custom
constexpr quint8 DataType = 175;     // tells the vehicle's DATA messages from those of others

// A length above the room of the message counts as that room.
template <class Bytes>
QByteArray frameIn(const Bytes &bytes, int start, int length)
{
    const int room = static_cast<int>(bytes.size()) - start;
    return QByteArray(reinterpret_cast<const char *>(bytes.data()) + start, std::min(length, room));
}

template <class DataMessage>
QByteArray frameInData(const mavlink::mavlink_message_t &message)
{
    DataMessage data;
    mavlink::MsgMap map(&message);
    data.deserialize(map);
    return data.type == DataType ? frameIn(data.data, 0, data.len) : QByteArray();
}

QByteArray frameInV2Extension(const mavlink::mavlink_message_t &message)
{
    V2_EXTENSION extension;
    mavlink::MsgMap map(&message);
    extension.deserialize(map);
    return frameIn(extension.payload, 1, extension.payload[0]);
}

// The frame that a message carries; empty if it carries none.
QByteArray carriedFrame(const mavlink::mavlink_message_t &message)
{
    switch (message.msgid) {
    case V2_EXTENSION::MSG_ID:
        return frameInV2Extension(message);
    case msg::DATA16::MSG_ID:
        return frameInData<msg::DATA16>(message);
    case msg::DATA32::MSG_ID:
        return frameInData<msg::DATA32>(message);
    case msg::DATA64::MSG_ID:
        return frameInData<msg::DATA64>(message);
    case msg::DATA96::MSG_ID:
        return frameInData<msg::DATA96>(message);
    default:
        return {};
    }
}

} // namespace

FrameCarrier::FrameCarrier(Link *carrier, quint8 ownSystem)
    : link(carrier)
    , systemId(ownSystem)
{
    connect(link, &Link::received, this, &FrameCarrier::parse);
    connect(link, &Link::drained, this, &FrameCarrier::drained);
}

void FrameCarrier::sendHeartbeat()
{
    HEARTBEAT heartbeat = {};
    heartbeat.type = static_cast<quint8>(mavlink::minimal::MAV_TYPE::GCS);
    heartbeat.autopilot = static_cast<quint8>(mavlink::minimal::MAV_AUTOPILOT::INVALID);
    heartbeat.system_status = static_cast<quint8>(mavlink::minimal::MAV_STATE::ACTIVE);
    send(heartbeat);
}

void FrameCarrier::sendFrame(const QByteArray &frame)
{
    V2_EXTENSION extension = {};
    extension.payload[0] = static_cast<quint8>(frame.size());
    std::copy(frame.begin(), frame.end(), extension.payload.begin() + 1);
    send(extension);
}

void FrameCarrier::send(const mavlink::Message &message)
{
    mavlink::mavlink_message_t raw = {};
    mavlink::MsgMap map(raw);
    message.serialize(map);
    const mavlink::Message::Info info = message.get_message_info();
    mavlink::mavlink_finalize_message_buffer(&raw, systemId, OwnComponent, &sendState,
                                             static_cast<uint8_t>(info.min_length),
                                             static_cast<uint8_t>(info.length), info.crc_extra);
    uint8_t bytes[MAVLINK_MAX_PACKET_LEN];
    const int size = mavlink::mavlink_msg_to_send_buffer(bytes, &raw);
    link->write(QByteArray(reinterpret_cast<const char *>(bytes), size));
}

bool FrameCarrier::isDrained() const
{
    return link->queuedBytes() == 0;
}

void FrameCarrier::parse(const QByteArray &bytes)
{
    for (const char byte : bytes) {
        mavlink::mavlink_message_t message;
        mavlink::mavlink_status_t status;
        if (mavlink::mavlink_frame_char_buffer(&parseBuffer, &parseState, static_cast<uint8_t>(byte),
                                               &message, &status) == mavlink::MAVLINK_FRAMING_OK)
            handle(message);
    }
}

void FrameCarrier::handle(const mavlink::mavlink_message_t &message)
{
    const QByteArray frame = carriedFrame(message);
    if (!frame.isEmpty())
        Q_EMIT frameReceived(frame);
}
