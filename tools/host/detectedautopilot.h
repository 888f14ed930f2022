// SPDX-License-Identifier: MIT
#pragma once

#include "mavlink/mavlink.h"

#include <QObject>

class IAutopilotPlugin;

/// Which autopilot the plugin has detected. The plugin keeps it to itself, so it is taken, as the plugin does
/// it, from the first heartbeat of a PX4 or an ArduPilot among the messages that it announces.
class DetectedAutopilot : public QObject
{
    Q_OBJECT

public:
    /// Never detects anything if the plugin is not a MavAutopilot.
    explicit DetectedAutopilot(IAutopilotPlugin *plugin);

    /// PX4 or ARDUPILOTMEGA, if the message is a heartbeat of one, else INVALID.
    static mavlink::minimal::MAV_AUTOPILOT kindIn(const mavlink::mavlink_message_t &message);

    bool isDetected() const { return kind != mavlink::minimal::MAV_AUTOPILOT::INVALID; }
    bool isPx4() const { return kind == mavlink::minimal::MAV_AUTOPILOT::PX4; }
    /// Whether a message can be the autopilot's: before the detection anybody's can.
    bool mayHaveSent(const mavlink::mavlink_message_t &message) const;

Q_SIGNALS:
    /// Once.
    void detected();

private:
    void onMessage(const mavlink::mavlink_message_t &message);

    QMetaObject::Connection messages;
    mavlink::minimal::MAV_AUTOPILOT kind = mavlink::minimal::MAV_AUTOPILOT::INVALID; // until detected
    quint8 systemId = 0;
    quint8 componentId = 0;
};
