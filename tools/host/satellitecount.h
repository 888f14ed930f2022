// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class DetectedAutopilot;
class IAutopilotPlugin;
class LatestValues;

/// Follows the number of satellites that the autopilot's receiver sees. The plugin keeps it to itself, so it
/// is taken from the messages that the plugin announces; people who watch a screen before a flight look for
/// it first.
class SatelliteCount : public QObject
{
    Q_OBJECT

public:
    /// Name of the value in LatestValues.
    static constexpr const char *Name = "satellites";

    /// Does nothing if the plugin is not a MavAutopilot. @param autopilot outlives this object.
    SatelliteCount(IAutopilotPlugin *plugin, const DetectedAutopilot &autopilot, LatestValues &values);

private:
    void onMessage(const mavlink::mavlink_message_t &message);

    const DetectedAutopilot &autopilot;
    LatestValues &values;
};
