// SPDX-License-Identifier: MIT
#include "host/flightmode.h"

#include "autopilot/mavautopilot.h"
#include "host/detectedautopilot.h"
#include "host/flightmodenames.h"
#include "host/latestvalues.h"

#include <QCborMap>

using mavlink::minimal::MAV_AUTOPILOT;
using mavlink::minimal::msg::HEARTBEAT;

namespace {

constexpr auto SafetyArmed = static_cast<quint8>(mavlink::minimal::MAV_MODE_FLAG::SAFETY_ARMED);
constexpr quint32 CopterGuided = 4;
constexpr quint32 Px4OffBoard = 6; // main mode: the third byte of the custom mode

bool obeysTheStick(const HEARTBEAT &heartbeat)
{
    if (heartbeat.autopilot == static_cast<quint8>(MAV_AUTOPILOT::PX4))
        return (heartbeat.custom_mode >> 16 & 0xff) == Px4OffBoard;
    return heartbeat.custom_mode == CopterGuided;
}

} // namespace

FlightMode::FlightMode(IAutopilotPlugin *plugin, const DetectedAutopilot &detected, LatestValues &latest)
    : autopilot(detected)
    , values(latest)
{
    if (auto *driver = qobject_cast<MavAutopilot *>(plugin))
        connect(driver, &MavAutopilot::messageReceived, this, &FlightMode::onMessage);
}

void FlightMode::onMessage(const mavlink::mavlink_message_t &message)
{
    if (message.msgid != HEARTBEAT::MSG_ID || !autopilot.isDetected() || !autopilot.mayHaveSent(message))
        return;
    HEARTBEAT heartbeat;
    mavlink::MsgMap map(&message);
    heartbeat.deserialize(map);
    values.store(QLatin1String(InGuided), obeysTheStick(heartbeat));
    values.store(QLatin1String(Name),
                 QCborMap{{QStringLiteral("armed"), (heartbeat.base_mode & SafetyArmed) != 0},
                          {QStringLiteral("mode"), flightModeName(heartbeat)}});
}
