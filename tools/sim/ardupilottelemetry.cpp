// SPDX-License-Identifier: MIT
#include "sim/ardupilottelemetry.h"

#include "sim/incoming.h"
#include "sim/telemetry.h"

#include <QMap>

#include <algorithm>
#include <cmath>

namespace {

using namespace mavlink::ardupilotmega::msg;
using namespace mavlink::common::msg;
using mavlink::standard::msg::GLOBAL_POSITION_INT;

const QMap<quint8, QVector<quint32>> streams = {
    {2,
     {SYS_STATUS::MSG_ID, POWER_STATUS::MSG_ID, MEMINFO::MSG_ID, NAV_CONTROLLER_OUTPUT::MSG_ID,
      MISSION_CURRENT::MSG_ID, GPS_RAW_INT::MSG_ID}},
    {6, {GLOBAL_POSITION_INT::MSG_ID, LOCAL_POSITION_NED::MSG_ID}},
    {10, {ATTITUDE::MSG_ID, SIMSTATE::MSG_ID, AHRS2::MSG_ID}},
    {11, {VFR_HUD::MSG_ID}},
    {12,
     {AHRS::MSG_ID, SYSTEM_TIME::MSG_ID, RANGEFINDER::MSG_ID, DISTANCE_SENSOR::MSG_ID, TERRAIN_REPORT::MSG_ID,
      BATTERY_STATUS::MSG_ID, EKF_STATUS_REPORT::MSG_ID, VIBRATION::MSG_ID, WIND::MSG_ID}},
};

GLOBAL_POSITION_INT position(const Aircraft &aircraft)
{
    GLOBAL_POSITION_INT message = Telemetry::globalPosition(aircraft);
    if (aircraft.hasFix())
        return message;
    GLOBAL_POSITION_INT unknown = {};
    unknown.time_boot_ms = message.time_boot_ms;
    unknown.hdg = message.hdg;
    return unknown;
}

GPS_RAW_INT gps(const Aircraft &aircraft)
{
    GPS_RAW_INT message = {};
    if (aircraft.sinceBoot < aircraft.bootTimes.searching) {
        message.eph = UINT16_MAX;
        message.epv = UINT16_MAX;
        return message;
    }
    message = Telemetry::gps(aircraft);
    message.eph = 121;
    message.epv = 200;
    if (!aircraft.hasFix()) {
        message.fix_type = 1;
        message.satellites_visible = 3;
        message.lat += 3'612'542; // some 140 km off
        message.lon -= 15'238'005;
        return message;
    }
    message.time_usec = Telemetry::bootUs(aircraft);
    message.fix_type = 6;
    message.satellites_visible = 10;
    message.h_acc = 300;
    message.v_acc = 300;
    return message;
}

DISTANCE_SENSOR distance(const Aircraft &aircraft)
{
    DISTANCE_SENSOR message = Telemetry::distance(aircraft);
    message.max_distance = 4000;
    message.type = 4;
    return message;
}

RANGEFINDER rangefinder(const Aircraft &aircraft)
{
    RANGEFINDER message = {};
    message.distance = static_cast<float>(aircraft.readings.distanceM);
    message.voltage = message.distance / 12;
    return message;
}

SYS_STATUS systemStatus(const Aircraft &aircraft)
{
    SYS_STATUS message = Telemetry::systemStatus(aircraft);
    message.onboard_control_sensors_present = 1399979311;
    message.onboard_control_sensors_enabled = 1398930735;
    message.onboard_control_sensors_health = aircraft.isReady() ? 1467088175 : 1158806539;
    return message;
}

AHRS2 secondAttitude(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    const GLOBAL_POSITION_INT place = position(aircraft);
    AHRS2 message = {};
    message.roll = static_cast<float>(readings.roll);
    message.pitch = static_cast<float>(readings.pitch);
    message.yaw = static_cast<float>(readings.yaw);
    message.altitude = static_cast<float>(place.alt) / 1000;
    message.lat = place.lat;
    message.lng = place.lon;
    return message;
}

SIMSTATE trueState(const Aircraft &aircraft)
{
    const Vehicle::State &state = aircraft.vehicle.state();
    const Readings &readings = aircraft.readings;
    SIMSTATE message = {};
    message.roll = static_cast<float>(state.roll);
    message.pitch = static_cast<float>(state.pitch);
    message.yaw = static_cast<float>(state.yaw);
    message.xacc = static_cast<float>(state.acceleration.x);
    message.yacc = static_cast<float>(state.acceleration.y);
    message.zacc = static_cast<float>(state.acceleration.z - Vehicle::gravity);
    message.xgyro = static_cast<float>(state.rollRate);
    message.ygyro = static_cast<float>(state.pitchRate);
    message.zgyro = static_cast<float>(state.yawRate);
    message.lat = Telemetry::degE7(readings.place.latitude);
    message.lng = Telemetry::degE7(readings.place.longitude);
    return message;
}

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
    const GLOBAL_POSITION_INT place = position(aircraft);
    TERRAIN_REPORT message = {};
    message.lat = place.lat;
    message.lon = place.lon;
    message.current_height = static_cast<float>(place.alt) / 1000;
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

BATTERY_STATUS battery(const Aircraft &aircraft)
{
    BATTERY_STATUS message = Telemetry::battery(aircraft);
    message.energy_consumed = static_cast<qint32>(std::lround(aircraft.battery.usedMah() * 0.453));
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

/// The messages that come only from some time on.
bool isThere(quint32 id, const Aircraft &aircraft)
{
    if (id == LOCAL_POSITION_NED::MSG_ID || id == WIND::MSG_ID)
        return aircraft.isReady();
    if (id == AHRS2::MSG_ID || id == EKF_STATUS_REPORT::MSG_ID)
        return aircraft.sinceBoot > aircraft.bootTimes.initialised;
    return true;
}

/// Those that hold nothing that anybody here reads.
std::optional<OutgoingMessage> makeFiller(quint32 id, const Aircraft &aircraft)
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

} // namespace

QVector<quint32> ArduPilotTelemetry::messagesOfStream(quint8 stream)
{
    if (stream != 0)
        return streams.value(stream);
    QVector<quint32> all;
    for (const QVector<quint32> &messages : streams)
        all += messages;
    return all;
}

std::optional<OutgoingMessage> ArduPilotTelemetry::make(quint32 id, const Aircraft &aircraft)
{
    if (!isThere(id, aircraft))
        return std::nullopt;
    switch (id) {
    case GLOBAL_POSITION_INT::MSG_ID:
        return OutgoingMessage::from(position(aircraft));
    case LOCAL_POSITION_NED::MSG_ID:
        return OutgoingMessage::from(Telemetry::localPosition(aircraft));
    case GPS_RAW_INT::MSG_ID:
        return OutgoingMessage::from(gps(aircraft));
    case ATTITUDE::MSG_ID:
        return OutgoingMessage::from(Telemetry::attitude(aircraft));
    case SYSTEM_TIME::MSG_ID:
        return OutgoingMessage::from(Telemetry::systemTime(aircraft));
    case DISTANCE_SENSOR::MSG_ID:
        return OutgoingMessage::from(distance(aircraft));
    case RANGEFINDER::MSG_ID:
        return OutgoingMessage::from(rangefinder(aircraft));
    case SYS_STATUS::MSG_ID:
        return OutgoingMessage::from(systemStatus(aircraft));
    case BATTERY_STATUS::MSG_ID:
        return OutgoingMessage::from(battery(aircraft));
    case AHRS2::MSG_ID:
        return OutgoingMessage::from(secondAttitude(aircraft));
    case SIMSTATE::MSG_ID:
        return OutgoingMessage::from(trueState(aircraft));
    case VFR_HUD::MSG_ID:
        return OutgoingMessage::from(Telemetry::headUp(aircraft));
    default:
        return makeFiller(id, aircraft);
    }
}

quint8 ArduPilotTelemetry::setInterval(const COMMAND_LONG &command, SimTime now, StreamSchedule *wanted)
{
    const auto id = Incoming::wholeNumber(command.param1);
    if (!messagesOfStream(0).contains(id))
        return Incoming::Failed;
    const double intervalUs = static_cast<double>(command.param2);
    wanted->setRate(id, intervalUs > 0 ? std::min(1e6 / intervalUs, 50.0) : 0, now);
    return Incoming::Accepted;
}

OutgoingMessage ArduPilotTelemetry::timeSync(const Aircraft &aircraft)
{
    TIMESYNC message = {};
    message.ts1 = static_cast<int64_t>(aircraft.sinceBoot.count()) * 1000 + 1;
    return OutgoingMessage::from(message);
}

OutgoingMessage ArduPilotTelemetry::parameterToken(const Aircraft &aircraft)
{
    PARAM_VALUE message = {};
    Telemetry::setText(&message.param_id, "STAT_RUNTIME");
    message.param_value = static_cast<float>(std::floor(toSeconds(aircraft.sinceBoot)));
    message.param_type = 6; // a 32-bit integer
    message.param_count = 1;
    return OutgoingMessage::from(message);
}
