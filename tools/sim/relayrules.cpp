// SPDX-License-Identifier: MIT
#include "sim/relayrules.h"

#include "sim/autopilotids.h"
#include "sim/frameparser.h"
#include "sim/heardsources.h"

#include <algorithm>

namespace {

bool isCommon(quint32 messageId)
{
    const auto &entries = mavlink::common::MESSAGE_ENTRIES;
    return std::any_of(entries.begin(), entries.end(),
                       [messageId](const auto &entry) { return entry.msgid == messageId; });
}

bool arduPilotHandsOn(const ReceivedFrame &frame, const HeardSources &heardThere)
{
    if (heardThere.isEmpty() || frame.targetSystem == AutopilotIds::system)
        return false;
    return frame.targetSystem == 0 || heardThere.hasSystem(frame.targetSystem);
}

bool px4HandsOn(const ReceivedFrame &frame, const HeardSources &heardThere)
{
    if (!isCommon(frame.messageId))
        return false;
    return frame.targetSystem == 0 || heardThere.hasComponent(frame.targetSystem, frame.targetComponent);
}

} // namespace

bool isHandedOn(AutopilotKind autopilot, const ReceivedFrame &frame, const HeardSources &heardThere)
{
    if (autopilot == AutopilotKind::Px4)
        return px4HandsOn(frame, heardThere);
    return arduPilotHandsOn(frame, heardThere);
}
