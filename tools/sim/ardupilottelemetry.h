// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/outgoingmessage.h"
#include "sim/streamschedule.h"

#include <optional>

/// The messages of an ArduCopter.
namespace ArduPilotTelemetry {

/// What a REQUEST_DATA_STREAM for that stream brings; stream 0 is all of them.
QVector<quint32> messagesOfStream(quint8 stream);
/// A message as of this moment; nothing for one that it does not have, or not yet.
std::optional<OutgoingMessage> make(quint32 id, const Aircraft &aircraft);
/// Obeys a REQUEST_DATA_STREAM, if it is for the autopilot.
void setStreams(const mavlink::common::msg::REQUEST_DATA_STREAM &request, SimTime now,
                StreamSchedule *streams);
/// Obeys a SET_MESSAGE_INTERVAL; the result is that of its acknowledgement.
quint8 setInterval(const mavlink::common::msg::COMMAND_LONG &command, SimTime now, StreamSchedule *streams);

OutgoingMessage timeSync(const Aircraft &aircraft);
/// Stands for all the parameters that a real one has.
OutgoingMessage parameterToken(const Aircraft &aircraft);

} // namespace ArduPilotTelemetry
