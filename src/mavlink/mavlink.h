// SPDX-License-Identifier: MIT
#pragma once

/// The generated MAVLink library (class-based flavour, common and ardupilotmega dialects), and the only place
/// that includes it.
///
/// The generated helpers are `static inline`: left alone, every source file would get a channel state of its
/// own. Here the state of the channels is made external, so that the sequence number, the parse state and the
/// counters of channel 0 exist once per process, in this library.
///
/// Channel 0 belongs to MavAutopilot and is used on the main thread only. Programs that parse MAVLink beside
/// the plugin bring their own buffers (mavlink_frame_char_buffer()).

#include "app/export.h"

#define MAVLINK_USE_CXX_NAMESPACE
#define MAVLINK_EXTERNAL_RX_STATUS
#define MAVLINK_EXTERNAL_RX_BUFFER
#include <mavlink_types.h>

namespace mavlink {

// The names are those by which the generated helpers look for external channel state.
NOFLAILSTEN_EXPORT extern mavlink_status_t m_mavlink_status[MAVLINK_COMM_NUM_BUFFERS];
NOFLAILSTEN_EXPORT extern mavlink_message_t m_mavlink_buffer[MAVLINK_COMM_NUM_BUFFERS];

/// Checksum seed and lengths of a message; null for an id of neither dialect. Called by the parser once per
/// frame.
NOFLAILSTEN_EXPORT const mavlink_msg_entry_t *mavlink_get_msg_entry(uint32_t msgid);

} // namespace mavlink

#include <ardupilotmega/ardupilotmega.hpp>
