// SPDX-License-Identifier: MIT
#include "host/satellitecount.h"

#include "autopilot/mavautopilot.h"
#include "host/latestvalues.h"

namespace {

constexpr quint8 Unknown = 255;

} // namespace

SatelliteCount::SatelliteCount(IAutopilotPlugin *plugin, LatestValues &latest)
    : values(latest)
{
    if (auto *driver = qobject_cast<MavAutopilot *>(plugin))
        connect(driver, &MavAutopilot::messageReceived, this, &SatelliteCount::onMessage);
}

void SatelliteCount::onMessage(const mavlink::mavlink_message_t &message)
{
    if (systemId == 0 && message.msgid == mavlink::minimal::msg::HEARTBEAT::MSG_ID)
        noteAutopilot(message);
    if (message.msgid != mavlink::common::msg::GPS_RAW_INT::MSG_ID || isFromOthers(message))
        return;
    mavlink::common::msg::GPS_RAW_INT gps;
    mavlink::MsgMap map(&message);
    gps.deserialize(map);
    values.store(QLatin1String(Name), gps.satellites_visible == Unknown ? 0 : gps.satellites_visible);
}

void SatelliteCount::noteAutopilot(const mavlink::mavlink_message_t &message)
{
    using mavlink::minimal::MAV_AUTOPILOT;
    mavlink::minimal::msg::HEARTBEAT heartbeat;
    mavlink::MsgMap map(&message);
    heartbeat.deserialize(map);
    const auto kind = static_cast<MAV_AUTOPILOT>(heartbeat.autopilot);
    if (kind != MAV_AUTOPILOT::PX4 && kind != MAV_AUTOPILOT::ARDUPILOTMEGA)
        return;
    systemId = message.sysid;
    componentId = message.compid;
}

bool SatelliteCount::isFromOthers(const mavlink::mavlink_message_t &message) const
{
    return systemId != 0 && (message.sysid != systemId || message.compid != componentId);
}
