// SPDX-License-Identifier: MIT
#include "mavlink/mavlink.h"

#include <algorithm>
#include <array>

namespace mavlink {

mavlink_status_t m_mavlink_status[MAVLINK_COMM_NUM_BUFFERS];
mavlink_message_t m_mavlink_buffer[MAVLINK_COMM_NUM_BUFFERS];

namespace {

constexpr auto &Entries = ardupilotmega::MESSAGE_ENTRIES; // sorted by id; holds the common dialect too

// Telemetry has low ids: for these the look-up is one array access.
constexpr size_t DirectIds = 256;

constexpr std::array<uint16_t, DirectIds> directIndices()
{
    std::array<uint16_t, DirectIds> indices{}; // position + 1; 0: unknown
    for (size_t i = 0; i < Entries.size(); ++i)
        if (Entries[i].msgid < DirectIds)
            indices[Entries[i].msgid] = static_cast<uint16_t>(i + 1);
    return indices;
}

constexpr auto DirectIndices = directIndices();

} // namespace

const mavlink_msg_entry_t *mavlink_get_msg_entry(uint32_t msgid)
{
    if (msgid < DirectIds) {
        const uint16_t index = DirectIndices[msgid];
        return index ? &Entries[index - 1] : nullptr;
    }
    const auto byId = [](const mavlink_msg_entry_t &entry, uint32_t id) { return entry.msgid < id; };
    const auto found = std::lower_bound(Entries.begin(), Entries.end(), msgid, byId);
    return found != Entries.end() && found->msgid == msgid ? &*found : nullptr;
}

} // namespace mavlink
