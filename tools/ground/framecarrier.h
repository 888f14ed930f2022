// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QByteArray>
#include <QObject>

class Link;

/// Carries frames of the on-board protocol over a link, inside MAVLink 2.
///
/// Out: in V2_EXTENSION, addressed to all systems. In: from V2_EXTENSION, and from the DATA messages of the
/// vehicle (DATA16, DATA32, DATA64, DATA96 of type 175), whoever sent them.
///
/// Parser and sequence number are this object's own.
class FrameCarrier : public QObject
{
    Q_OBJECT

public:
    /// Component 190 of the system. The link is not owned and outlives this.
    FrameCarrier(Link *link, quint8 systemId);

    /// The heartbeat of a ground station.
    void sendHeartbeat();
    /// @param frame at most 248 bytes.
    void sendFrame(const QByteArray &frame);
    /// Whether the link has taken all that was sent.
    bool isDrained() const;

Q_SIGNALS:
    /// A frame as it was carried; may be malformed.
    void frameReceived(const QByteArray &frame);
    /// isDrained() may have become true.
    void drained();

private:
    void send(const mavlink::Message &message);
    void parse(const QByteArray &bytes);
    void handle(const mavlink::mavlink_message_t &message);

    Link *link;
    quint8 systemId;
    mavlink::mavlink_status_t sendState = {}; // holds the sequence number
    mavlink::mavlink_message_t parseBuffer = {};
    mavlink::mavlink_status_t parseState = {};
};
