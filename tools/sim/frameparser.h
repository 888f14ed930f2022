// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QByteArray>
#include <QVector>

/// A frame as it came, and what of it decides where it goes.
struct ReceivedFrame
{
    QByteArray bytes; ///< The whole frame, signature included, unchanged.
    quint32 messageId = 0;
    quint8 system = 0;
    quint8 component = 0;
    quint8 targetSystem = 0; ///< 0: to all, also for messages that have no target.
    quint8 targetComponent = 0;
    mavlink::mavlink_message_t message = {};
};

/// Finds the frames in the bytes of one sender. Frames of MAVLink 1 and 2 are taken when their checksum is
/// right, which only a known message's can be; signatures are not checked.
class FrameParser
{
public:
    /// The frames that end in these bytes. What is begun is kept for the next call: at most one frame.
    QVector<ReceivedFrame> parse(const QByteArray &bytes);
    /// Frames dropped so far for a wrong checksum or an unknown message.
    qint64 badFrames() const { return bad; }

private:
    bool takeByte(char byte);
    ReceivedFrame makeFrame() const;

    mavlink::mavlink_message_t buffer = {};
    mavlink::mavlink_status_t state = {};
    mavlink::mavlink_message_t message = {};
    QByteArray raw; // of the frame that is begun
    qint64 bad = 0;
};
