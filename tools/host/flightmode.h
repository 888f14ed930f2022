// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class DetectedAutopilot;
class IAutopilotPlugin;
class LatestValues;

/// Follows the mode that the autopilot flies in and whether the vehicle is armed, as its heartbeats say. The
/// plugin keeps the mode to itself, so both are taken from the messages that it announces.
class FlightMode : public QObject
{
    Q_OBJECT

public:
    /// Name of the value in LatestValues: {"armed":…,"mode":…}, stored with each heartbeat of the autopilot.
    static constexpr const char *Name = "flightMode";

    /// Does nothing if the plugin is not a MavAutopilot. @param autopilot outlives this object.
    FlightMode(IAutopilotPlugin *plugin, const DetectedAutopilot &autopilot, LatestValues &values);

private:
    void onMessage(const mavlink::mavlink_message_t &message);

    const DetectedAutopilot &autopilot;
    LatestValues &values;
};
