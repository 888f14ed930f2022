// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QtGlobal>

/// Walks through received bytes as the plugin's parser does, with a state of its own, and says what each byte
/// was part of: a good frame, one with a bad checksum, or none. Where the stream is damaged this finds the
/// frames that the plugin finds, no more; also after a reconnect, over which the plugin's parser keeps a
/// frame that is begun, and swallows the beginning of the new stream as the rest of it.
class LinkParser
{
public:
    enum class Outcome {
        Nothing,     ///< No frame ends here.
        Frame,       ///< A good one.
        BadChecksum, ///< All that it claimed to hold is gone.
        UnknownId,   ///< Dropped too: a message that the dialects do not know.
    };

    Outcome take(quint8 byte);
    /// Of the last outcome, unless that was Nothing.
    const mavlink::mavlink_message_t &message() const { return buffer; }
    /// Bytes so far that were part of no frame, good or bad; those of a frame that is begun are not yet
    /// judged.
    qint64 strayBytes() const { return strayCount; }
    int bytesOfBegunFrame() const { return begun; }

private:
    Outcome takeEnd(quint8 byte, bool isGood);
    bool isUnknownMessage() const;
    void resume(quint8 byte);
    bool isInFrame() const;

    mavlink::mavlink_message_t buffer = {};
    mavlink::mavlink_status_t state = {};
    int begun = 0;
    qint64 strayCount = 0;
};
