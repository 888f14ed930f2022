// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

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

    /// Does nothing if the plugin is not a MavAutopilot.
    SatelliteCount(IAutopilotPlugin *plugin, LatestValues &values);

private:
    void onMessage(const mavlink::mavlink_message_t &message);
    void noteAutopilot(const mavlink::mavlink_message_t &heartbeat);
    bool isFromOthers(const mavlink::mavlink_message_t &message) const;

    LatestValues &values;
    quint8 systemId = 0; // of the first autopilot heard, as the plugin detects it; 0: none yet
    quint8 componentId = 0;
};
