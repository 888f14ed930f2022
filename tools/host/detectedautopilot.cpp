// SPDX-License-Identifier: MIT
#include "host/detectedautopilot.h"

#include "autopilot/mavautopilot.h"

using mavlink::minimal::MAV_AUTOPILOT;

DetectedAutopilot::DetectedAutopilot(IAutopilotPlugin *plugin)
{
    if (auto *driver = qobject_cast<MavAutopilot *>(plugin))
        messages = connect(driver, &MavAutopilot::messageReceived, this, &DetectedAutopilot::onMessage);
}

bool DetectedAutopilot::mayHaveSent(const mavlink::mavlink_message_t &message) const
{
    return !isDetected() || (message.sysid == systemId && message.compid == componentId);
}

MAV_AUTOPILOT DetectedAutopilot::kindIn(const mavlink::mavlink_message_t &message)
{
    if (message.msgid != mavlink::minimal::msg::HEARTBEAT::MSG_ID)
        return MAV_AUTOPILOT::INVALID;
    mavlink::minimal::msg::HEARTBEAT heartbeat;
    mavlink::MsgMap map(&message);
    heartbeat.deserialize(map);
    const auto sender = static_cast<MAV_AUTOPILOT>(heartbeat.autopilot);
    const bool isKnown = sender == MAV_AUTOPILOT::PX4 || sender == MAV_AUTOPILOT::ARDUPILOTMEGA;
    return isKnown ? sender : MAV_AUTOPILOT::INVALID;
}

void DetectedAutopilot::onMessage(const mavlink::mavlink_message_t &message)
{
    const MAV_AUTOPILOT sender = kindIn(message);
    if (sender == MAV_AUTOPILOT::INVALID)
        return;
    kind = sender;
    systemId = message.sysid;
    componentId = message.compid;
    disconnect(messages);
    Q_EMIT detected();
}
