// SPDX-License-Identifier: MIT
#include "sim/ardupilotfillers.h"

#include "sim/telemetry.h"

#include <cmath>

namespace {

using namespace mavlink::ardupilotmega::msg;
using namespace mavlink::common::msg;

WIND wind(const Aircraft &aircraft)
{
    const Wind &air = aircraft.vehicle.wind();
    WIND message = {};
    message.direction = static_cast<float>(std::remainder(air.fromDeg, 360.0));
    message.speed = static_cast<float>(air.speedMps);
    return message;
}

TERRAIN_REPORT terrain(const Aircraft &aircraft)
{
    TERRAIN_REPORT message = {};
    if (aircraft.hasFix()) {
        message.lat = Telemetry::degE7(aircraft.readings.place.latitude);
        message.lon = Telemetry::degE7(aircraft.readings.place.longitude);
        message.current_height = static_cast<float>(aircraft.readings.place.altitude);
    }
    message.pending = 504;
    return message;
}

NAV_CONTROLLER_OUTPUT navigation(const Aircraft &aircraft)
{
    NAV_CONTROLLER_OUTPUT message = {};
    message.nav_roll = static_cast<float>(aircraft.readings.roll * 180 / M_PI);
    message.nav_pitch = static_cast<float>(aircraft.readings.pitch * 180 / M_PI);
    return message;
}

MISSION_CURRENT mission()
{
    MISSION_CURRENT message = {};
    message.mission_state = 1; // none loaded
    return message;
}

VIBRATION vibration(const Aircraft &aircraft)
{
    VIBRATION message = {};
    message.time_usec = Telemetry::bootUs(aircraft);
    return message;
}

POWER_STATUS power()
{
    POWER_STATUS message = {};
    message.Vcc = 5000;
    return message;
}

MEMINFO memory()
{
    MEMINFO message = {};
    message.freemem = UINT16_MAX;
    message.freemem32 = 524288;
    return message;
}

AHRS attitudeErrors()
{
    AHRS message = {};
    message.error_rp = 0.002F;
    message.error_yaw = 0.002F;
    return message;
}

EKF_STATUS_REPORT estimator(const Aircraft &aircraft)
{
    EKF_STATUS_REPORT message = {};
    message.flags = aircraft.isReady() ? 895 : 167;
    message.velocity_variance = 0.01F;
    message.pos_horiz_variance = 0.01F;
    message.pos_vert_variance = 0.01F;
    message.compass_variance = 0.01F;
    return message;
}

} // namespace

std::optional<OutgoingMessage> ArduPilotFillers::make(quint32 id, const Aircraft &aircraft)
{
    switch (id) {
    case POWER_STATUS::MSG_ID:
        return OutgoingMessage::from(power());
    case MEMINFO::MSG_ID:
        return OutgoingMessage::from(memory());
    case MISSION_CURRENT::MSG_ID:
        return OutgoingMessage::from(mission());
    case NAV_CONTROLLER_OUTPUT::MSG_ID:
        return OutgoingMessage::from(navigation(aircraft));
    case AHRS::MSG_ID:
        return OutgoingMessage::from(attitudeErrors());
    case EKF_STATUS_REPORT::MSG_ID:
        return OutgoingMessage::from(estimator(aircraft));
    case VIBRATION::MSG_ID:
        return OutgoingMessage::from(vibration(aircraft));
    case TERRAIN_REPORT::MSG_ID:
        return OutgoingMessage::from(terrain(aircraft));
    case WIND::MSG_ID:
        return OutgoingMessage::from(wind(aircraft));
    default:
        return std::nullopt;
    }
}
