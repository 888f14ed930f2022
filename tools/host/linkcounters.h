// SPDX-License-Identifier: MIT
#pragma once

#include "host/linkparser.h"
#include "host/sendercounters.h"

#include <QByteArray>

#include <chrono>
#include <map>
#include <optional>

/// Counts what comes in on a link: bytes in, counters out. Every received byte is part of a good frame, of a
/// bad one or of an unknown message, or stray, once all frames that were begun have ended.
///
/// Loss is counted for each sender by its sequence numbers, with the limits that SequenceLoss and
/// SenderCounters name. It is a loss of this link only for who sends on it directly, as the autopilot does:
/// of a sender that the autopilot relays, frames that it does not relay are missing too.
class LinkCounters
{
public:
    using Milliseconds = std::chrono::milliseconds;

    struct SenderId
    {
        quint8 system = 0;
        quint8 component = 0;

        bool operator<(const SenderId &other) const
        {
            return system != other.system ? system < other.system : component < other.component;
        }
    };

    /// Overflow rule: senders beyond these, in the order in which they were heard, are not told apart, but
    /// for the autopilot.
    static constexpr int MaxSenders = 64;

    /// Bytes have come. @param now monotonic.
    void take(const QByteArray &bytes, Milliseconds now);
    /// The link was opened anew: what was sent meanwhile is no loss. Nothing that was counted is forgotten.
    void beginAnew();

    qint64 bytes() const { return byteCount; }
    /// Frames with a good checksum, duplicates too.
    qint64 frames() const { return frameCount; }
    qint64 badChecksums() const { return badCount; }
    /// Frames of messages that the dialects do not know; the plugin drops them. A frame with a wrong checksum
    /// is taken for one of these in one case out of 256, if its id is unknown.
    qint64 unknownIds() const { return unknownCount; }
    qint64 strayBytes() const { return parser.strayBytes(); }
    /// Frames of senders that are not told apart.
    qint64 framesOfOthers() const { return otherCount; }

    const std::map<SenderId, SenderCounters> &senders() const { return counters; }
    /// The autopilot: who sent the first heartbeat of a PX4 or an ArduPilot, as the plugin has it; null: none
    /// did.
    const SenderCounters *autopilot() const;
    /// Since the autopilot's last heartbeat.
    std::optional<Milliseconds> heartbeatAge(Milliseconds now) const;

private:
    void takeFrame(Milliseconds now);
    void takeUnknown(Milliseconds now);
    SenderCounters *senderOf(const SenderId &id);

    LinkParser parser;
    std::map<SenderId, SenderCounters> counters;
    std::optional<SenderId> autopilotId;
    std::optional<Milliseconds> lastHeartbeat;
    qint64 byteCount = 0;
    qint64 frameCount = 0;
    qint64 badCount = 0;
    qint64 unknownCount = 0;
    qint64 otherCount = 0;
};
