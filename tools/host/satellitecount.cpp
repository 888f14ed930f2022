// SPDX-License-Identifier: MIT
#include "host/satellitecount.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/latestvalues.h"

namespace {

constexpr quint8 Unknown = 255;

} // namespace

SatelliteCount::SatelliteCount(IAutopilotPlugin *plugin, const DetectedAutopilot &detected,
                               LatestValues &latest)
    : autopilot(detected)
    , values(latest)
{
    if (auto *driver = qobject_cast<MavAutopilot *>(plugin))
        connect(driver, &MavAutopilot::messageReceived, this, &SatelliteCount::onMessage);
}

void SatelliteCount::onMessage(const mavlink::mavlink_message_t &message)
{
    if (message.msgid != mavlink::common::msg::GPS_RAW_INT::MSG_ID || !autopilot.mayHaveSent(message))
        return;
    mavlink::common::msg::GPS_RAW_INT gps;
    mavlink::MsgMap map(&message);
    gps.deserialize(map);
    values.store(QLatin1String(Name), gps.satellites_visible == Unknown ? 0 : gps.satellites_visible);
}
