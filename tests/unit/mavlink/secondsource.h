// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QByteArray>

/// The channel as another source file of the same program sees it: the generated helpers are compiled into
/// each of them.
namespace SecondSource {

mavlink::mavlink_status_t *channelStatus();
mavlink::mavlink_message_t *channelBuffer();
const mavlink::mavlink_msg_entry_t *entry(quint32 id);

/// Takes the next sequence number of channel 0 for a heartbeat.
quint8 finalizeHeartbeat();
/// Feeds bytes to the parser of channel 0. Returns how many messages were completed.
int parse(const QByteArray &bytes);

} // namespace SecondSource
