// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QByteArray>
#include <QList>

/// Who sends a frame.
struct Sender
{
    quint8 system = 1;
    quint8 component = 1;
};

/// The message as that sender would put it on the wire (MAVLink 2), made outside of any channel.
QByteArray frameOf(const mavlink::Message &message, Sender sender = {}, quint8 sequence = 0);

/// The message as it comes out of a parser; bytes that the sender trimmed are filled with `filler`.
mavlink::mavlink_message_t receivedOf(const mavlink::Message &message, Sender sender = {}, char filler = 0);

/// A heartbeat of an autopilot of the given kind (12 PX4, 3 ArduPilot, 8 none).
mavlink::minimal::msg::HEARTBEAT heartbeatOf(quint8 autopilot, quint8 baseMode = 0);

/// Cuts a stream of intact frames into the frames.
QList<QByteArray> splitFrames(const QByteArray &stream);

/// Channel 0 as it is when the process starts: nothing parsed, sequence number 0.
void resetChannel();
mavlink::mavlink_status_t &channelStatus();
