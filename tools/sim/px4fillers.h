// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/outgoingmessage.h"

#include <optional>

/// The messages of a PX4 that nobody here reads, so that the line is as busy as that of a real one.
namespace Px4Fillers {

/// Ids that our dialects do not know.
enum UnknownId : quint32 {
    LinkStatus = 8,
    TimeEstimate = 380,
    Event = 410,
    EventSequence = 411,
    AvailableModes = 436
};

/// Nothing for another id.
std::optional<OutgoingMessage> make(quint32 id, const Aircraft &aircraft);
OutgoingMessage event(quint32 number, const Aircraft &aircraft);

} // namespace Px4Fillers
