// SPDX-License-Identifier: MIT
#include "sim/telemetry.h"

#include <algorithm>
#include <cmath>

qint32 Telemetry::degE7(double degrees)
{
    return static_cast<qint32>(std::lround(degrees * 1e7));
}

qint32 Telemetry::millimetres(double metres)
{
    return static_cast<qint32>(std::lround(metres * 1000));
}

qint16 Telemetry::centimetresPerSecond(double metresPerSecond)
{
    return static_cast<qint16>(std::lround(metresPerSecond * 100));
}

quint32 Telemetry::bootMs(const Aircraft &aircraft)
{
    return static_cast<quint32>(aircraft.sinceBoot.count() / 1000);
}

quint64 Telemetry::bootUs(const Aircraft &aircraft)
{
    return static_cast<quint64>(aircraft.sinceBoot.count());
}

quint16 Telemetry::heading(const Aircraft &aircraft)
{
    const double degrees = aircraft.readings.yaw * 180 / M_PI;
    return static_cast<quint16>(static_cast<int>(std::lround((degrees + 360) * 100)) % 36000);
}

Telemetry::ATTITUDE Telemetry::attitude(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    ATTITUDE message = {};
    message.time_boot_ms = bootMs(aircraft);
    message.roll = static_cast<float>(readings.roll);
    message.pitch = static_cast<float>(readings.pitch);
    message.yaw = static_cast<float>(readings.yaw);
    message.rollspeed = static_cast<float>(readings.rollRate);
    message.pitchspeed = static_cast<float>(readings.pitchRate);
    message.yawspeed = static_cast<float>(readings.yawRate);
    return message;
}

Telemetry::GLOBAL_POSITION_INT Telemetry::globalPosition(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    GLOBAL_POSITION_INT message = {};
    message.time_boot_ms = bootMs(aircraft);
    message.lat = degE7(readings.place.latitude);
    message.lon = degE7(readings.place.longitude);
    message.alt = millimetres(readings.place.altitude);
    message.relative_alt = millimetres(aircraft.heightAboveHomeM());
    message.vx = centimetresPerSecond(readings.velocity.x);
    message.vy = centimetresPerSecond(readings.velocity.y);
    message.vz = centimetresPerSecond(readings.velocity.z);
    message.hdg = heading(aircraft);
    return message;
}

Telemetry::LOCAL_POSITION_NED Telemetry::localPosition(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    LOCAL_POSITION_NED message = {};
    message.time_boot_ms = bootMs(aircraft);
    message.x = static_cast<float>(readings.position.x);
    message.y = static_cast<float>(readings.position.y);
    message.z = static_cast<float>(readings.position.z);
    message.vx = static_cast<float>(readings.velocity.x);
    message.vy = static_cast<float>(readings.velocity.y);
    message.vz = static_cast<float>(readings.velocity.z);
    return message;
}

Telemetry::GPS_RAW_INT Telemetry::gps(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    const double speed = std::hypot(readings.velocity.x, readings.velocity.y);
    const double course = std::atan2(readings.velocity.y, readings.velocity.x) * 180 / M_PI;
    GPS_RAW_INT message = {};
    message.lat = degE7(readings.place.latitude);
    message.lon = degE7(readings.place.longitude);
    message.alt = millimetres(readings.place.altitude);
    message.alt_ellipsoid = message.alt;
    message.vel = static_cast<quint16>(std::lround(speed * 100));
    message.cog = static_cast<quint16>(static_cast<int>(std::lround((course + 360) * 100)) % 36000);
    return message;
}

Telemetry::SYSTEM_TIME Telemetry::systemTime(const Aircraft &aircraft)
{
    SYSTEM_TIME message = {};
    message.time_unix_usec = aircraft.hasFix() ? aircraft.unixTimeUs : 0;
    message.time_boot_ms = bootMs(aircraft);
    return message;
}

Telemetry::DISTANCE_SENSOR Telemetry::distance(const Aircraft &aircraft)
{
    DISTANCE_SENSOR message = {};
    message.time_boot_ms = bootMs(aircraft);
    message.current_distance =
        static_cast<quint16>(std::min(std::lround(aircraft.readings.distanceM * 100), 65533L));
    message.orientation = static_cast<quint8>(mavlink::common::MAV_SENSOR_ORIENTATION::ROTATION_PITCH_270);
    return message;
}

Telemetry::SYS_STATUS Telemetry::systemStatus(const Aircraft &aircraft)
{
    SYS_STATUS message = {};
    message.voltage_battery = static_cast<quint16>(std::lround(aircraft.battery.volts() * 1000));
    message.current_battery = static_cast<qint16>(std::lround(aircraft.battery.amps() * 100));
    message.battery_remaining = static_cast<qint8>(aircraft.battery.remaining());
    return message;
}

Telemetry::BATTERY_STATUS Telemetry::battery(const Aircraft &aircraft)
{
    BATTERY_STATUS message = {};
    message.temperature = INT16_MAX;
    message.voltages.fill(UINT16_MAX);
    message.voltages[0] = static_cast<quint16>(std::lround(aircraft.battery.volts() * 1000));
    message.current_battery = static_cast<qint16>(std::lround(aircraft.battery.amps() * 100));
    message.current_consumed = static_cast<qint32>(std::lround(aircraft.battery.usedMah()));
    message.energy_consumed = -1;
    message.battery_remaining = static_cast<qint8>(aircraft.battery.remaining());
    message.charge_state = static_cast<quint8>(mavlink::common::MAV_BATTERY_CHARGE_STATE::OK);
    return message;
}

Telemetry::VFR_HUD Telemetry::headUp(const Aircraft &aircraft)
{
    const Readings &readings = aircraft.readings;
    VFR_HUD message = {};
    message.groundspeed = static_cast<float>(std::hypot(readings.velocity.x, readings.velocity.y));
    message.heading = static_cast<qint16>(heading(aircraft) / 100);
    message.throttle = aircraft.isFlying() ? 50 : 0;
    message.alt = static_cast<float>(readings.place.altitude);
    message.climb = static_cast<float>(-readings.velocity.z);
    return message;
}

Telemetry::HOME_POSITION Telemetry::homePosition(const Aircraft &aircraft)
{
    const Utils::Vector3d &position = aircraft.guidance.homePosition();
    HOME_POSITION message = {};
    message.latitude = degE7(aircraft.home.latitude);
    message.longitude = degE7(aircraft.home.longitude);
    message.altitude = millimetres(aircraft.home.altitude);
    message.x = static_cast<float>(position.x);
    message.y = static_cast<float>(position.y);
    message.z = static_cast<float>(position.z);
    message.q.fill(NAN);
    message.time_usec = bootUs(aircraft);
    return message;
}

Telemetry::GPS_GLOBAL_ORIGIN Telemetry::globalOrigin(const Aircraft &aircraft)
{
    const Coordinate &start = aircraft.sensors.start();
    GPS_GLOBAL_ORIGIN message = {};
    message.latitude = degE7(start.latitude);
    message.longitude = degE7(start.longitude);
    message.altitude = millimetres(start.altitude);
    message.time_usec = bootUs(aircraft);
    return message;
}

std::optional<OutgoingMessage> Telemetry::make(quint32 id, const Aircraft &aircraft)
{
    switch (id) {
    case ATTITUDE::MSG_ID:
        return OutgoingMessage::from(attitude(aircraft));
    case GLOBAL_POSITION_INT::MSG_ID:
        return OutgoingMessage::from(globalPosition(aircraft));
    case LOCAL_POSITION_NED::MSG_ID:
        return OutgoingMessage::from(localPosition(aircraft));
    case SYSTEM_TIME::MSG_ID:
        return OutgoingMessage::from(systemTime(aircraft));
    case VFR_HUD::MSG_ID:
        return OutgoingMessage::from(headUp(aircraft));
    case HOME_POSITION::MSG_ID:
        return OutgoingMessage::from(homePosition(aircraft));
    default:
        return std::nullopt;
    }
}
