// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class DetectedAutopilot;
class IAutopilotPlugin;
class LatestValues;

/// Follows whether the vehicle is in the mode in which it obeys the stick: guided of an ArduPilot Copter,
/// off-board of a PX4.
///
/// The stick's own status does not tell: its guided is a bit that an ArduPilot sets in other modes and at its
/// boot too, and that a PX4 clears in off-board.
class GuidedMode : public QObject
{
    Q_OBJECT

public:
    /// Name of the value in LatestValues, stored with each heartbeat of the autopilot.
    static constexpr const char *Name = "inGuidedMode";

    /// Does nothing if the plugin is not a MavAutopilot. @param autopilot outlives this object.
    GuidedMode(IAutopilotPlugin *plugin, const DetectedAutopilot &autopilot, LatestValues &values);

private:
    void onMessage(const mavlink::mavlink_message_t &message);

    const DetectedAutopilot &autopilot;
    LatestValues &values;
};
