// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QByteArray>

/// A message of the autopilot before it goes on a link, which gives it its sequence number. It can be one
/// that our dialects do not know.
struct OutgoingMessage
{
    quint32 id = 0;
    QByteArray payload; ///< Not trimmed.
    quint8 minLength = 0;
    quint8 crcExtra = 0;

    static OutgoingMessage from(const mavlink::Message &message);

    /// How long its frame is: without the zeros at the end of the payload.
    int frameBytes() const;
    /// As a frame of MAVLink 2 from the autopilot. The state holds the sequence number of the link, which
    /// goes up by one.
    QByteArray toFrame(mavlink::mavlink_status_t *linkState) const;
};
