// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/outgoingmessage.h"

#include <optional>

/// The messages of a PX4 that nobody here reads, so that the line is as busy as that of a real one.
namespace Px4Fillers {

/// Nothing for another id.
std::optional<OutgoingMessage> make(quint32 id, const Aircraft &aircraft);

} // namespace Px4Fillers
