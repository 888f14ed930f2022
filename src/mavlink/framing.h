// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

namespace mavlink {

/// Frames a message on channel 0: with the next of its sequence numbers, as MAVLink 2 and unsigned unless the
/// channel is set otherwise, zeros at the end cut off. Main thread, as all of channel 0.
/// @param frame room for MAVLINK_MAX_PACKET_LEN bytes. @return how many of them are the frame.
NOFLAILSTEN_EXPORT uint16_t packFrame(const Message &message, uint8_t systemId, uint8_t componentId,
                                      uint8_t *frame);

} // namespace mavlink
