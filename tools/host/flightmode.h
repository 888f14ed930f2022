// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class DetectedAutopilot;
class IAutopilotPlugin;
class LatestValues;

/// Follows the mode that the autopilot flies in and whether the vehicle is armed, as its heartbeats say. The
/// plugin keeps the mode to itself, so both are taken from the messages that it announces. The values are
/// stored with each heartbeat of the autopilot.
class FlightMode : public QObject
{
    Q_OBJECT

public:
    /// Name of the value in LatestValues: {"armed":…,"mode":…}.
    static constexpr const char *Name = "flightMode";

    /// Name of another: whether the vehicle is in the mode in which it obeys the stick, guided of an
    /// ArduPilot Copter, off-board of a PX4. The stick's own status does not tell: its guided is a bit that
    /// an ArduPilot sets in other modes and at its boot too, and that a PX4 clears in off-board.
    static constexpr const char *InGuided = "inGuidedMode";

    /// Does nothing if the plugin is not a MavAutopilot. @param autopilot outlives this object.
    FlightMode(IAutopilotPlugin *plugin, const DetectedAutopilot &autopilot, LatestValues &values);

private:
    void onMessage(const mavlink::mavlink_message_t &message);

    const DetectedAutopilot &autopilot;
    LatestValues &values;
};
