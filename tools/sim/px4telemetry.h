// SPDX-License-Identifier: MIT
#pragma once

#include "sim/aircraft.h"
#include "sim/outgoingmessage.h"
#include "sim/streamschedule.h"

#include <optional>

/// The messages of a PX4.
namespace Px4Telemetry {

struct DefaultStream
{
    quint32 id;
    double rateHz;
    StreamSchedule::Priority priority;
};

/// What it sends unasked on the link of a companion computer, without its heartbeat.
const QVector<DefaultStream> &defaultStreams();
/// The rate that a message has when nobody has asked for another: 0 for one that it knows and does not send.
/// Nothing for one that it does not know.
std::optional<double> usualRate(quint32 id);
/// A message as of this moment; nothing for one that it does not have, or not yet.
std::optional<OutgoingMessage> make(quint32 id, const Aircraft &aircraft);

OutgoingMessage version();
/// Stands for all the parameters that a real one has.
OutgoingMessage parameterToken();
/// One of a message id that our dialects do not know.
OutgoingMessage event(quint32 number, const Aircraft &aircraft);
/// What it tells a gimbal before it lands. Not for a companion to answer.
QVector<OutgoingMessage> gimbalCommands();

} // namespace Px4Telemetry
