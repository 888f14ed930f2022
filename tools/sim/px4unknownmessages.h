// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/outgoingmessage.h"

#include <optional>

/// The messages of a PX4 that our dialects do not know.
namespace Px4UnknownMessages {

enum Id : quint32 {
    LinkStatus = 8,
    TimeEstimate = 380,
    Event = 410,
    EventSequence = 411,
    AvailableModes = 436
};

/// Nothing for another id.
std::optional<OutgoingMessage> make(quint32 id, const Aircraft &aircraft);
OutgoingMessage event(quint32 number, const Aircraft &aircraft);

} // namespace Px4UnknownMessages
