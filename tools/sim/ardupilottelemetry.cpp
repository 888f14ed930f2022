// SPDX-License-Identifier: MIT
#include "sim/ardupilottelemetry.h"

#include "sim/ardupilotfillers.h"
#include "sim/incoming.h"
#include "sim/telemetry.h"

#include <QMap>

#include <algorithm>
#include <cmath>

namespace {

using namespace mavlink::ardupilotmega::msg;
using namespace mavlink::common::msg;
using mavlink::standard::msg::GLOBAL_POSITION_INT;

const QMap<quint8, QVector<quint32>> &streams()
{
    static const QMap<quint8, QVector<quint32>> map = {
        {2,
         {SYS_STATUS::MSG_ID, POWER_STATUS::MSG_ID, MEMINFO::MSG_ID, NAV_CONTROLLER_OUTPUT::MSG_ID,
          MISSION_CURRENT::MSG_ID, GPS_RAW_INT::MSG_ID}},
        {6, {GLOBAL_POSITION_INT::MSG_ID, LOCAL_POSITION_NED::MSG_ID}},
        {10, {ATTITUDE::MSG_ID, SIMSTATE::MSG_ID, AHRS2::MSG_ID}},
        {11, {VFR_HUD::MSG_ID}},
        {12,
         {AHRS::MSG_ID, SYSTEM_TIME::MSG_ID, RANGEFINDER::MSG_ID, DISTANCE_SENSOR::MSG_ID,
          TERRAIN_REPORT::MSG_ID, BATTERY_STATUS::MSG_ID, EKF_STATUS_REPORT::MSG_ID, VIBRATION::MSG_ID,
          WIND::MSG_ID}},
    };
    return map;
}

constexpr double highestRate = 50;

/// On a line that is too slow a real one sends that one least.
StreamSchedule::Priority priorityOf(quint32 id)
{
    return id == DISTANCE_SENSOR::MSG_ID ? StreamSchedule::Priority::Starved
                                         : StreamSchedule::Priority::Scaled;
}

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

BATTERY_STATUS battery(const Aircraft &aircraft)
{
    BATTERY_STATUS message = Telemetry::battery(aircraft);
    message.energy_consumed = static_cast<qint32>(std::lround(aircraft.battery.usedMah() * 0.453));
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

} // namespace

QVector<quint32> ArduPilotTelemetry::messagesOfStream(quint8 stream)
{
    if (stream != 0)
        return streams().value(stream);
    QVector<quint32> all;
    for (const QVector<quint32> &messages : streams())
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
    case GPS_RAW_INT::MSG_ID:
        return OutgoingMessage::from(gps(aircraft));
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
    default:
        break;
    }
    const std::optional<OutgoingMessage> shared = Telemetry::make(id, aircraft);
    return shared ? shared : ArduPilotFillers::make(id, aircraft);
}

void ArduPilotTelemetry::setStreams(const REQUEST_DATA_STREAM &request, SimTime now, StreamSchedule *wanted)
{
    if (!Incoming::isForAutopilot(request.target_system, request.target_component))
        return;
    const double rate = request.start_stop == 1 ? std::min<double>(request.req_message_rate, highestRate) : 0;
    const QVector<quint32> ids = messagesOfStream(request.req_stream_id);
    for (const quint32 id : ids)
        wanted->setRate(id, rate, now, priorityOf(id));
}

quint8 ArduPilotTelemetry::setInterval(const COMMAND_LONG &command, SimTime now, StreamSchedule *wanted)
{
    const auto id = Incoming::wholeNumber(command.param1);
    if (!messagesOfStream(0).contains(id))
        return Incoming::Failed;
    const double intervalUs = static_cast<double>(command.param2);
    const double rate = intervalUs > 0 ? std::min(1e6 / intervalUs, highestRate) : 0;
    wanted->setRate(id, rate, now, priorityOf(id));
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
