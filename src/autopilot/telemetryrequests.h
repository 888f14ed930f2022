// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QtGlobal>

#include <functional>

/// The messages that ask an autopilot for telemetry, each handed to `request` once.
namespace TelemetryRequests {

using Request = std::function<void(const mavlink::Message &)>;

/// SET_MESSAGE_INTERVAL commands, one a message. @param rateHz of position, attitude and GPS; time and
/// distance come once a second.
void forPx4(quint8 targetSystem, int rateHz, const Request &request);
/// One REQUEST_DATA_STREAM.
void dataStream(quint8 targetSystem, mavlink::common::MAV_DATA_STREAM stream, int rateHz,
                const Request &request);
/// REQUEST_DATA_STREAM, one a stream, all at rateHz.
void forArduPilot(quint8 targetSystem, int rateHz, const Request &request);

} // namespace TelemetryRequests
